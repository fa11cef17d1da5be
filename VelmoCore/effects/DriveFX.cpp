#include "effects/DriveFX.h"

#include "base/Decibels.h"
#include "catalog/EffectCatalog.h"

#include <cmath>

namespace velmo {

void DriveFX::update(const EffectSlot& slot, const RenderContext&) {
    pre_ = EffectCatalog::value(slot, "drive") * 30.0 + 1.0;
    norm_ = 1.0 / std::tanh(pre_);
    out_ = dbToGain(EffectCatalog::value(slot, "level"));
    mix_ = EffectCatalog::value(slot, "mix");
    // Tone 0 is 800 Hz, tone 1 is 17.6 kHz; the pole keeps its memory.
    const double corner = 800.0 * std::pow(22.0, EffectCatalog::value(slot, "tone"));
    toneL_.setCutoff(corner, sr_);
    toneR_.a = toneL_.a;
}

void DriveFX::process(float* left, float* right, int frames) {
    auto shape = [this](float in, OnePole& tone) {
        const double x = in;
        const double y = tone.process(norm_ * std::tanh(pre_ * x));
        return static_cast<float>(x + mix_ * (out_ * y - x));
    };
    for (int i = 0; i < frames; ++i) {
        left[i] = shape(left[i], toneL_);
        right[i] = shape(right[i], toneR_);
    }
}

void DriveFX::reset() {
    toneL_.y = 0.0;
    toneR_.y = 0.0;
}

} // namespace velmo
