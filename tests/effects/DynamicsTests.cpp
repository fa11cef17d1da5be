// Drive, bitcrush, EQ and compressor measured against their closed forms: the shaper's curve,
// the quantiser's steps, the EQ's magnitude at the points where the designs are exact, and the
// compressor's static curve and its attack and release.
#include "FXRig.h"

#include <gtest/gtest.h>

#include <set>

namespace velmo {
namespace {

using namespace velmo::testing;

TEST(DriveFX, ShapesByNormalisedTanhThenLevelAndMix) {
    // DC settles through the tone pole unchanged, so a constant shows the shaper alone.
    struct Case { double drive, level, mix, in, out; };
    const double pre = 0.5 * 30 + 1;
    for (const Case& c : std::vector<Case>{
             {0.5, 0, 1, 1.0, 1.0},                                            // full scale stays full scale
             {0.5, -6, 1, 1.0, std::pow(10, -6 / 20.0)},
             {0.5, 0, 1, 0.05, std::tanh(pre * 0.05) / std::tanh(pre)},
             {0, 0, 1, 0.5, std::tanh(0.5) / std::tanh(1.0)},                 // drive 0 is no bypass
             {0.5, 0, 0.5, -0.2, -0.2 + 0.5 * (-std::tanh(pre * 0.2) / std::tanh(pre) + 0.2)}}) {
        FX fx(EffectKind::drive, 48000, {{"drive", c.drive}, {"level", c.level}, {"mix", c.mix}, {"tone", 1}});
        Stereo s = fx.run(constant(4800, static_cast<float>(c.in)));
        EXPECT_NEAR(s.left.back(), c.out, 1e-6) << "drive " << c.drive << " level " << c.level << " in " << c.in;
        EXPECT_EQ(s.left.back(), s.right.back());
    }
}

TEST(BitcrushFX, QuantisesToLevelsAndHoldsAcrossBlocks) {
    Stereo ramp(400);
    for (std::size_t i = 0; i < ramp.size(); ++i) ramp.left[i] = ramp.right[i] = -1.0f + 2.0f * float(i) / 399.0f;
    Stereo one = ramp; // one bit: the values -1, 0 and 1 only
    FX(EffectKind::bitcrush, 48000, {{"bits", 1}, {"downsample", 1}, {"mix", 1}}).run(one);
    EXPECT_EQ(std::set<float>(one.left.begin(), one.left.end()), (std::set<float>{-1, 0, 1}));
    // Three bits, a hold of 4 frames run in blocks of 3: each quarter step taken on frames 0, 4,
    // 8... and held through block boundaries.
    Stereo held = ramp;
    FX(EffectKind::bitcrush, 48000, {{"bits", 3}, {"downsample", 4}, {"mix", 1}}).run(held, 3);
    for (std::size_t i = 0; i < ramp.size(); ++i)
        ASSERT_EQ(held.left[i], std::round(ramp.left[i - i % 4] * 4) / 4) << "frame " << i;
}

TEST(EQFX, MagnitudesMatchTheShelvesAndPeak) {
    // Each band against its analogue prototype through the bilinear transform warped at the
    // corner f0, W = tan(pi f / sr) / tan(pi f0 / sr): shelves of Q 0.7, the peak of Q 0.9. At
    // the corner a shelf gives half its dB gain and the peak all of it.
    enum Band { low, mid, high };
    auto prototypeDb = [](Band band, double gainDb, double f0, double f, double sr) {
        const double A = std::pow(10, gainDb / 40);
        const double W = std::tan(std::numbers::pi * f / sr) / std::tan(std::numbers::pi * f0 / sr);
        const double q = band == mid ? 0.9 : 0.7, damp = std::sqrt(A) * W / q;
        auto sq = [](double x) { return x * x; };
        if (band == mid) return 10 * std::log10((sq(1 - W * W) + sq(W * A / q)) / (sq(1 - W * W) + sq(W / (A * q))));
        const double shelf = (sq(A - W * W) + sq(damp)) / (sq(1 - A * W * W) + sq(damp)); // the low shelf
        return 10 * std::log10(A * A * (band == low ? shelf : 1 / shelf));
    };
    struct Point { double sr; Band band; double gainDb, f0, hz; };
    for (const Point& c : std::vector<Point>{
             {48000, low, 12, 120, 40},    {48000, low, 12, 120, 120},    {48000, low, -18, 120, 400},
             {48000, mid, 10, 1000, 600},  {48000, mid, -9, 1000, 1000},  {48000, mid, -15, 3000, 4000},
             {48000, high, 8, 6000, 3000}, {48000, high, 6, 6000, 6000},  {48000, high, -6, 6000, 12000},
             {8000, high, 10, 3920, 3920}, {8000, high, 10, 3920, 1000}}) { // at 8 kHz the shelf is at 3920 Hz
        const char* name = c.band == low ? "low" : c.band == mid ? "mid" : "high";
        FX eq(EffectKind::eq, c.sr, {{name, c.gainDb}, {"midFreq", c.f0}});
        const auto second = static_cast<std::size_t>(c.sr);
        Stereo s = eq.run(sine(2 * second, c.hz, c.sr));
        EXPECT_NEAR(db(amplitudeAt(s.right, second, second, c.hz, c.sr) / 0.5),
                    prototypeDb(c.band, c.gainDb, c.f0, c.hz, c.sr), 0.02)
            << name << " at " << c.gainDb << " dB, " << c.sr << " Hz, measured at " << c.hz << " Hz";
    }
}

TEST(CompressorFX, StaticCurveIsAHardKneeWithMakeup) {
    struct Case { double threshold, ratio, makeup, inDb; };
    for (const Case& c : std::vector<Case>{{-20, 4, 0, -6},  {-20, 4, 0, -30}, {-18, 2, 3, -3}, {-40, 20, 6, -10},
                                           {-10, 1, 5, -1},  {-30, 8, 0, -30.5}}) {
        FX comp(EffectKind::compressor, 48000,
                {{"threshold", c.threshold}, {"ratio", c.ratio}, {"makeup", c.makeup}, {"attack", 1}, {"release", 50}});
        const float in = static_cast<float>(std::pow(10, c.inDb / 20));
        Stereo s = constant(48000, in);
        s.right.assign(s.size(), -0.5f * in); // the louder side leads the detector
        comp.run(s);
        const double expectDb = c.inDb - std::max(0.0, c.inDb - c.threshold) * (1 - 1 / c.ratio) + c.makeup;
        EXPECT_NEAR(db(s.left.back()), expectDb, 1e-4) << "threshold " << c.threshold << " ratio " << c.ratio;
        EXPECT_NEAR(s.right.back() / s.left.back(), -0.5, 1e-6) << "one gain for both sides";
    }
}

TEST(CompressorFX, EnvelopeAttacksAndReleasesWithItsTimeConstants) {
    // Threshold -60 dB and ratio 2 keep every level in the compressed region, where the gain
    // tells the envelope: level = threshold + 2 * reduction.
    const double sr = 48000, attackMs = 10, releaseMs = 120;
    FX comp(EffectKind::compressor, sr,
            {{"threshold", -60}, {"ratio", 2}, {"makeup", 0}, {"attack", attackMs}, {"release", releaseMs}});
    auto envelope = [](float in, float out) { return std::pow(10, (-60 + 2 * -db(out / in)) / 20); };
    Stereo loud = comp.run(constant(24000, 1.0f));
    const double a = std::exp(-1 / (attackMs * 0.001 * sr));
    for (std::size_t n : {0u, 100u, 479u, 1500u})
        EXPECT_NEAR(envelope(1.0f, loud.left[n]), 1 - std::pow(a, n + 1), 1e-5) << "attack, frame " << n;
    const float quiet = 0.001f; // at the threshold, so the falling envelope stays above it
    Stereo fall = comp.run(constant(24000, quiet));
    const double r = std::exp(-1 / (releaseMs * 0.001 * sr));
    for (std::size_t n : {0u, 1000u, 5759u, 12000u})
        EXPECT_NEAR(envelope(quiet, fall.left[n]), quiet + (1 - quiet) * std::pow(r, n + 1), 1e-5)
            << "release, frame " << n;

    // After silence the detector sits on its floor (no log of zero): a tiny input passes as is.
    FX floor(EffectKind::compressor, sr, {{"threshold", -60}, {"ratio", 20}, {"makeup", 0}, {"release", 10}});
    floor.run(constant(48000, 0.0f));
    EXPECT_EQ(floor.run(constant(1, 1e-12f)).left[0], 1e-12f);
}

} // namespace
} // namespace velmo
