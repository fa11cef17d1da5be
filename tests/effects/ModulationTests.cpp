// Chorus, phaser and auto-filter: the modulation each applies, read back from the output and
// compared frame by frame (chorus) or block by block (phaser, auto-filter) with the sweep its
// rate and depth promise.
#include "FXRig.h"

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
        const double phase = rate * double(n) / sr;
        const double sweep = sr * depth * 0.006;
        const double wantL = sr * 0.012 + sweep * (std::sin(kTwoPi * phase) * 0.5 + 0.5);
        const double wantR = sr * 0.012 + sweep * (std::cos(kTwoPi * phase) * 0.5 + 0.5);
        ASSERT_NEAR((1.5 * ramp.left[n] - out.left[n]) / slope, wantL, 0.01) << "left delay at frame " << n;
        ASSERT_NEAR((1.5 * ramp.right[n] - out.right[n]) / slope, wantR, 0.01) << "right delay at frame " << n;
    }
}

// Impulses at the first frame of every 128th block, far enough apart for each one's response
// to have died out: the first output sample of each then shows that block's coefficients.
template <class Expect>
void probeBlocks(FX& fx, double sr, Expect expect, double tolerance) {
    const std::size_t spacing = 128 * 32;
    Stereo s(spacing * 40);
    for (std::size_t at = 0; at < s.size(); at += spacing) s.left[at] = s.right[at] = 1.0f;
    fx.run(s);
    for (std::size_t at = 0; at < s.size(); at += spacing) {
        auto [left, right] = expect(double(at) / sr);
        ASSERT_NEAR(s.left[at], left, tolerance) << "left, frame " << at;
        ASSERT_NEAR(s.right[at], right, tolerance) << "right, frame " << at;
    }
}

TEST(PhaserFX, CornersSweepExponentiallyAtTheSetRateWithTheRightSideLeading) {
    // With no feedback and mix 1 an impulse's first sample is a^6 + 0.5: six all-passes of
    // coefficient a pass a^6 at once, and the dry half adds 0.5.
    for (double sr : {32000.0, 8000.0}) { // at 8 kHz the top of the sweep is held at 0.45 × sr
        const double rate = 0.45, depth = 1;
        FX phaser(EffectKind::phaser, sr, {{"rate", rate}, {"depth", depth}, {"feedback", 0}, {"mix", 1}});
        auto firstSample = [&](double p) {
            const double sweep = 200 * std::pow(20, depth * (std::sin(kTwoPi * p) * 0.5 + 0.5));
            const double f = std::min(sweep, 0.45 * sr);
            const double t = std::tan(std::numbers::pi * f / sr);
            return std::pow((t - 1) / (t + 1), 6) + 0.5;
        };
        probeBlocks(
            phaser, sr, [&](double seconds) {
                const double p = rate * seconds;
                return std::pair{firstSample(p), firstSample(p + 0.25)};
            },
            1e-6);
    }
}

TEST(AutoFilterFX, CutoffSweepsByOctavesAtTheSetRate) {
    // The state-variable low-pass at no resonance answers an impulse first with (g / (g + 1))^2,
    // g = tan(pi f / sr): the corner of each block read back from one sample.
    const double sr = 32000, rate = 0.45, depth = 1, cutoff = 4000; // the top is held at 0.45 × sr
    FX filter(EffectKind::autofilter, sr,
              {{"mode", 0}, {"cutoff", cutoff}, {"resonance", 0}, {"rate", rate}, {"depth", depth}, {"mix", 1}});
    probeBlocks(
        filter, sr, [&](double seconds) {
            const double octaves = std::sin(kTwoPi * rate * seconds) * depth * 4;
            const double f = std::clamp(cutoff * std::pow(2, octaves), 16.0, 0.45 * sr);
            const double g = std::tan(std::numbers::pi * f / sr);
            const double h = (g / (g + 1)) * (g / (g + 1));
            return std::pair{h, h};
        },
        1e-6);
}

TEST(AutoFilterFX, ModeRoundsAndResonanceIsClamped) {
    // First impulse samples at no resonance: low-pass (g/(g+1))^2, high-pass 1/(g+1)^2,
    // band-pass 2g/(g+1)^2.
    const double sr = 32000, g = std::tan(std::numbers::pi * 1000 / sr);
    auto first = [&](double mode, double resonance) {
        FX fx(EffectKind::autofilter, sr, {{"mode", mode}, {"cutoff", 1000}, {"resonance", resonance}, {"depth", 0}});
        return fx.run(constant(1, 1.0f)).left[0];
    };
    EXPECT_NEAR(first(0, 0), g * g / ((g + 1) * (g + 1)), 1e-7);
    EXPECT_NEAR(first(1.4, 0), 1 / ((g + 1) * (g + 1)), 1e-7) << "1.4 rounds to high-pass";
    EXPECT_NEAR(first(1.6, 0), 2 * g / ((g + 1) * (g + 1)), 1e-7) << "1.6 rounds to band-pass";
    EXPECT_NEAR(first(7, 0), g * g / ((g + 1) * (g + 1)), 1e-7) << "7 is a low-pass";
    EXPECT_EQ(first(0, 3), first(0, 1)) << "resonance above 1 acts as 1";
    EXPECT_NE(first(0, 1), first(0, 0));
}

} // namespace
} // namespace velmo
