#include "SignalMeasure.h"

#include "synth/AdditiveGen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace velmo;
using test::amplitudeAt;
using test::frequencyNear;

namespace {

constexpr double kSr = 48000.0;

std::vector<double> render(AdditiveGen& g, double freq, const AdditiveParams& p, int frames, const ModValues& m = {}) {
    std::vector<double> out;
    float l[32], r[32];
    for (int done = 0; done < frames; done += 32) {
        g.render(32, freq, m, p, kSr, l, r);
        for (int i = 0; i < 32; ++i) EXPECT_EQ(l[i], r[i]) << "mono";
        out.insert(out.end(), l, l + 32);
    }
    return out;
}

std::vector<double> play(double freq, const AdditiveParams& p, int frames = 4800, const ModValues& m = {}) {
    AdditiveGen g;
    g.start();
    return render(g, freq, p, frames, m);
}

} // namespace

TEST(AdditiveGen, PartialLevelsTiltAndNorm) {
    AdditiveParams one;
    one.harmonics = {1.0};
    EXPECT_NEAR(amplitudeAt(play(200.0, one), 200.0, kSr), 1.0, 1e-4) << "a quiet spectrum keeps its level";

    // Two equal harmonics at brightness +1: the second is lifted by 2^1.5, and the sum
    // 1 + 2.83 is divided by 0.7 × that sum.
    AdditiveParams two;
    two.harmonics = {1.0, 1.0};
    two.brightness = 1.0;
    const double total = 1.0 + std::pow(2.0, 1.5);
    std::vector<double> out = play(200.0, two);
    EXPECT_NEAR(amplitudeAt(out, 200.0, kSr), 1.0 / (0.7 * total), 1e-4);
    EXPECT_NEAR(amplitudeAt(out, 400.0, kSr), std::pow(2.0, 1.5) / (0.7 * total), 1e-4);

    AdditiveParams modulated = two;
    modulated.brightness = 0.2;
    ModValues m;
    m.wtPosition = 0.8;
    EXPECT_EQ(play(200.0, modulated, 640, m), play(200.0, two, 640)) << "wavetablePosition modulation is brightness";
    modulated.brightness = 3.0;
    EXPECT_EQ(play(200.0, modulated, 640), play(200.0, two, 640)) << "brightness is clamped to ±1";

    AdditiveParams odd; // 1/k for 16 harmonics, even ones off
    odd.evenLevel = 0.0;
    out = play(200.0, odd);
    EXPECT_GT(amplitudeAt(out, 600.0, kSr), 0.05);
    for (int k : {2, 4, 8, 16}) EXPECT_LT(amplitudeAt(out, 200.0 * k, kSr), 1e-4) << "harmonic " << k;

    AdditiveParams many;
    many.harmonics.assign(20, 0.05);
    out = play(200.0, many);
    EXPECT_GT(amplitudeAt(out, 3200.0, kSr), 0.04) << "harmonic 16 plays";
    EXPECT_LT(amplitudeAt(out, 3400.0, kSr), 1e-4) << "harmonic 17 is beyond the sixteen";

    AdditiveParams empty;
    empty.harmonics.clear();
    for (double x : play(200.0, empty, 320)) ASSERT_EQ(x, 0.0);
    AdditiveParams zeros;
    zeros.harmonics.assign(16, 0.0);
    for (double x : play(200.0, zeros, 320)) ASSERT_EQ(x, 0.0);
}

TEST(AdditiveGen, StretchMovesPartialsUpLikeAStiffString) {
    AdditiveParams p;
    p.harmonics = {0.0, 0.0, 1.0}; // harmonic 3 alone
    p.stretch = 0.01;
    std::vector<double> out = play(200.0, p, 9600);
    const double expected = 200.0 * 3.0 * std::sqrt(0.01 * 9.0 + 1.0);
    EXPECT_NEAR(frequencyNear(out, 600.0 * 1.04, kSr, 0, 2400, 2400), expected, 0.01);
}

// A partial at or above 0.45 × sr is dropped and its phase stands still, so the note that brings
// it back continues the wave where it stopped.
TEST(AdditiveGen, DroppedPartialsComeBackWithoutAPhaseJump) {
    AdditiveParams p;
    p.harmonics = {0.0, 1.0};
    const double low = 1000.0, high = 11000.0; // 22 kHz is above 0.45 × 48 kHz
    AdditiveGen a, b;
    a.start();
    b.start();
    render(a, low, p, 96);
    std::vector<double> silent = render(a, high, p, 64);
    for (double x : silent) ASSERT_EQ(x, 0.0) << "the only partial is dropped";
    std::vector<double> resumed = render(a, low, p, 96);
    render(b, low, p, 96);
    EXPECT_EQ(resumed, render(b, low, p, 96));
}
