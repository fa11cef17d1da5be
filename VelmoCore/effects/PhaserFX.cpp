#include "effects/PhaserFX.h"

#include "catalog/EffectCatalog.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velmo {

namespace {

// One side through the cascade and back into its feedback memory.
double runSide(double input, double a, double feedback, double mix, std::array<double, PhaserFX::stages>& z,
               double& last) {
    double x = input + last * feedback; // not clamped: the catalog stops feedback at 0.95
    for (double& zk : z) {
        const double y = a * x + zk;
        zk = x - a * y;
        x = y;
    }
    last = x;
    return x * mix + input * (1.0 - 0.5 * mix);
}

} // namespace

void PhaserFX::update(const EffectSlot& slot, const RenderContext&) {
    rate_ = EffectCatalog::value(slot, "rate");
    depth_ = EffectCatalog::value(slot, "depth");
    feedback_ = EffectCatalog::value(slot, "feedback");
    mix_ = EffectCatalog::value(slot, "mix");
}

void PhaserFX::process(float* left, float* right, int frames) {
    // The corner holds for the whole call: a 32-frame staircase at the engine's block size.
    auto coefficient = [this](double p) {
        const double lfo = std::sin(2.0 * std::numbers::pi * p) * 0.5 + 0.5;
        const double sweep = lowestHz * std::pow(sweepRatio, depth_ * lfo);
        const double t = std::tan(std::numbers::pi * std::min(sweep, 0.45 * sr_) / sr_);
        return (t - 1.0) / (t + 1.0);
    };
    const double aL = coefficient(phase_);
    const double aR = coefficient(phase_ + 0.25);
    phase_ += rate_ * frames / sr_;
    if (phase_ >= 1.0) phase_ -= std::floor(phase_);
    for (int i = 0; i < frames; ++i) {
        left[i] = static_cast<float>(runSide(left[i], aL, feedback_, mix_, zl_, fbl_));
        right[i] = static_cast<float>(runSide(right[i], aR, feedback_, mix_, zr_, fbr_));
    }
}

void PhaserFX::reset() {
    zl_.fill(0.0);
    zr_.fill(0.0);
    fbl_ = 0.0;
    fbr_ = 0.0;
}

} // namespace velmo
