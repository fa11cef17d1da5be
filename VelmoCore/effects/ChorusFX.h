// A stereo chorus: each side reads its own 50 ms line at a delay of 12 to 18 ms swept by one sine
// LFO, left on the sine and right on the cosine, so the two sides move in quadrature.
#pragma once

#include "effects/DelayLine.h"
#include "effects/EffectProcessor.h"

namespace velmo {

// Audio thread only.
class ChorusFX final : public EffectProcessor {
public:
    static constexpr double lineSeconds = 0.05;
    static constexpr double baseSeconds = 0.012;  // the shortest delay
    static constexpr double sweepSeconds = 0.006; // added at depth 1 and the LFO's top

    explicit ChorusFX(double sampleRate);

    void update(const EffectSlot& slot, const RenderContext& ctx) override;
    void process(float* left, float* right, int frames) override;

private:
    double sr_;
    DelayLine dl_, dr_;
    double phase_ = 0.0; // cycles; never reset by a load, so an edit does not jump the sweep
    double rate_ = 0.0;  // Hz
    double depth_ = 0.0;
    double mix_ = 0.0;
};

} // namespace velmo
