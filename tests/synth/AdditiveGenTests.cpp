#include "SignalMeasure.h"

#include "synth/AdditiveGen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace velmo;
using namespace velmo::test;

namespace {

constexpr double kSr = 48000.0;

std::vector<double> play(AdditiveGen& g, double freq, const AdditiveParams& p, int frames = 4800, const ModValues& m = {}) {
    return renderBlocks(frames, [&](float* l, float* r) { g.render(32, freq, m, p, kSr, l, r); });
}

std::vector<double> play(double freq, const AdditiveParams& p, int frames = 4800, const ModValues& m = {}) {
    AdditiveGen g;
    g.start();
    return play(g, freq, p, frames, m);
}

AdditiveParams withHarmonics(std::vector<double> h) {
    AdditiveParams p;
    p.harmonics = std::move(h);
    return p;
}

} // namespace

TEST(AdditiveGen, PartialLevelsTiltNormAndStretch) {
    EXPECT_NEAR(amplitudeAt(play(200.0, withHarmonics({1.0})), 200.0, kSr), 1.0, 1e-4) << "a quiet spectrum keeps its level";

    // Two equal harmonics at brightness +1: the second is lifted by 2^1.5, and the sum is
    // divided by 0.7 × itself.
    AdditiveParams two = withHarmonics({1.0, 1.0});
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

    AdditiveParams odd; // 1/k over sixteen harmonics, the even ones off
    odd.evenLevel = 0.0;
    out = play(200.0, odd);
    EXPECT_GT(amplitudeAt(out, 600.0, kSr), 0.05);
    for (int k : {2, 4, 8, 16}) EXPECT_LT(amplitudeAt(out, 200.0 * k, kSr), 1e-4) << "harmonic " << k;

    out = play(200.0, withHarmonics(std::vector<double>(20, 0.05)));
    EXPECT_GT(amplitudeAt(out, 3200.0, kSr), 0.04) << "harmonic 16 plays";
    EXPECT_LT(amplitudeAt(out, 3400.0, kSr), 1e-4) << "harmonic 17 is beyond the sixteen";
    EXPECT_EQ(peakOf(play(200.0, withHarmonics({}), 320)), 0.0);

    AdditiveParams stiff = withHarmonics({0.0, 0.0, 1.0});
    stiff.stretch = 0.01;
    EXPECT_NEAR(frequencyNear(play(200.0, stiff, 9600), 624.0, kSr, 0, 2400, 2400), 600.0 * std::sqrt(1.09), 0.01)
        << "partial k at f × k × sqrt(stretch × k² + 1)";
}

// A partial at or above 0.45 × sr is dropped and its phase stands still, so the note that brings
// it back continues the wave where it stopped.
TEST(AdditiveGen, DroppedPartialsComeBackWithoutAPhaseJump) {
    AdditiveParams p = withHarmonics({0.0, 1.0});
    AdditiveGen a, b;
    a.start();
    b.start();
    play(a, 1000.0, p, 96);
    EXPECT_EQ(peakOf(play(a, 11000.0, p, 64)), 0.0) << "22 kHz is above 0.45 × 48 kHz";
    play(b, 1000.0, p, 96);
    EXPECT_EQ(play(a, 1000.0, p, 96), play(b, 1000.0, p, 96));
}
