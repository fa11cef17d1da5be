// Time-based effects: the modulation chorus, phaser and auto-filter apply, read back from the
// output against the sweep their rate and depth promise; where a delay's repeats land and how
// loud; the reverb's line lengths and a decay that follows "size".
#include "FXRig.h"

#include "effects/DelayFX.h"
#include "effects/ReverbFX.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

using namespace velmo::testing;

constexpr double kTwoPi = 2 * std::numbers::pi;

TEST(ChorusFX, DelaySweepsInQuadratureAtTheSetRate) {
    // A ramp through a linearly interpolated delay comes out shifted by exactly the delay, so
    // each frame shows the delay in use: wet = x - delay * slope, and out = wet + 0.5 * dry.
    const double sr = 8000, rate = 2, depth = 0.8, slope = 1e-4;
    FX chorus(EffectKind::chorus, sr, {{"rate", rate}, {"depth", depth}, {"mix", 1}});
    Stereo ramp(8000);
    for (std::size_t i = 0; i < ramp.size(); ++i) ramp.left[i] = ramp.right[i] = static_cast<float>(slope * double(i));
    Stereo out = chorus.run(Stereo(ramp), 7);
    for (std::size_t n = 200; n < ramp.size(); n += 37) {
        const double phase = kTwoPi * rate * double(n) / sr, sweep = sr * depth * 0.006;
        const double wantL = sr * 0.012 + sweep * (std::sin(phase) * 0.5 + 0.5);
        const double wantR = sr * 0.012 + sweep * (std::cos(phase) * 0.5 + 0.5);
        ASSERT_NEAR((1.5 * ramp.left[n] - out.left[n]) / slope, wantL, 0.01) << "left delay at frame " << n;
        ASSERT_NEAR((1.5 * ramp.right[n] - out.right[n]) / slope, wantR, 0.01) << "right delay at frame " << n;
    }
}

// Impulses at the first frame of every 128th block, far enough apart for each one's response
// to have died out: the first output sample of each then shows that block's coefficients.
template <class Expect>
void probeBlocks(FX& fx, double sr, Expect expect) {
    const std::size_t spacing = 128 * 32;
    Stereo s(spacing * 40);
    for (std::size_t at = 0; at < s.size(); at += spacing) s.left[at] = s.right[at] = 1.0f;
    fx.run(s);
    for (std::size_t at = 0; at < s.size(); at += spacing) {
        auto [left, right] = expect(double(at) / sr);
        ASSERT_NEAR(s.left[at], left, 1e-6) << "left, frame " << at;
        ASSERT_NEAR(s.right[at], right, 1e-6) << "right, frame " << at;
    }
}

TEST(PhaserFX, CornersSweepExponentiallyAtTheSetRateWithTheRightSideLeading) {
    // With no feedback and mix 1 an impulse's first sample is a^6 + 0.5: six all-passes of
    // coefficient a pass a^6 at once, and the dry half adds 0.5.
    for (double sr : {32000.0, 8000.0}) { // at 8 kHz the top of the sweep is held at 0.45 × sr
        const double rate = 0.45;
        FX phaser(EffectKind::phaser, sr, {{"rate", rate}, {"depth", 1}, {"feedback", 0}, {"mix", 1}});
        auto firstSample = [&](double p) {
            const double f = std::min(200 * std::pow(20, std::sin(kTwoPi * p) * 0.5 + 0.5), 0.45 * sr);
            const double t = std::tan(std::numbers::pi * f / sr);
            return std::pow((t - 1) / (t + 1), 6) + 0.5;
        };
        probeBlocks(phaser, sr, [&](double seconds) {
            return std::pair{firstSample(rate * seconds), firstSample(rate * seconds + 0.25)};
        });
    }
}

TEST(AutoFilterFX, CutoffSweepsByOctavesAtTheSetRateInEachMode) {
    // The state-variable filter at no resonance answers an impulse first with low-pass
    // (g/(g+1))^2, high-pass 1/(g+1)^2, band-pass 2g/(g+1)^2, g = tan(pi f / sr).
    const double sr = 32000, rate = 0.45, cutoff = 4000; // the top is held at 0.45 × sr
    for (int mode : {0, 1, 2}) {
        FX filter(EffectKind::autofilter, sr,
                  {{"mode", mode}, {"cutoff", cutoff}, {"resonance", 0}, {"rate", rate}, {"depth", 1}, {"mix", 1}});
        SCOPED_TRACE("mode " + std::to_string(mode));
        probeBlocks(filter, sr, [&](double seconds) {
            const double octaves = std::sin(kTwoPi * rate * seconds) * 4;
            const double g = std::tan(std::numbers::pi * std::clamp(cutoff * std::pow(2, octaves), 16.0, 0.45 * sr) / sr);
            const double h = (mode == 0 ? g * g : mode == 1 ? 1 : 2 * g) / ((g + 1) * (g + 1));
            return std::pair{h, h};
        });
    }
}

// Frames at which |x| exceeds `floor`, in order.
std::vector<std::size_t> arrivals(const std::vector<float>& x, float floor = 1e-6f) {
    std::vector<std::size_t> at;
    for (std::size_t i = 0; i < x.size(); ++i)
        if (std::fabs(x[i]) > floor) at.push_back(i);
    return at;
}

Stereo leftImpulse(std::size_t frames) {
    Stereo s(frames);
    s.left[0] = 1.0f;
    return s;
}

TEST(DelayFX, RepeatsArriveOneFrameAfterTheTempoSyncedTime) {
    // 0.75 beats at 120 BPM is 0.375 s, 18000 frames at 48 kHz. The line is read before it is
    // written, so a repeat lands target + 1 frames after its input. Tone 1 puts the loop's
    // low-pass at 16 kHz, coefficient a.
    const double sr = 48000, fb = 0.5, a = 1 - std::exp(-2 * std::numbers::pi * 16000 / sr);
    FX stereo(EffectKind::delay, sr, {{"time", 0.75}, {"feedback", fb}, {"mix", 0.8}, {"pingpong", 0.49}, {"tone", 1}});
    Stereo s = stereo.run(leftImpulse(40000));
    const auto at = arrivals(s.left);
    ASSERT_GE(at.size(), 3u);
    EXPECT_EQ(std::vector(at.begin(), at.begin() + 3), (std::vector<std::size_t>{0, 18001, 36002})) << "stereo at 0.49";
    EXPECT_TRUE(arrivals(s.right).empty());
    EXPECT_FLOAT_EQ(s.left[18001], 0.8f) << "the first repeat is unfiltered";
    EXPECT_FLOAT_EQ(s.left[36002], 0.8 * fb * a) << "the second has passed the loop's low-pass once";

    // Ping-pong: the mono sum enters on the left at half level, then the sides alternate.
    FX pingpong(EffectKind::delay, sr, {{"time", 0.75}, {"feedback", fb}, {"mix", 1}, {"pingpong", 1}, {"tone", 1}});
    Stereo p = pingpong.run(leftImpulse(60000));
    EXPECT_EQ(arrivals(p.left, 1e-4f).at(1), 18001u);
    EXPECT_FLOAT_EQ(p.left[18001], 0.5f);
    EXPECT_EQ(arrivals(p.right, 1e-4f).at(0), 36002u) << "the right side answers one delay later";
    EXPECT_FLOAT_EQ(p.right[36002], 0.5 * fb * a);
    EXPECT_EQ(arrivals(p.left, 1e-4f).at(2), 54003u) << "and then the left again";
}

TEST(DelayFX, TimeIsLimitedAndGlidesOnATempoChange) {
    const double sr = 48000;
    FX slow(EffectKind::delay, sr, {{"time", 4}}, 30);
    EXPECT_EQ(dynamic_cast<DelayFX&>(*slow.proc).currentDelay(), 4.0 * sr) << "8 s is limited to 4 s";
    FX fx(EffectKind::delay, sr, {{"time", 1}}, 120); // 24000 frames
    fx.set({}, 100); // 28800 frames: no jump but a glide, with a time constant of 2000 frames
    fx.run(Stereo(2000));
    EXPECT_NEAR(dynamic_cast<DelayFX&>(*fx.proc).currentDelay(), 28800 - 4800 * std::exp(-1.0), 2.0);
    fx.run(Stereo(40000));
    EXPECT_EQ(arrivals(fx.run(leftImpulse(30000)).left).at(1), 28801u);
}

TEST(ReverbFX, LineLengthsScaleWithTheSampleRate) {
    using Lengths = std::array<int, ReverbFX::combCount>;
    EXPECT_EQ(ReverbFX::combLengths(48000, false), (Lengths{1214, 1293, 1389, 1475, 1547, 1622, 1694, 1760}));
    EXPECT_EQ(ReverbFX::combLengths(48000, true), (Lengths{1239, 1318, 1414, 1500, 1572, 1647, 1719, 1785}));
    EXPECT_EQ(ReverbFX::allpassLengths(48000, false), (std::array<int, 4>{605, 480, 371, 244}));
    // The first sound of an impulse is the shortest comb's first pass, on each side.
    for (auto [sr, l, r] : {std::tuple{44100.0, 1116u, 1139u}, std::tuple{48000.0, 1214u, 1239u}}) {
        Stereo s = FX(EffectKind::reverb, sr, {{"mix", 1}, {"width", 1}}).run(leftImpulse(2000));
        EXPECT_EQ(arrivals(s.left, 0).at(0), l) << sr;
        EXPECT_EQ(arrivals(s.right, 0).at(0), r) << sr;
    }
}

TEST(ReverbFX, DecayGrowsWithSize) {
    // T30 of the backward-integrated energy (-5 to -35 dB, doubled) of an impulse response.
    const double sr = 44100;
    auto decaySeconds = [&](double size, double damping) {
        const auto x = FX(EffectKind::reverb, sr, {{"size", size}, {"damping", damping}, {"mix", 1}})
                           .run(leftImpulse(static_cast<std::size_t>(sr * 12)))
                           .left;
        std::vector<double> tail(x.size() + 1, 0.0);
        for (std::size_t i = x.size(); i-- > 0;) tail[i] = tail[i + 1] + double(x[i]) * x[i];
        auto firstBelow = [&](double dB) {
            std::size_t i = 0;
            while (10 * std::log10(tail[i] / tail[0]) > dB) ++i;
            return double(i);
        };
        return 2 * (firstBelow(-35) - firstBelow(-5)) / sr;
    };
    double previous = 0;
    for (double size : {0.0, 0.3, 0.6, 0.9}) {
        const double t = decaySeconds(size, 0.5);
        EXPECT_GT(t, previous * 1.3) << "size " << size;
        previous = t;
    }
    // Undamped, a comb loses 20 log10(fb) dB per pass, so it reaches -60 dB after
    // 3 len / (sr (-log10 fb)) s; the whole decays at about the combs' mean.
    const double fb = 0.5 * 0.28 + 0.7;
    double mean = 0;
    for (int len : ReverbFX::combLengths(sr, false)) mean += 3 * len / (sr * -std::log10(fb)) / ReverbFX::combCount;
    EXPECT_NEAR(decaySeconds(0.5, 0), mean, 0.15 * mean);
}

} // namespace
} // namespace velmo
