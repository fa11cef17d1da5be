// A stereo-linked feed-forward compressor: a peak envelope of the louder channel with one-pole
// attack and release, a hard-knee static curve in dB and a makeup gain. No look-ahead.
#pragma once

#include "effects/EffectProcessor.h"

namespace velmo {

// Audio thread only.
class CompressorFX final : public EffectProcessor {
public:
    explicit CompressorFX(double sampleRate) : sr_(sampleRate) {}

    void update(const EffectSlot& slot, const RenderContext& ctx) override;
    void process(float* left, float* right, int frames) override;
    void reset() override;

private:
    double sr_;
    double env_ = 0.0;       // linear peak envelope, kept across loads
    double threshold_ = 0.0; // dB
    double slope_ = 0.0;     // dB of reduction per dB over: 1 - 1 / ratio (a ratio of 0 is outside the range)
    double attack_ = 0.0;    // per-frame one-pole coefficients; 0 ms gives 0, instant
    double release_ = 0.0;
    double makeup_ = 1.0;    // linear
};

} // namespace velmo
