#include "SignalMeasure.h"

#include "synth/ModalGen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace velmo;
using namespace velmo::test;

namespace {

constexpr double kSr = 48000.0;

std::vector<double> strike(ModalGen& g, double freq, const ModalParams& p, int frames, double velocity = 1.0) {
    g.start(freq, velocity, p, kSr);
    return renderBlocks(frames, [&](float* l, float* r) { g.render(32, freq, kSr, l, r); });
}

} // namespace

TEST(ModalGen, EachMaterialRingsAtItsModeRatios) {
    const std::vector<double> expected[] = {{1, 3.99, 10.65, 19.4},
                                            {0.5, 1, 1.183, 1.506, 2, 2.514, 2.662, 3.011},
                                            {1, 2.32, 4.25, 6.63, 9.38},
                                            {1, 1.59, 2.14, 2.3, 2.65, 2.92, 3.16, 3.5},
                                            {1, 2, 3, 4, 5, 6, 7, 8},
                                            {1, 3, 5, 7, 9, 11}};
    const double f = 220.0;
    for (ModalMaterial material : allCases<ModalMaterial>()) {
        const auto& ratios = expected[static_cast<size_t>(material)];
        ModalParams p{material, 8.0, 0.0, 1.0};
        ModalGen g;
        std::vector<double> out = strike(g, f, p, 24000);
        for (double ratio : ratios) {
            // A Hann window of 4800 samples resolves modes 10 Hz apart and more.
            EXPECT_NEAR(frequencyNear(out, f * ratio, kSr, 2400, 4800, 4800), f * ratio, 0.02) << toString(material) << " mode " << ratio;
        }
        double weights = 0.0;
        for (size_t i = 0; i < ModalGen::kModes; ++i) {
            weights += g.amp[i];
            if (i >= ratios.size()) {
                EXPECT_EQ(g.amp[i], 0.0) << toString(material) << " has " << ratios.size() << " modes";
            }
        }
        EXPECT_NEAR(weights, 1.4, 1e-12) << "the weights add up to 1.4";
    }
}

// Each mode falls 60 dB in decay / (damping × (ratio − 1) × 1.5 + 1) seconds.
TEST(ModalGen, DampingShortensTheUpperModes) {
    ModalParams p{ModalMaterial::bar, 1.0, 0.5, 1.0};
    const double f = 300.0;
    ModalGen g;
    std::vector<double> out = strike(g, f, p, 48000);
    for (double ratio : {1.0, 3.99}) {
        const double t60 = p.decay / (p.damping * (ratio - 1.0) * 1.5 + 1.0);
        const double dB = 20.0 * std::log10(windowedAmplitudeAt(slice(out, 14400, 4800), f * ratio, kSr) /
                                            windowedAmplitudeAt(slice(out, 4800, 4800), f * ratio, kSr));
        EXPECT_NEAR(dB, -60.0 * (9600.0 / kSr) / t60, 0.1) << "mode " << ratio;
    }
}

TEST(ModalGen, HighNotesDropModesAndTheStrikeFollowsHardness) {
    ModalGen g;
    const double f = 6000.0; // 3.99 × f lies above 0.45 × sr: the bar keeps its fundamental alone
    std::vector<double> tail = slice(strike(g, f, ModalParams{ModalMaterial::bar, 2.0, 0.5, 0.5}, 9600), 4800, 4800);
    const double a = amplitudeAt(tail, f, kSr);
    EXPECT_GT(a, 1e-3) << "the strike still rings the fundamental";
    EXPECT_NEAR(meanSquare(tail), a * a / 2.0, 0.02 * meanSquare(tail)) << "and nothing else";

    ModalParams soft{ModalMaterial::bar, 1.5, 0.5, 0.0};
    ModalGen x, y;
    x.rng = Rand::seeded(1);
    y.rng = Rand::seeded(2);
    EXPECT_EQ(strike(x, 440.0, soft, 960), strike(y, 440.0, soft, 960)) << "hardness 0: a window with no noise";
    EXPECT_EQ(x.exciteLen, static_cast<int>(kSr * 0.33 / 440.0)) << "at most a third of the period";
    ModalParams hard{ModalMaterial::bar, 1.5, 0.5, 1.0};
    EXPECT_NE(strike(x, 440.0, hard, 960), strike(y, 440.0, hard, 960));
    EXPECT_EQ(x.exciteLen, static_cast<int>(kSr * 0.0004)) << "the shortest strike";
    EXPECT_GT(amplitudeAt(strike(x, 440.0, soft, 4800, 0.0), 440.0, kSr), 1e-3) << "velocity 0 strikes at 0.3";
}
