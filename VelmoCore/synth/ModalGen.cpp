#include "synth/ModalGen.h"

#include "base/Decibels.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velmo {

namespace {

constexpr double kMaxAngle = 2.827433388230814;   // 0.9π: modes at or above 0.45 × sr are out
constexpr double kTwoPi = 2.0 * std::numbers::pi;

constexpr double kBarRatios[] = {1, 3.99, 10.65, 19.4};
constexpr double kBarGains[] = {1, 0.45, 0.18, 0.06};
// The bell's hum note sits at 0.5, so the played pitch is its second mode.
constexpr double kBellRatios[] = {0.5, 1, 1.183, 1.506, 2, 2.514, 2.662, 3.011};
constexpr double kBellGains[] = {0.6, 1, 0.8, 0.5, 0.6, 0.35, 0.3, 0.25};
constexpr double kGlassRatios[] = {1, 2.32, 4.25, 6.63, 9.38};
constexpr double kGlassGains[] = {1, 0.6, 0.35, 0.2, 0.1};
constexpr double kMembraneRatios[] = {1, 1.59, 2.14, 2.3, 2.65, 2.92, 3.16, 3.5};
constexpr double kMembraneGains[] = {1, 0.7, 0.5, 0.45, 0.35, 0.3, 0.25, 0.2};
constexpr double kStringRatios[] = {1, 2, 3, 4, 5, 6, 7, 8};
constexpr double kStringGains[] = {1, 0.5, 0.33, 0.25, 0.2, 0.17, 0.14, 0.12};
constexpr double kTubeRatios[] = {1, 3, 5, 7, 9, 11};
constexpr double kTubeGains[] = {1, 0.33, 0.2, 0.14, 0.11, 0.09};

} // namespace

ModalGen::Material ModalGen::material(ModalMaterial m) {
    switch (m) {
    case ModalMaterial::bar: return {kBarRatios, kBarGains};
    case ModalMaterial::bell: return {kBellRatios, kBellGains};
    case ModalMaterial::glass: return {kGlassRatios, kGlassGains};
    case ModalMaterial::membrane: return {kMembraneRatios, kMembraneGains};
    case ModalMaterial::string: return {kStringRatios, kStringGains};
    case ModalMaterial::tube: return {kTubeRatios, kTubeGains};
    }
    return {kBarRatios, kBarGains};
}

void ModalGen::start(double freq, double velocity, const ModalParams& p, double sr) {
    const Material mat = material(p.material);
    ratios = mat.ratios;
    hardness = std::clamp(p.hardness, 0.0, 1.0);
    const double soft = 1.0 - hardness;
    const double decay = std::max(p.decay, 0.02);
    // Held to its range: beyond it a mode's denominator below reaches 0 or less (a bell's hum
    // from 1.34 up, the upper modes below -0.03), its decay time turns negative and a hand-edited
    // file would make the note grow without bound.
    const double damping = std::clamp(p.damping, 0.0, 1.0);
    double total = 0.0;
    for (int i = 0; i < kModes; ++i) {
        re[i] = 0.0;
        im[i] = 0.0;
        if (i < static_cast<int>(ratios.size())) {
            const double ratio = ratios[static_cast<std::size_t>(i)];
            // Damping shortens the modes above the fundamental in proportion to their distance
            // from it; a bell's hum, below it, rings longer.
            const double t60 = decay / (damping * (ratio - 1.0) * 1.5 + 1.0);
            r[i] = std::exp(-kLn1000 / (sr * t60));
            // A soft strike favours the low modes; a hard one leaves the gains as they are.
            amp[i] = mat.gains[static_cast<std::size_t>(i)] * std::pow(ratio, soft * -1.5);
            total += amp[i];
        } else {
            amp[i] = 0.0;
        }
    }
    const double norm = total <= 1e-6 ? 1e-6 / 1.4 : total / 1.4; // the weights add up to 1.4
    for (double& a : amp) a /= norm;
    // 0.4 ms when hard, 6.4 ms when soft, and at most a third of the note's period.
    const double cap = freq > 1.0 ? sr * 0.33 / freq : sr * 0.33;
    exciteLen = std::max(static_cast<int>(std::min(sr * (soft * 0.006 + 0.0004), cap)), 1);
    exciteIdx = 0;
    excAmp = velocity * 0.7 + 0.3;
}

void ModalGen::render(int n, double freq, double sr, float* outL, float* outR) {
    const int modes = static_cast<int>(ratios.size());
    for (int i = 0; i < modes; ++i) {
        const double x = freq * kTwoPi * ratios[static_cast<std::size_t>(i)] / sr;
        live[i] = x < kMaxAngle;
        cs[i] = std::cos(x) * r[i];
        sn[i] = std::sin(x) * r[i];
    }
    for (int f = 0; f < n; ++f) {
        double e = 0.0;
        if (exciteIdx < exciteLen) {
            // A Hann window of unit area, plus unwindowed noise in proportion to hardness.
            const double c = std::cos(static_cast<double>(exciteIdx) / exciteLen * kTwoPi);
            const double z = rng.bipolar();
            exciteIdx += 1;
            const double scale = 2.0 / exciteLen;
            e = scale * (0.5 - c * 0.5) * excAmp + excAmp * (scale * (hardness * z * 0.25));
        }
        double out = 0.0;
        for (int i = 0; i < modes; ++i) {
            if (!live[i]) continue; // keeps its state and stops decaying until it is live again
            const double newRe = e + (re[i] * cs[i] - im[i] * sn[i]);
            const double newIm = im[i] * cs[i] + re[i] * sn[i];
            re[i] = newRe;
            im[i] = newIm;
            out += newIm * amp[i];
        }
        const float s = static_cast<float>(out);
        outL[f] = s;
        outR[f] = s;
    }
}

} // namespace velmo
