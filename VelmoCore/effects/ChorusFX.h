// A stereo chorus: each side reads its own 50 ms line at a delay of 12 to 18 ms swept by one sine
// LFO, left on the sine and right on the cosine, so the two sides move in quadrature.
#pragma once

#include "dsp/DelayLine.h"
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
    void reset() override;

private:
    double sr_;
    DelayLine dl_, dr_;
    double phase_ = 0.0; // cycles; never reset by a load, so an edit does not jump the sweep
    double step_ = 0.0;  // phase per frame: rate / sr
    double sweep_ = 0.0; // frames added at the LFO's top: sr × depth × 6 ms
    float wetGain_ = 0.0f, dryGain_ = 1.0f;
};

} // namespace velmo
