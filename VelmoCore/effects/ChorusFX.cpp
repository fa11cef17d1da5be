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
    step_ = EffectCatalog::value(slot, "rate") / sr_;
    sweep_ = sr_ * (EffectCatalog::value(slot, "depth") * sweepSeconds);
    const double mix = EffectCatalog::value(slot, "mix");
    wetGain_ = static_cast<float>(mix);
    dryGain_ = static_cast<float>(1.0 - 0.5 * mix); // falls by half at most: at mix 1 dry and wet are equal
}

void ChorusFX::process(float* left, float* right, int frames) {
    // The sine and cosine are per frame, not per block: a delay moving in 32-frame steps would
    // be heard as a zipper on the pitch.
    const double base = sr_ * baseSeconds;
    for (int i = 0; i < frames; ++i) {
        const double angle = 2.0 * std::numbers::pi * phase_;
        const double s = std::sin(angle);
        const double c = std::cos(angle);
        phase_ += step_;
        if (phase_ >= 1.0) phase_ -= 1.0;
        const float inL = left[i];
        const float inR = right[i];
        push(dl_, inL);
        push(dr_, inR);
        const float wetL = tapBehind(dl_, base + sweep_ * (s * 0.5 + 0.5));
        const float wetR = tapBehind(dr_, base + sweep_ * (c * 0.5 + 0.5));
        left[i] = wetL * wetGain_ + inL * dryGain_;
        right[i] = wetR * wetGain_ + inR * dryGain_;
    }
}

void ChorusFX::reset() {
    clear(dl_);
    clear(dr_);
}

} // namespace velmo
