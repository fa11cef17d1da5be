// A six-stage stereo phaser: first-order all-passes whose common corner sweeps exponentially
// from 200 Hz up to 4 kHz, with feedback around the cascade; the right side leads by a quarter
// of the LFO cycle. Coefficients are computed once per block.
#pragma once

#include "effects/EffectProcessor.h"

#include <array>

namespace velmo {

// Audio thread only.
class PhaserFX final : public EffectProcessor {
public:
    static constexpr int stages = 6;
    static constexpr double lowestHz = 200.0;
    static constexpr double sweepRatio = 20.0; // the corner's range at depth 1: 200 Hz to 4 kHz

    explicit PhaserFX(double sampleRate) : sr_(sampleRate) {}

    void update(const EffectSlot& slot, const RenderContext& ctx) override;
    void process(float* left, float* right, int frames) override;
    void reset() override;

private:
    double sr_;
    std::array<double, stages> zl_{}, zr_{}; // all-pass memories, never cleared
    double phase_ = 0.0;                     // cycles
    double rate_ = 0.0, depth_ = 0.0, feedback_ = 0.0, mix_ = 0.0;
    double fbl_ = 0.0, fbr_ = 0.0;           // each side's last output
};

} // namespace velmo
