#include "synth/ADSR.h"
#include "synth/LFO.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace velmo;
using Stage = ADSR::Stage;

namespace {

constexpr double kSr = 48000.0;

ADSR configured(double attack, double decay, double sustain, double release) {
    ADSR env;
    env.configure(EnvelopeParams{attack, decay, sustain, release}, kSr);
    return env;
}

} // namespace

TEST(ADSR, CoefficientsAndFloors) {
    ADSR env = configured(0.0, 0.0, 1.5, -1.0);
    EXPECT_EQ(env.aInc, 1.0 / 24.0) << "attack floors at 0.0005 s: 24 samples at 48 kHz";
    EXPECT_EQ(env.dCoef, std::exp(-6.907755 / 24.0));
    EXPECT_EQ(env.rCoef, std::exp(-6.907755 / 24.0));
    EXPECT_EQ(env.sus, 1.0) << "sustain clamps to 1";
    EXPECT_EQ(configured(0.1, 0.1, -0.2, 0.1).sus, 0.0);
    EXPECT_EQ(env.stage, Stage::idle) << "configure leaves stage and value";

    // Decay and release times are times to -60 dB.
    ADSR d = configured(0.0, 1.0, 0.0, 2.0);
    d.trigger();
    while (d.stage == Stage::attack) d.tick();
    for (int i = 0; i < 48000; ++i) d.tick();
    EXPECT_NEAR(d.value, 0.001, 1e-9);
    d.value = 1.0;
    d.stage = Stage::release;
    for (int i = 0; i < 96000; ++i) d.tick();
    EXPECT_NEAR(d.value, 0.001, 1e-9);
}

TEST(ADSR, StageTransitions) {
    ADSR env = configured(0.0, 0.01, 0.5, 0.01);
    EXPECT_EQ(env.tick(), 0.0) << "idle returns 0";
    env.trigger();
    for (int i = 1; i <= 24; ++i) {
        double v = env.tick();
        ASSERT_NEAR(v, i / 24.0, 1e-12) << "straight-line attack";
    }
    env.tick();
    EXPECT_EQ(env.stage, Stage::decay);
    EXPECT_EQ(env.value, 1.0) << "attack clamps at 1";

    int decaySamples = 0;
    while (env.stage == Stage::decay) {
        env.tick();
        ++decaySamples;
    }
    EXPECT_EQ(env.stage, Stage::sustain);
    EXPECT_EQ(env.value, 0.5) << "decay lands on sustain exactly";
    // The exit is at an absolute 0.0001 above 0.5: ln(0.5 / 0.0001) / ln(1000) of 10 ms.
    EXPECT_NEAR(decaySamples, 480.0 * std::log(5000.0) / std::log(1000.0), 1.0);

    env.configure(EnvelopeParams{0.0, 0.01, 0.25, 0.01}, kSr);
    EXPECT_EQ(env.tick(), 0.25) << "a changed sustain takes effect at once";

    env.startRelease();
    EXPECT_EQ(env.stage, Stage::release);
    double before = env.value;
    EXPECT_EQ(env.tick(), before * env.rCoef);
    int releaseSamples = 1;
    while (env.stage == Stage::release) {
        env.tick();
        ++releaseSamples;
    }
    EXPECT_EQ(env.value, 0.0);
    EXPECT_NEAR(releaseSamples, 480.0 * std::log(0.25 / 0.00001) / std::log(1000.0), 1.0);
    env.startRelease();
    EXPECT_EQ(env.stage, Stage::idle) << "release from idle stays idle";
}

TEST(ADSR, EdgeSustainLevelsAndRetrigger) {
    ADSR zero = configured(0.0, 0.001, 0.0, 0.1);
    zero.trigger();
    for (int i = 0; i < 1000; ++i) zero.tick();
    EXPECT_EQ(zero.stage, Stage::sustain) << "sustain 0 still ends in sustain, not idle";
    EXPECT_EQ(zero.value, 0.0);
    zero.startRelease();
    EXPECT_EQ(zero.tick(), 0.0);
    EXPECT_EQ(zero.stage, Stage::idle) << "only a release ends it";

    ADSR full = configured(0.0, 1.0, 1.0, 0.1);
    full.trigger();
    while (full.stage == Stage::attack) full.tick();
    EXPECT_EQ(full.tick(), 1.0);
    EXPECT_EQ(full.stage, Stage::sustain) << "sustain 1: the first decay step lands there";

    full.startRelease();
    for (int i = 0; i < 2400; ++i) full.tick();
    double present = full.value;
    ASSERT_GT(present, 0.0);
    full.trigger();
    EXPECT_NEAR(full.tick(), present + full.aInc, 1e-15) << "a retrigger rises from the present value";
}

TEST(ADSR, BlockTicksEqualSampleTicks) {
    ADSR bySample = configured(0.002, 0.01, 0.6, 0.02), byBlock = bySample, lastOnly = bySample;
    bySample.trigger();
    byBlock.trigger();
    lastOnly.trigger();
    double block[32];
    for (int b = 0; b < 200; ++b) {
        if (b == 120) {
            bySample.startRelease();
            byBlock.startRelease();
            lastOnly.startRelease();
        }
        int n = b % 3 == 0 ? 0 : 32 - b % 5;
        byBlock.tickInto(block, n);
        double last = lastOnly.tickTimes(n);
        for (int i = 0; i < n; ++i) ASSERT_EQ(block[i], bySample.tick()) << "block " << b << " frame " << i;
        ASSERT_EQ(last, n == 0 ? 0.0 : block[n - 1]) << "block " << b;
        ASSERT_EQ(byBlock.value, bySample.value);
        ASSERT_EQ(lastOnly.value, bySample.value);
        ASSERT_EQ(byBlock.stage, bySample.stage);
    }
    EXPECT_EQ(bySample.stage, Stage::idle);
}

TEST(LFO, ShapesAtBlockBoundaries) {
    // 375 Hz over 32 frames at 48 kHz is a quarter cycle per block.
    auto run = [](LFOShape shape) {
        LFO lfo;
        std::vector<double> values;
        for (int b = 0; b < 5; ++b) values.push_back(lfo.tick(shape, 375.0, 32, kSr));
        return values;
    };
    std::vector<double> saw = run(LFOShape::saw);
    EXPECT_EQ(saw, (std::vector<double>{-1.0, -0.5, 0.0, 0.5, -1.0}));
    std::vector<double> tri = run(LFOShape::triangle);
    EXPECT_EQ(tri, (std::vector<double>{-1.0, 0.0, 1.0, 0.0, -1.0})) << "starts at -1, +1 mid-cycle";
    std::vector<double> sq = run(LFOShape::square);
    EXPECT_EQ(sq, (std::vector<double>{1.0, 1.0, -1.0, -1.0, 1.0}));
    std::vector<double> sine = run(LFOShape::sine);
    EXPECT_EQ(sine[0], 0.0);
    EXPECT_EQ(sine[1], 1.0);
    EXPECT_NEAR(sine[2], 0.0, 1e-15);
    EXPECT_EQ(sine[3], -1.0);

    LFO random;
    random.rng = Rand::seeded(7);
    Rand expected = Rand::seeded(7);
    EXPECT_EQ(random.tick(LFOShape::random, 375.0, 32, kSr), 0.0) << "held starts at 0";
    for (int i = 0; i < 3; ++i) random.tick(LFOShape::random, 375.0, 32, kSr);
    double first = expected.bipolar();
    EXPECT_EQ(random.held, first) << "a new value at the wrap";
    EXPECT_EQ(random.tick(LFOShape::random, 375.0, 32, kSr), first);

    // 2.5 cycles per block: wraps by floor and draws once.
    LFO fast;
    fast.rng = Rand::seeded(7);
    fast.tick(LFOShape::saw, 3750.0, 32, kSr);
    EXPECT_EQ(fast.phase, 0.5);
    EXPECT_EQ(fast.held, Rand::seeded(7).bipolar()) << "held changes once per block";
}
