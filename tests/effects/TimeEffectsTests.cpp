// Delay and reverb: where an impulse comes back and how loud, the tempo-synced time and its
// glide, the reverb's line lengths and a decay that follows "size".
#include "FXRig.h"

#include "effects/DelayFX.h"
#include "effects/ReverbFX.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

using namespace velmo::testing;

// Frames at which |x| exceeds `floor`, in order.
std::vector<std::size_t> arrivals(const std::vector<float>& x, float floor = 1e-6f) {
    std::vector<std::size_t> at;
    for (std::size_t i = 0; i < x.size(); ++i)
        if (std::fabs(x[i]) > floor) at.push_back(i);
    return at;
}

TEST(DelayFX, RepeatsArriveOneFrameAfterTheTempoSyncedTime) {
    // 0.75 beats at 120 BPM is 0.375 s, 18000 frames at 48 kHz. The line is read before it is
    // written, so a repeat lands target + 1 frames after its input.
    const double sr = 48000, mix = 0.8, feedback = 0.5;
    FX stereo(EffectKind::delay, sr, {{"time", 0.75}, {"feedback", feedback}, {"mix", mix}, {"pingpong", 0.49}, {"tone", 1}});
    EXPECT_EQ(dynamic_cast<DelayFX&>(*stereo.proc).currentDelay(), 18000);
    Stereo s(40000);
    s.left[0] = 1.0f;
    stereo.run(s);
    const double a = 1 - std::exp(-2 * std::numbers::pi * 16000 / sr); // tone 1: the loop's pole at 16 kHz
    const auto at = arrivals(s.left);
    ASSERT_GE(at.size(), 3u);
    EXPECT_EQ(std::vector(at.begin(), at.begin() + 3), (std::vector<std::size_t>{0, 18001, 36002}))
        << "\"pingpong\" 0.49 is stereo: each side feeds itself";
    EXPECT_TRUE(arrivals(s.right).empty());
    EXPECT_FLOAT_EQ(s.left[18001], mix) << "the first repeat is unfiltered";
    EXPECT_FLOAT_EQ(s.left[36002], mix * feedback * a) << "the second has passed the loop's low-pass once";

    // Ping-pong: the mono sum enters on the left at half level, then the sides alternate.
    FX pingpong(EffectKind::delay, sr, {{"time", 0.75}, {"feedback", feedback}, {"mix", 1}, {"pingpong", 1}, {"tone", 1}});
    Stereo p(60000);
    p.left[0] = 1.0f;
    pingpong.run(p);
    const auto left = arrivals(p.left, 1e-4f), right = arrivals(p.right, 1e-4f);
    ASSERT_FALSE(left.empty());
    ASSERT_FALSE(right.empty());
    EXPECT_EQ(left[1], 18001u);
    EXPECT_FLOAT_EQ(p.left[18001], 0.5f);
    EXPECT_EQ(right[0], 36002u) << "the right side answers one delay later";
    EXPECT_FLOAT_EQ(p.right[36002], 0.5f * feedback * a);
    EXPECT_GT(std::fabs(p.left[54003]), 0.0f) << "and then the left again";
    for (std::size_t i = 18002; i < 54003; ++i) ASSERT_LT(std::fabs(p.left[i]), 1e-4f) << "left silent at " << i;
}

TEST(DelayFX, TimeIsLimitedAndGlidesOnATempoChange) {
    const double sr = 48000;
    FX slow(EffectKind::delay, sr, {{"time", 4}}, 30);
    EXPECT_EQ(dynamic_cast<DelayFX&>(*slow.proc).currentDelay(), 4.0 * sr) << "8 s is limited to 4 s";

    FX fx(EffectKind::delay, sr, {{"time", 1}}, 120); // 24000 frames
    auto& delay = dynamic_cast<DelayFX&>(*fx.proc);
    fx.set({}, 100); // 28800 frames: no jump, a glide with a time constant of 2000 frames
    EXPECT_EQ(delay.currentDelay(), 24000);
    fx.run(Stereo(2000));
    EXPECT_NEAR(delay.currentDelay(), 28800 - 4800 * std::exp(-1.0), 2.0);
    fx.run(Stereo(40000));
    EXPECT_NEAR(delay.currentDelay(), 28800, 0.01);
    Stereo s(30000);
    s.left[0] = 1.0f;
    fx.run(s);
    EXPECT_EQ(arrivals(s.left).at(1), 28801u);
}

TEST(ReverbFX, LineLengthsScaleWithTheSampleRate) {
    using Lengths = std::array<int, ReverbFX::combCount>;
    EXPECT_EQ(ReverbFX::combLengths(44100, false), (Lengths{1116, 1188, 1277, 1356, 1422, 1491, 1557, 1617}));
    EXPECT_EQ(ReverbFX::combLengths(44100, true), (Lengths{1139, 1211, 1300, 1379, 1445, 1514, 1580, 1640}));
    EXPECT_EQ(ReverbFX::combLengths(48000, false), (Lengths{1214, 1293, 1389, 1475, 1547, 1622, 1694, 1760}));
    EXPECT_EQ(ReverbFX::combLengths(48000, true), (Lengths{1239, 1318, 1414, 1500, 1572, 1647, 1719, 1785}));
    EXPECT_EQ(ReverbFX::allpassLengths(48000, false), (std::array<int, 4>{605, 480, 371, 244}));

    // The first sound of an impulse is the shortest comb's first pass, on each side.
    for (auto [sr, l, r] : {std::tuple{44100.0, 1116u, 1139u}, std::tuple{48000.0, 1214u, 1239u}}) {
        FX reverb(EffectKind::reverb, sr, {{"mix", 1}, {"width", 1}});
        Stereo s(2000);
        s.left[0] = 1.0f;
        reverb.run(s);
        EXPECT_EQ(arrivals(s.left, 0).at(0), l) << sr;
        EXPECT_EQ(arrivals(s.right, 0).at(0), r) << sr;
    }
}

// Time for the backward-integrated energy of an impulse response to fall from -5 to -35 dB,
// doubled: the usual T30 estimate of the time to -60 dB.
double decaySeconds(const std::vector<float>& x, double sr) {
    std::vector<double> tail(x.size() + 1, 0.0);
    for (std::size_t i = x.size(); i-- > 0;) tail[i] = tail[i + 1] + double(x[i]) * x[i];
    auto firstBelow = [&](double dB) {
        std::size_t i = 0;
        while (i < x.size() && 10 * std::log10(tail[i] / tail[0]) > dB) ++i;
        return double(i);
    };
    return 2 * (firstBelow(-35) - firstBelow(-5)) / sr;
}

TEST(ReverbFX, DecayGrowsWithSize) {
    const double sr = 44100;
    auto decay = [&](double size, double damping) {
        FX reverb(EffectKind::reverb, sr, {{"size", size}, {"damping", damping}, {"mix", 1}});
        Stereo s(static_cast<std::size_t>(sr * 12));
        s.left[0] = s.right[0] = 1.0f;
        return decaySeconds(reverb.run(s).left, sr);
    };
    double previous = 0;
    for (double size : {0.0, 0.3, 0.6, 0.9}) {
        const double t = decay(size, 0.5);
        EXPECT_GT(t, previous * 1.3) << "size " << size;
        previous = t;
    }
    // Undamped, each comb loses 20 log10(fb) dB per pass, so its time to -60 dB is
    // 3 len / (sr (-log10 fb)); the whole decays at about the combs' mean.
    const double fb = 0.5 * 0.28 + 0.7;
    double mean = 0;
    for (int len : ReverbFX::combLengths(sr, false)) mean += 3 * len / (sr * -std::log10(fb)) / ReverbFX::combCount;
    EXPECT_NEAR(decay(0.5, 0), mean, 0.15 * mean);
}

} // namespace
} // namespace velmo
