#include "SignalMeasure.h"

#include "synth/ModalGen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace velmo;
using test::amplitudeAt;
using test::frequencyNear;

namespace {

constexpr double kSr = 48000.0;

std::vector<double> strike(ModalGen& g, double freq, const ModalParams& p, int frames, double velocity = 1.0) {
    g.start(freq, velocity, p, kSr);
    std::vector<double> out;
    float l[32], r[32];
    for (int done = 0; done < frames; done += 32) {
        g.render(32, freq, kSr, l, r);
        for (int i = 0; i < 32; ++i) EXPECT_EQ(l[i], r[i]) << "mono";
        out.insert(out.end(), l, l + 32);
    }
    return out;
}

std::vector<double> slice(const std::vector<double>& x, size_t from, size_t length) {
    return {x.begin() + static_cast<long>(from), x.begin() + static_cast<long>(from + length)};
}

} // namespace

TEST(ModalGen, EachMaterialRingsAtItsModeRatios) {
    const std::vector<double> expected[] = {
        {1, 3.99, 10.65, 19.4},
        {0.5, 1, 1.183, 1.506, 2, 2.514, 2.662, 3.011},
        {1, 2.32, 4.25, 6.63, 9.38},
        {1, 1.59, 2.14, 2.3, 2.65, 2.92, 3.16, 3.5},
        {1, 2, 3, 4, 5, 6, 7, 8},
        {1, 3, 5, 7, 9, 11}};
    const double f = 220.0;
    for (ModalMaterial material : allCases<ModalMaterial>()) {
        const auto& ratios = expected[static_cast<size_t>(material)];
        ModalGen::Material table = ModalGen::material(material);
        ASSERT_EQ(std::vector<double>(table.ratios.begin(), table.ratios.end()), ratios) << toString(material);
        ASSERT_EQ(table.gains.size(), ratios.size());
        ModalParams p;
        p.material = material;
        p.damping = 0.0;
        p.decay = 8.0;
        p.hardness = 1.0;
        ModalGen g;
        std::vector<double> out = strike(g, f, p, 24000);
        for (double ratio : ratios) {
            // A Hann window of 4800 samples resolves modes 10 Hz apart and more.
            const double measured = frequencyNear(out, f * ratio, kSr, 2400, 4800, 4800);
            EXPECT_NEAR(measured, f * ratio, 0.02) << toString(material) << " mode " << ratio;
        }
        for (size_t i = ratios.size(); i < ModalGen::kModes; ++i) EXPECT_EQ(g.amp[i], 0.0) << toString(material);
        double weights = 0.0;
        for (double a : g.amp) weights += a;
        EXPECT_NEAR(weights, 1.4, 1e-12) << "the weights add up to 1.4";
    }
}

// Each mode falls 60 dB in decay / (damping × (ratio − 1) × 1.5 + 1) seconds.
TEST(ModalGen, DampingShortensTheUpperModes) {
    ModalParams p;
    p.material = ModalMaterial::bar;
    p.decay = 1.0;
    p.damping = 0.5;
    p.hardness = 1.0;
    const double f = 300.0;
    ModalGen g;
    std::vector<double> out = strike(g, f, p, 48000 + 4800);
    for (double ratio : {1.0, 3.99}) {
        const double t60 = p.decay / (p.damping * (ratio - 1.0) * 1.5 + 1.0);
        const double dB = 20.0 * std::log10(amplitudeAt(slice(out, 14400, 4800), f * ratio, kSr) /
                                            amplitudeAt(slice(out, 4800, 4800), f * ratio, kSr));
        EXPECT_NEAR(dB, -60.0 * (9600.0 / kSr) / t60, 0.5) << "mode " << ratio;
    }
    ModalParams brief = p, floor = p;
    brief.decay = 0.0;
    floor.decay = 0.02;
    ModalGen a, b;
    a.rng = b.rng = Rand::seeded(4);
    EXPECT_EQ(strike(a, f, brief, 960), strike(b, f, floor, 960)) << "decay below 0.02 acts as 0.02";
}

TEST(ModalGen, HighNotesDropModesFromTheTopAndStillStrike) {
    ModalParams p;
    p.material = ModalMaterial::bar;
    p.decay = 2.0;
    ModalGen g;
    const double f = 6000.0; // 3.99 × f lies above 0.45 × sr
    std::vector<double> out = strike(g, f, p, 9600);
    EXPECT_FALSE(g.live[1]);
    EXPECT_TRUE(g.live[0]);
    std::vector<double> tail = slice(out, 4800, 4800);
    double power = 0.0;
    for (double x : tail) power += x * x;
    power /= static_cast<double>(tail.size());
    const double a = amplitudeAt(tail, f, kSr);
    EXPECT_GT(a, 1e-3) << "the fundamental rings";
    EXPECT_NEAR(power, a * a / 2.0, 0.02 * power) << "and nothing else";
}

TEST(ModalGen, HardnessAddsNoiseAndVelocityZeroStillStrikes) {
    ModalParams soft;
    soft.hardness = 0.0;
    ModalGen a, b;
    a.rng = Rand::seeded(1);
    b.rng = Rand::seeded(2);
    EXPECT_EQ(strike(a, 440.0, soft, 960), strike(b, 440.0, soft, 960)) << "hardness 0: a window with no noise";
    ModalParams hard;
    hard.hardness = 1.0;
    EXPECT_NE(strike(a, 440.0, hard, 960), strike(b, 440.0, hard, 960));
    EXPECT_EQ(a.exciteLen, static_cast<int>(kSr * 0.0004)) << "the shortest strike";
    strike(a, 440.0, soft, 32);
    EXPECT_EQ(a.exciteLen, static_cast<int>(kSr * 0.33 / 440.0)) << "at most a third of the period";

    ModalGen quiet;
    std::vector<double> out = strike(quiet, 440.0, soft, 4800, 0.0);
    EXPECT_GT(amplitudeAt(out, 440.0, kSr), 1e-3) << "velocity 0 strikes at 0.3";
}
