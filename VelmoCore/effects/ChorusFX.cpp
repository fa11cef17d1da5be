#include "effects/ChorusFX.h"

#include "catalog/EffectCatalog.h"

#include <cmath>
#include <numbers>

namespace velmo {

ChorusFX::ChorusFX(double sampleRate)
    : sr_(sampleRate),
      dl_(static_cast<int>(sampleRate * lineSeconds)),
      dr_(static_cast<int>(sampleRate * lineSeconds)) {}

void ChorusFX::update(const EffectSlot& slot, const RenderContext&) {
    rate_ = EffectCatalog::value(slot, "rate");
    depth_ = EffectCatalog::value(slot, "depth");
    mix_ = EffectCatalog::value(slot, "mix");
}

void ChorusFX::process(float* left, float* right, int frames) {
    // The sine and cosine are per frame, not per block: a delay moving in 32-frame steps would
    // be heard as a zipper on the pitch.
    const double base = sr_ * baseSeconds;
    const double sweep = sr_ * (depth_ * sweepSeconds);
    const double step = rate_ / sr_;
    const float wetGain = static_cast<float>(mix_);
    const float dryGain = static_cast<float>(1.0 - 0.5 * mix_); // at mix 1 dry and wet are equal
    for (int i = 0; i < frames; ++i) {
        const double angle = 2.0 * std::numbers::pi * phase_;
        const double s = std::sin(angle);
        const double c = std::cos(angle);
        phase_ += step;
        if (phase_ >= 1.0) phase_ -= 1.0;
        const float inL = left[i];
        const float inR = right[i];
        push(dl_, inL);
        push(dr_, inR);
        const float wetL = tapBehind(dl_, base + sweep * (s * 0.5 + 0.5));
        const float wetR = tapBehind(dr_, base + sweep * (c * 0.5 + 0.5));
        left[i] = wetL * wetGain + inL * dryGain;
        right[i] = wetR * wetGain + inR * dryGain;
    }
}

} // namespace velmo
