#include "effects/BitcrushFX.h"

#include "catalog/EffectCatalog.h"

#include <algorithm>
#include <cmath>

namespace velmo {

void BitcrushFX::update(const EffectSlot& slot, const RenderContext&) {
    levels_ = static_cast<float>(std::pow(2.0, EffectCatalog::value(slot, "bits") - 1.0));
    // Below 0.5 rounds to 0, which acts as 1: every frame is taken.
    hold_ = std::max(1, static_cast<int>(std::lround(EffectCatalog::value(slot, "downsample"))));
    mix_ = static_cast<float>(EffectCatalog::value(slot, "mix"));
}

void BitcrushFX::process(float* left, float* right, int frames) {
    for (int i = 0; i < frames; ++i) {
        if (counter_ == 0) {
            // std::round takes halves away from zero, so the steps are symmetric about 0.
            heldL_ = std::round(left[i] * levels_) / levels_;
            heldR_ = std::round(right[i] * levels_) / levels_;
        }
        // `>=` rather than `==`: a hold shortened by an edit must not leave the counter above it.
        if (++counter_ >= hold_) counter_ = 0;
        left[i] += (heldL_ - left[i]) * mix_;
        right[i] += (heldR_ - right[i]) * mix_;
    }
}

void BitcrushFX::reset() {
    counter_ = 0;
    heldL_ = 0.0f;
    heldR_ = 0.0f;
}

} // namespace velmo
