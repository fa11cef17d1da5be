// The wavetable bank's frames (sine to square, digital, organ drawbars), rendered notes free of
// aliasing, position clamps and morphing; and the additive engine's partials.
#include "support/SignalMeasure.h"

#include "synth/AdditiveGen.h"
#include "synth/WavetableBank.h"
#include "synth/WavetableGen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

using namespace velmo;
using namespace velmo::test;
namespace Bank = WavetableBank;

namespace {

std::vector<double> cycleOf(const Bank::Block& block, int frame, int mip) {
    const float* r = Bank::row(block, frame, mip);
    return std::vector<double>(r, r + Bank::kCycle);
}

// Amplitude of harmonic h in one stored cycle: a whole number of cycles, so the correlation is exact.
double harmonic(const std::vector<double>& cycle, int h) { return amplitudeAt(cycle, h, Bank::kCycle); }

const Bank::Block& blockOf(WavetableKind kind) { return Bank::tables()[static_cast<size_t>(kind)]; }

// The harmonics from 1 to `top` that a spectrum turns on.
std::vector<int> harmonicsOn(WavetableKind kind, double x, int frame, int top) {
    std::vector<double> a = Bank::spectrum(kind, x, frame, top);
    std::vector<int> on;
    for (int h = 1; h <= top; ++h)
        if (a[static_cast<size_t>(h)] != 0.0) on.push_back(h);
    return on;
}

std::vector<double> render(WavetableGen& g, double freq, const WavetableParams& p, int frames, const ModValues& m = {}) {
    return renderBlocks(frames, [&](float* l, float* r) { g.render(32, freq, m, p, kSr, l, r); }, false);
}

} // namespace

TEST(WavetableBank, BasicRunsFromAPureSineToABandLimitedSquare) {
    const Bank::Block& basic = blockOf(WavetableKind::basic);
    const float* sine = Bank::row(basic, 0, 0);
    for (int i = 0; i < Bank::kCycle; ++i)
        ASSERT_NEAR(sine[i], 0.9 * std::sin(2.0 * std::numbers::pi * i / Bank::kCycle), 2e-6) << "frame 0, sample " << i;

    std::vector<double> square = cycleOf(basic, 7, 0);
    EXPECT_NEAR(peakOf(square), 0.9, 1e-6);
    const double h1 = harmonic(square, 1);
    for (int h : {2, 3, 4, 5, 9, 100, 101, 511, 1021, 1022, 1023}) {
        const double expected = h % 2 == 1 ? h1 / h : 0.0; // 4/(πh) relative to the fundamental
        EXPECT_NEAR(harmonic(square, h), expected, 2e-6) << "harmonic " << h;
    }
}

TEST(WavetableBank, EveryFrameIsNormalisedAndEveryRowCloses) {
    for (WavetableKind kind : allCases<WavetableKind>()) {
        const Bank::Block& block = blockOf(kind);
        ASSERT_EQ(block.size(), Bank::kBlockLength);
        for (int f = 0; f < Bank::kFrames; ++f) {
            EXPECT_NEAR(peakOf(cycleOf(block, f, 0)), 0.9, 1e-6) << toString(kind) << " frame " << f;
            for (int m = 0; m < Bank::kMips; ++m) {
                const float* r = Bank::row(block, f, m);
                ASSERT_EQ(r[Bank::kCycle], r[0]) << "the guard sample repeats the start";
            }
        }
    }
}

TEST(WavetableBank, DigitalIsRepeatableAndDiffersPerFrame) {
    const Bank::Block& digital = blockOf(WavetableKind::digital);
    EXPECT_EQ(Bank::build(WavetableKind::digital), digital) << "identical on every build";
    for (int f = 1; f < Bank::kFrames; ++f) EXPECT_NE(cycleOf(digital, f, 0), cycleOf(digital, f - 1, 0)) << "frame " << f;
    // The stream pins the sound: frame 0's first harmonics, as drawn from seed 3 × 7919.
    EXPECT_EQ(Bank::spectrum(WavetableKind::digital, 0.0, 0, 12)[1], Rand::seeded(3 * 7919).unit() * 0.6 + 0.4);
    EXPECT_EQ(harmonicsOn(WavetableKind::digital, 0.0, 0, 12), (std::vector<int>{1, 8})) << "harmonics on at density 0.15";
}

TEST(WavetableBank, OrganPullsDrawbarsInByFrame) {
    const std::vector<std::vector<int>> expected{
        {1}, {1}, {1, 2}, {1, 2, 3}, {1, 2, 3, 4}, {1, 2, 3, 4, 6, 8}, {1, 2, 3, 4, 6, 8, 10},
        {1, 2, 3, 4, 6, 8, 10, 12, 16}};
    for (int f = 0; f < Bank::kFrames; ++f)
        EXPECT_EQ(harmonicsOn(WavetableKind::organ, f / 7.0, f, 1024), expected[static_cast<size_t>(f)]) << "frame " << f;
    // At x = 1 the two highest drawbars are not fully out: 0.96 and 0.4 of their levels.
    const std::vector<double> full = Bank::spectrum(WavetableKind::organ, 1.0, 7, 16);
    const double bars[][2] = {{1, 1.0}, {2, 1 / std::sqrt(2.0)}, {3, 1 / std::sqrt(3.0)}, {4, 0.5}, {6, 1 / std::sqrt(6.0)},
                              {8, 1 / std::sqrt(8.0)}, {10, 1 / std::sqrt(10.0)}, {12, 0.96 / std::sqrt(12.0)}, {16, 0.4 * 0.25}};
    std::vector<double> cycle = cycleOf(blockOf(WavetableKind::organ), 7, 0);
    for (const auto& bar : bars) {
        const int h = static_cast<int>(bar[0]);
        EXPECT_NEAR(full[static_cast<size_t>(h)], bar[1], 1e-12) << "drawbar " << h;
        EXPECT_NEAR(harmonic(cycle, h) / harmonic(cycle, 1), bar[1], 1e-5) << "drawbar " << h << " in the table";
    }
}

// Aliased harmonics fold back onto frequencies that are no harmonic of the note (none of these
// notes divides 48 kHz), so whatever power lies outside the harmonics below Nyquist is aliasing.
TEST(WavetableGen, RenderedNotesHoldNoHarmonicAboveNyquist) {
    for (WavetableKind kind : {WavetableKind::basic, WavetableKind::digital, WavetableKind::sweep}) {
        for (double f : {110.0, 430.0, 1030.0, 2570.0, 5030.0, 9010.0, 13990.0}) {
            WavetableParams p;
            p.table = kind;
            p.position = 1.0;
            WavetableGen g;
            g.start();
            std::vector<double> out = render(g, f, p, 4800 + 960);
            std::vector<double> window = slice(out, 960, 4800);
            const double total = meanSquare(window);
            double harmonics = 0.0;
            for (int k = 1; k * f < kSr / 2; ++k) harmonics += std::pow(amplitudeAt(window, k * f, kSr), 2) / 2.0;
            EXPECT_LT(total - harmonics, 1e-4 * total) << toString(kind) << " at " << f << " Hz";
            EXPECT_GT(total, 0.01) << toString(kind) << " at " << f << " Hz";
        }
    }
    // The chosen mip is not needlessly dull: at 5030 Hz the square keeps its third harmonic.
    WavetableParams p;
    p.position = 1.0;
    WavetableGen g;
    std::vector<double> out = render(g, 5030.0, p, 4800);
    EXPECT_NEAR(amplitudeAt(out, 3 * 5030.0, kSr) / amplitudeAt(out, 5030.0, kSr), 1.0 / 3.0, 0.01);
}

TEST(WavetableGen, PositionClampsMorphAndUnisonOne) {
    auto same = [](WavetableParams a, ModValues ma, WavetableParams b, ModValues mb) {
        WavetableGen x, y;
        x.start();
        y.ph = x.ph;
        return render(x, 330.0, a, 640, ma) == render(y, 330.0, b, 640, mb);
    };
    WavetableParams last, over;
    last.position = 1.0;
    over.position = 1.4;
    ModValues up;
    up.wtPosition = 0.5;
    EXPECT_TRUE(same(over, up, last, {})) << "above 1 with a positive modulation stays on frame 7";
    WavetableParams first, under;
    under.position = -0.3;
    EXPECT_TRUE(same(under, {}, first, {})) << "below 0 stays on frame 0";

    // Halfway between frames 0 (sine) and 1: the morph is a straight mix of the two rows.
    WavetableParams mid;
    mid.position = 0.5 / 7.0;
    WavetableGen g;
    g.ph[0] = 0.0;
    std::vector<double> out = render(g, 1000.0, mid, 4800);
    const Bank::Block& basic = blockOf(WavetableKind::basic);
    const double expected3 = 0.5 * harmonic(cycleOf(basic, 1, 0), 3);
    EXPECT_NEAR(amplitudeAt(out, 3000.0, kSr), expected3, 1e-4);
}

namespace {

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
