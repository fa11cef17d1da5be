// The building blocks every voice leans on: the random stream (its exact values pin every
// rendered noise and start phase), the sine table, the ADSR's stages and the LFO's shapes.
#include "synth/ADSR.h"
#include "synth/LFO.h"
#include "base/Rand.h"
#include "dsp/SineTable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

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

TEST(Rand, MakeFollowsTheGlobalSeedAndSeededStreamsRepeat) {
    globalSeed = 0x12345678u;
    Rand first = Rand::make();
    EXPECT_EQ(first.state, 0x75432777u) << "0x12345678 * 1664525 + 1013904223 mod 2^32, low bit set";
    EXPECT_EQ(Rand::make().state, 0xcd305e6bu) << "one LCG step per generator";
    // xorshift 13, 17, 5 from the first state
    EXPECT_EQ(first.nextUInt(), 0x24143b81u);
    EXPECT_EQ(first.nextUInt(), 0xcfed0c53u);
    EXPECT_EQ(first.nextUInt(), 0xa28c3760u);

    const uint32_t seedBefore = globalSeed.load();
    Rand a = Rand::seeded(99), b = Rand::seeded(99);
    EXPECT_EQ(globalSeed.load(), seedBefore) << "seeded leaves the global seed alone";
    for (int i = 0; i < 100; ++i) ASSERT_EQ(a.nextUInt(), b.nextUInt());
    EXPECT_EQ(Rand::seeded(0).state, 1u) << "a zero seed would lock xorshift at 0";

    Rand r = Rand::seeded(0x80000000u);
    const uint32_t s = Rand::seeded(0x80000000u).nextUInt();
    EXPECT_EQ(r.unit(), s / 4294967296.0);
    EXPECT_EQ(r.bipolar(), Rand::seeded(s).nextUInt() / 2147483648.0 - 1.0);
    for (int i = 0; i < 100000; ++i) {
        const double u = r.unit(), v = r.bipolar();
        ASSERT_TRUE(u >= 0.0 && u < 1.0 && v >= -1.0 && v < 1.0) << u << " " << v;
    }
}

TEST(SineTable, EntriesAndInterpolation) {
    const float* t = SineTable::ptr();
    EXPECT_TRUE(t[0] == 0.0f && t[1024] == 1.0f && t[3072] == -1.0f);
    EXPECT_EQ(SineTable::lookup(1.25), 1.0f) << "the integer part of the phase is dropped";
    EXPECT_EQ(SineTable::lookup(-0.75), 1.0f);
    EXPECT_TRUE(std::isfinite(SineTable::lookup(-1e-20))) << "a phase that wraps to exactly 1 stays in the table";
    // Linear interpolation over 4096 points, up to the guard entry that closes the cycle.
    double worst = 0.0;
    for (double p = 0.0; p < 1.0; p += 1.0 / 100003.0)
        worst = std::max(worst, std::fabs(SineTable::lookup(p) - std::sin(2.0 * std::numbers::pi * p)));
    EXPECT_LT(worst, 5e-7);
}

TEST(ADSR, StageTransitionsAndTimes) {
    ADSR env = configured(0.0, 0.01, 0.5, 0.01);
    EXPECT_EQ(env.tick(), 0.0) << "idle returns 0";
    env.trigger();
    for (int i = 1; i <= 24; ++i) ASSERT_NEAR(env.tick(), i / 24.0, 1e-12) << "attack floors at 0.5 ms: a 24-sample line";
    env.tick();
    EXPECT_EQ(env.stage, Stage::decay);
    EXPECT_EQ(env.value, 1.0) << "attack clamps at 1";
    int decaySamples = 0;
    for (; env.stage == Stage::decay; ++decaySamples) env.tick();
    EXPECT_EQ(env.stage, Stage::sustain);
    EXPECT_EQ(env.value, 0.5) << "decay lands on sustain exactly";
    // Times are to -60 dB; the exit is 0.0001 above 0.5: ln(0.5 / 0.0001) / ln(1000) of 10 ms.
    EXPECT_NEAR(decaySamples, 480.0 * std::log(5000.0) / std::log(1000.0), 1.0);
    env.configure(EnvelopeParams{0.0, 0.01, 0.25, 0.01}, kSr);
    EXPECT_EQ(env.tick(), 0.25) << "a changed sustain takes effect at once";
    env.startRelease();
    int releaseSamples = 0;
    for (; env.stage == Stage::release; ++releaseSamples) env.tick();
    EXPECT_EQ(env.value, 0.0);
    EXPECT_NEAR(releaseSamples, 480.0 * std::log(0.25 / 0.00001) / std::log(1000.0), 1.0);
    env.startRelease();
    EXPECT_EQ(env.stage, Stage::idle) << "release from idle stays idle";

    EXPECT_EQ(configured(0, 0, 1.5, 0).sus, 1.0) << "sustain clamps to 0..1";
    ADSR zero = configured(0.0, 0.001, -0.2, 0.1);
    zero.trigger();
    for (int i = 0; i < 1000; ++i) zero.tick();
    EXPECT_EQ(zero.stage, Stage::sustain) << "sustain 0 still ends in sustain, not idle: only a release ends it";

    ADSR full = configured(0.0, 1.0, 1.0, 0.1);
    full.trigger();
    for (int i = 0; i < 30; ++i) full.tick();
    full.startRelease();
    for (int i = 0; i < 2400; ++i) full.tick();
    const double present = full.value;
    ASSERT_GT(present, 0.0);
    full.trigger();
    EXPECT_NEAR(full.tick(), present + full.aInc, 1e-15) << "a retrigger rises from the present value";
}

TEST(ADSR, BlockTicksEqualSampleTicks) {
    ADSR bySample = configured(0.002, 0.01, 0.6, 0.02);
    bySample.trigger();
    ADSR byBlock = bySample, lastOnly = bySample;
    double block[32];
    for (int b = 0; b < 200; ++b) {
        if (b == 120) {
            for (ADSR* env : {&bySample, &byBlock, &lastOnly}) env->startRelease();
        }
        const int n = b % 3 == 0 ? 0 : 32 - b % 5;
        byBlock.tickInto(block, n);
        const double last = lastOnly.tickTimes(n);
        for (int i = 0; i < n; ++i) ASSERT_EQ(block[i], bySample.tick()) << "block " << b << " frame " << i;
        ASSERT_EQ(last, n == 0 ? 0.0 : block[n - 1]) << "block " << b;
        ASSERT_TRUE(byBlock.value == bySample.value && lastOnly.value == bySample.value) << "block " << b;
        ASSERT_EQ(byBlock.stage, bySample.stage);
    }
    EXPECT_EQ(bySample.stage, Stage::idle);
}

TEST(LFO, ShapesAtBlockBoundaries) {
    // 375 Hz over 32 frames at 48 kHz is a quarter cycle per block.
    auto run = [](LFOShape shape) {
        LFO lfo;
        lfo.rng = Rand::seeded(7);
        std::vector<double> values;
        for (int b = 0; b < 5; ++b) values.push_back(lfo.tick(shape, 375.0, 32, kSr));
        return values;
    };
    EXPECT_EQ(run(LFOShape::saw), (std::vector<double>{-1.0, -0.5, 0.0, 0.5, -1.0}));
    EXPECT_EQ(run(LFOShape::triangle), (std::vector<double>{-1.0, 0.0, 1.0, 0.0, -1.0})) << "starts at -1, +1 mid-cycle";
    EXPECT_EQ(run(LFOShape::square), (std::vector<double>{1.0, 1.0, -1.0, -1.0, 1.0}));
    const std::vector<double> sine = run(LFOShape::sine);
    EXPECT_EQ(sine[1], 1.0);
    EXPECT_NEAR(sine[2], 0.0, 1e-15);
    EXPECT_EQ(sine[3], -1.0);
    const double drawn = Rand::seeded(7).bipolar();
    EXPECT_EQ(run(LFOShape::random), (std::vector<double>{0.0, 0.0, 0.0, 0.0, drawn})) << "held from 0, new at the wrap";

    LFO fast; // 2.5 cycles per block: wraps by floor and draws once
    fast.rng = Rand::seeded(7);
    fast.tick(LFOShape::saw, 3750.0, 32, kSr);
    EXPECT_EQ(fast.phase, 0.5);
    EXPECT_EQ(fast.held, drawn) << "held changes once per block";
}
