// A three-band equaliser: a low shelf at 120 Hz, a sweepable peak and a high shelf at 6 kHz,
// each a second-order section per channel. A band within 0.01 dB of flat is skipped entirely.
#pragma once

#include "effects/EffectProcessor.h"
#include "dsp/Biquad.h"

#include <array>

namespace velmo {

// Audio thread only.
class EQFX final : public EffectProcessor {
public:
    static constexpr double lowShelfHz = 120.0;
    static constexpr double highShelfHz = 6000.0;
    static constexpr double minMidHz = 10.0;
    static constexpr double shelfQ = 0.7; // alpha = sin(w) / 1.4
    static constexpr double midQ = 0.9;   // alpha = sin(w) / 1.8
    static constexpr double flatDb = 0.01; // a band at most this far from 0 dB is skipped

    explicit EQFX(double sampleRate) : sr_(sampleRate) {}

    void update(const EffectSlot& slot, const RenderContext& ctx) override;
    void process(float* left, float* right, int frames) override;
    void reset() override;

private:
    double sr_;
    std::array<Biquad, 6> bands_{}; // low, mid, high of the left channel, then of the right
    std::array<bool, 3> active_{};
};

} // namespace velmo
