#include "effects/EQFX.h"

#include "catalog/EffectCatalog.h"

#include <cmath>

namespace velmo {

void EQFX::update(const EffectSlot& slot, const RenderContext&) {
    const double low = EffectCatalog::value(slot, "low");
    const double mid = EffectCatalog::value(slot, "mid");
    const double high = EffectCatalog::value(slot, "high");
    // The designs limit every corner to 10 Hz .. 0.49 × sr, which is exactly the range each band
    // allows (the mid's floor of 10 Hz included), so at 8 kHz the high shelf sits at 3920 Hz.
    const std::array<Biquad, 3> designs{Biquad::lowShelf(lowShelfHz, shelfQ, low, sr_),
                                        Biquad::peak(EffectCatalog::value(slot, "midFreq"), midQ, mid, sr_),
                                        Biquad::highShelf(highShelfHz, shelfQ, high, sr_)};
    const std::array<double, 3> gains{low, mid, high};
    for (std::size_t k = 0; k < 3; ++k) {
        // Only coefficients move: the memories carry on, so a gain drag does not click.
        bands_[k].setCoefficients(designs[k]);
        bands_[k + 3].setCoefficients(designs[k]);
        active_[k] = std::fabs(gains[k]) > flatDb;
    }
}

void EQFX::process(float* left, float* right, int frames) {
    for (std::size_t k = 0; k < 3; ++k) {
        if (!active_[k]) continue; // a flat band rests, state and all
        Biquad& l = bands_[k];
        Biquad& r = bands_[k + 3];
        for (int i = 0; i < frames; ++i) {
            left[i] = static_cast<float>(l.process(left[i]));
            right[i] = static_cast<float>(r.process(right[i]));
        }
    }
}

void EQFX::reset() {
    for (Biquad& band : bands_) band.reset();
}

} // namespace velmo
