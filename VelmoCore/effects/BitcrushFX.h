// Bit-depth and sample-rate reduction: each held sample is rounded to `levels` steps on each side
// of zero and kept for `hold` frames, with a dry/wet mix.
#pragma once

#include "effects/EffectProcessor.h"

namespace velmo {

// Audio thread only.
class BitcrushFX final : public EffectProcessor {
public:
    explicit BitcrushFX(double) {}

    void update(const EffectSlot& slot, const RenderContext& ctx) override;
    void process(float* left, float* right, int frames) override;
    void reset() override;

private:
    float levels_ = 128.0f; // steps per side of zero: 2^(bits - 1), fractional bits allowed
    int hold_ = 1;          // frames each quantised sample is kept, at least 1
    float mix_ = 1.0f;
    int counter_ = 0;       // runs through block boundaries; 0 takes a new sample
    float heldL_ = 0.0f, heldR_ = 0.0f;
};

} // namespace velmo
