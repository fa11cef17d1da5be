#include "SignalMeasure.h"

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

constexpr double kSr = 48000.0;

std::vector<double> cycleOf(const Bank::Block& block, int frame, int mip) {
    const float* r = Bank::row(block, frame, mip);
    return std::vector<double>(r, r + Bank::kCycle);
}

// Amplitude of harmonic h in one stored cycle: a whole number of cycles, so the correlation is exact.
double harmonic(const std::vector<double>& cycle, int h) { return amplitudeAt(cycle, h, Bank::kCycle); }

const Bank::Block& blockOf(WavetableKind kind) { return Bank::tables()[static_cast<size_t>(kind)]; }

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
    // Mip m keeps harmonics up to 1024 >> m, and the frame's one peak scales all of them.
    for (int m = 1; m < Bank::kMips; ++m) {
        std::vector<double> mip = cycleOf(basic, 7, m);
        const int limit = 1024 >> m;
        const int topOdd = limit % 2 == 1 ? limit : limit - 1;
        EXPECT_NEAR(harmonic(mip, 1), h1, 2e-6) << "mip " << m;
        EXPECT_NEAR(harmonic(mip, topOdd), h1 / topOdd, 2e-6) << "mip " << m;
        EXPECT_LT(harmonic(mip, topOdd + 2), 2e-6) << "mip " << m;
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
    for (int f = 0; f < Bank::kFrames; ++f) {
        std::vector<double> a = Bank::spectrum(WavetableKind::digital, f / 7.0, f, 1024);
        EXPECT_GE(a[1], 0.4) << "frame " << f;
        EXPECT_EQ(a, Bank::spectrum(WavetableKind::digital, f / 7.0, f, 1024));
        if (f > 0) {
            EXPECT_NE(cycleOf(digital, f, 0), cycleOf(digital, f - 1, 0)) << "frame " << f;
        }
    }
    // The stream pins the sound: frame 0's first harmonics, as drawn from seed 3 × 7919.
    std::vector<double> a = Bank::spectrum(WavetableKind::digital, 0.0, 0, 12);
    std::vector<int> on;
    for (int h = 1; h <= 12; ++h) {
        if (a[static_cast<size_t>(h)] != 0.0) on.push_back(h);
    }
    EXPECT_EQ(a[1], Rand::seeded(3 * 7919).unit() * 0.6 + 0.4);
    EXPECT_EQ(on, (std::vector<int>{1, 8})) << "harmonics on at density 0.15";
}

TEST(WavetableBank, OrganPullsDrawbarsInByFrame) {
    const std::vector<std::vector<int>> expected{
        {1}, {1}, {1, 2}, {1, 2, 3}, {1, 2, 3, 4}, {1, 2, 3, 4, 6, 8}, {1, 2, 3, 4, 6, 8, 10},
        {1, 2, 3, 4, 6, 8, 10, 12, 16}};
    for (int f = 0; f < Bank::kFrames; ++f) {
        std::vector<double> a = Bank::spectrum(WavetableKind::organ, f / 7.0, f, 1024);
        std::vector<int> on;
        for (int h = 1; h <= 1024; ++h)
            if (a[static_cast<size_t>(h)] != 0.0) on.push_back(h);
        EXPECT_EQ(on, expected[static_cast<size_t>(f)]) << "frame " << f;
    }
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
    EXPECT_EQ(WavetableGen::mipFor(0.5 / 1024.0), 0);
    EXPECT_EQ(WavetableGen::mipFor(0.5 / 1000.0), 1);
    EXPECT_EQ(WavetableGen::mipFor(0.49), 10) << "at the cap: one pure harmonic";
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
    WavetableParams one, wide;
    wide.unisonDetune = 80.0;
    wide.unisonSpread = 1.0;
    EXPECT_TRUE(same(wide, {}, one, {})) << "unison 1 ignores detune and spread";

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
