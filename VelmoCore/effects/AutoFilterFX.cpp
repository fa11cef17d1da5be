#include "effects/AutoFilterFX.h"

#include "catalog/EffectCatalog.h"

#include <cmath>
#include <numbers>

namespace velmo {

void AutoFilterFX::update(const EffectSlot& slot, const RenderContext&) {
    // "0 lowpass, 1 highpass, 2 bandpass"; anything else is a low-pass.
    const double mode = std::round(EffectCatalog::value(slot, "mode"));
    type_ = mode == 1.0 ? FilterType::highpass12 : mode == 2.0 ? FilterType::bandpass : FilterType::lowpass12;
    rate_ = EffectCatalog::value(slot, "rate");
    depth_ = EffectCatalog::value(slot, "depth");
    cutoff_ = EffectCatalog::value(slot, "cutoff");
    resonance_ = EffectCatalog::value(slot, "resonance");
    mix_ = EffectCatalog::value(slot, "mix");
}

template <FilterType T>
void AutoFilterFX::run(float* left, float* right, int frames, const FilterCoefs& coefs) {
    for (int i = 0; i < frames; ++i) {
        const double xl = left[i];
        const double xr = right[i];
        left[i] = static_cast<float>(xl + mix_ * (fl_.processAs<T>(xl, coefs) - xl));
        right[i] = static_cast<float>(xr + mix_ * (fr_.processAs<T>(xr, coefs) - xr));
    }
}

void AutoFilterFX::process(float* left, float* right, int frames) {
    const double m = std::sin(2.0 * std::numbers::pi * phase_); // read before the phase moves
    phase_ += rate_ * frames / sr_;
    if (phase_ >= 1.0) phase_ -= std::floor(phase_);
    // coefs limits the corner to 16 Hz .. 0.45 × sr and the resonance to 0 .. 1.
    const double corner = cutoff_ * std::pow(2.0, m * depth_ * octavesAtFullDepth);
    const FilterCoefs coefs = FilterState::coefs(type_, corner, resonance_, sr_);
    switch (type_) {
    case FilterType::highpass12: run<FilterType::highpass12>(left, right, frames, coefs); break;
    case FilterType::bandpass: run<FilterType::bandpass>(left, right, frames, coefs); break;
    default: run<FilterType::lowpass12>(left, right, frames, coefs); break;
    }
}

void AutoFilterFX::reset() {
    fl_.reset();
    fr_.reset();
}

} // namespace velmo
