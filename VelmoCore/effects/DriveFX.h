// A tube-style waveshaper: tanh saturation normalised so full scale stays at full scale, a
// one-pole tone low-pass after the shaper, an output level and a dry/wet mix.
#pragma once

#include "effects/EffectProcessor.h"
#include "dsp/OnePole.h"

namespace velmo {

// Audio thread only.
class DriveFX final : public EffectProcessor {
public:
    explicit DriveFX(double sampleRate) : sr_(sampleRate) {}

    void update(const EffectSlot& slot, const RenderContext& ctx) override;
    void process(float* left, float* right, int frames) override;
    void reset() override;

private:
    double sr_;
    double pre_ = 1.0;  // input gain into tanh: drive 0 is 1, still a gentle curve, not a bypass
    double norm_ = 1.0; // 1 / tanh(pre): a full-scale input reaches exactly 1
    double out_ = 1.0;  // linear output level
    double mix_ = 1.0;
    OnePole toneL_, toneR_;
};

} // namespace velmo
