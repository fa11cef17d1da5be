// The analog oscillators: unison count and spread, the clamps, the sub. Aliasing is measured
// with the other engines' in AliasingTests.
#include "support/SignalMeasure.h"

#include "synth/AnalogGen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

using namespace velmo;
using namespace velmo::test;

namespace {

// Renders `frames` frames in blocks of 32 from a copy of `gen`, leaving `gen` untouched.
Stereo renderFrames(AnalogGen gen, const AnalogParams& p, double freq, int frames, const ModValues& m = {}) {
    return test::renderStereo(frames, [&](int n, float* l, float* r) { gen.render(n, freq, m, p, kSr, l, r); });
}

AnalogParams single(OscWave wave) {
    AnalogParams p;
    p.osc1.wave = wave;
    p.osc2.level = 0.0;
    return p;
}

} // namespace

TEST(AnalogGen, UnisonCountAndSpread) {
    AnalogGen gen;
    gen.start();
    // The count is clamped to 1..7 and truncated: copies above it keep their phase.
    for (auto [unison, copies] : {std::pair{0.0, 1}, {-4.0, 1}, {3.9, 3}, {9.0, 7}}) {
        AnalogGen g = gen;
        AnalogParams p = single(OscWave::saw);
        p.unison = unison;
        float l[32], r[32];
        g.render(32, 440.0, {}, p, kSr, l, r);
        int moved = 0;
        for (int i = 0; i < 7; ++i) moved += g.ph1[i] != gen.ph1[i];
        EXPECT_EQ(moved, copies) << "unison " << unison;
    }
    // Sine copies at full spread: each one's level per side, at 1/sqrt(count) in all. Two copies
    // put the lower alone on the left and the upper on the right; of seven, the centre copy is in
    // tune and at both sides in full, the outer ones at one side only; one copy ignores detune
    // and spread.
    struct Case { double unison, detune, cents, left, right; };
    const double half = std::sqrt(0.5), seventh = 1.0 / std::sqrt(7.0);
    for (const Case& c : {Case{2, 50, -50, half, 0}, Case{2, 50, 50, 0, half}, Case{7, 100, 0, seventh, seventh},
                          Case{7, 100, 100, 0, seventh}, Case{7, 100, -100, seventh, 0}, Case{1, 100, 0, 1, 1}}) {
        AnalogParams p = single(OscWave::sine);
        p.unison = c.unison;
        p.unisonSpread = 1.0;
        p.unisonDetune = c.detune;
        Stereo out = renderFrames(gen, p, 1000.0, 48000);
        const double f = 1000.0 * std::exp2(c.cents / 1200.0), tolerance = c.unison == 1 ? 1e-5 : 5e-3;
        EXPECT_NEAR(amplitudeAt(out.left, f, kSr), c.left, tolerance) << c.unison << " copies, left, " << c.cents << " cents";
        EXPECT_NEAR(amplitudeAt(out.right, f, kSr), c.right, tolerance) << c.unison << " copies, right, " << c.cents << " cents";
        if (c.unison == 1) {
            EXPECT_EQ(out.left, out.right);
        }
    }
}

TEST(AnalogGen, PulseWidthAndFrequencyClamp) {
    AnalogGen gen;
    gen.start();
    AnalogParams pulse = single(OscWave::pulse);
    auto widthOf = [&](double w) {
        pulse.osc1.pulseWidth = w;
        return renderFrames(gen, pulse, 300.0, 512).left;
    };
    EXPECT_EQ(widthOf(0.0), widthOf(0.03));
    EXPECT_EQ(widthOf(1.0), widthOf(0.97));
    // 40 kHz and 30 kHz both stick at 0.49 cycles per sample.
    AnalogParams saw = single(OscWave::saw);
    EXPECT_EQ(renderFrames(gen, saw, 40000.0, 64).left, renderFrames(gen, saw, 30000.0, 64).left);
}

// A pulse's known mean is taken out: no width leaves DC, and a width swept at 3 Hz (as an LFO
// would, a step per block) leaves nothing under 10 Hz. The level below 10 Hz includes DC.
TEST(AnalogGen, PulseCarriesNoDCAtAnyWidthNorUnderModulation) {
    AnalogGen gen;
    gen.start();
    AnalogParams p = single(OscWave::pulse);
    for (double width : {0.03, 0.1, 0.3, 0.7, 0.97}) {
        p.osc1.pulseWidth = width;
        EXPECT_LT(levelBelowDb(renderFrames(gen, p, hz(48), 48000).left, 10.0, kSr), -60.0) << "width " << width;
    }
    p.osc1.pulseWidth = 0.5;
    int block = 0;
    const Stereo swept = test::renderStereo(48000, [&](int n, float* l, float* r) {
        ModValues m;
        m.pulseWidth = std::sin(2.0 * std::numbers::pi * 3.0 * 32.0 * block++ / kSr);
        gen.render(n, hz(48), m, p, kSr, l, r);
    });
    EXPECT_LT(levelBelowDb(swept.left, 10.0, kSr), -60.0) << "pulse-width modulation";
}

TEST(AnalogGen, SubOscillatorIsASquareAnOctaveBelowOscillatorOne) {
    AnalogGen gen;
    gen.start();
    AnalogParams p = single(OscWave::saw);
    p.osc1.level = 0.0;
    p.osc1.octave = 1.0;
    p.osc1.detune = 50.0; // left out of the sub
    p.subLevel = 0.5;
    Stereo sub = renderFrames(gen, p, 500.0, 48000);
    // Oscillator 1 sits at 1000 Hz, the sub at 500: a square's fundamental is 4/pi, no even harmonics.
    EXPECT_NEAR(amplitudeAt(sub.left, 500.0, kSr), 0.5 * 4.0 / std::numbers::pi, 5e-3);
    EXPECT_NEAR(amplitudeAt(sub.left, 1500.0, kSr), 0.5 * 4.0 / (3.0 * std::numbers::pi), 5e-3);
    EXPECT_LT(amplitudeAt(sub.left, 1000.0, kSr), 1e-3);
    EXPECT_EQ(sub.left, sub.right) << "no pan on the sub";
}
