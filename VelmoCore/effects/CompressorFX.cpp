#include "effects/CompressorFX.h"

#include "base/Decibels.h"
#include "catalog/EffectCatalog.h"

#include <algorithm>
#include <cmath>

namespace velmo {

void CompressorFX::update(const EffectSlot& slot, const RenderContext&) {
    threshold_ = EffectCatalog::value(slot, "threshold");
    slope_ = 1.0 - 1.0 / EffectCatalog::value(slot, "ratio");
    // A time of 0 ms divides to -infinity and gives a coefficient of exactly 0.
    attack_ = std::exp(-1.0 / (EffectCatalog::value(slot, "attack") * 0.001 * sr_));
    release_ = std::exp(-1.0 / (sr_ * (EffectCatalog::value(slot, "release") * 0.001)));
    makeup_ = dbToGain(EffectCatalog::value(slot, "makeup"));
}

void CompressorFX::process(float* left, float* right, int frames) {
    for (int i = 0; i < frames; ++i) {
        const double x = std::max(std::fabs(double(left[i])), std::fabs(double(right[i])));
        const double coef = env_ < x ? attack_ : release_;
        env_ = coef * (env_ - x) + x;
        const double level = gainToDb(env_);
        const double over = level - threshold_;
        const double reduction = over > 0.0 ? over * slope_ : 0.0;
        // One gain for both sides keeps the stereo image where it was.
        const float gain = static_cast<float>(makeup_ * dbToGain(-reduction));
        left[i] *= gain;
        right[i] *= gain;
    }
}

void CompressorFX::reset() { env_ = 0.0; }

} // namespace velmo
