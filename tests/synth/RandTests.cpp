#include "synth/Rand.h"
#include "synth/SineTable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace velmo;

TEST(Rand, MakeFollowsTheGlobalSeedAndSeededStreamsRepeat) {
    globalSeed = 0x12345678u;
    Rand first = Rand::make();
    EXPECT_EQ(first.state, 0x75432777u) << "0x12345678 * 1664525 + 1013904223 mod 2^32, low bit set";
    EXPECT_EQ(globalSeed.load(), 0x75432777u);
    Rand second = Rand::make();
    EXPECT_EQ(second.state, 0xcd305e6bu) << "one LCG step per generator";

    // xorshift 13, 17, 5 from the first state
    EXPECT_EQ(first.nextUInt(), 0x24143b81u);
    EXPECT_EQ(first.nextUInt(), 0xcfed0c53u);
    EXPECT_EQ(first.nextUInt(), 0xa28c3760u);

    uint32_t seedBefore = globalSeed.load();
    Rand a = Rand::seeded(99), b = Rand::seeded(99);
    EXPECT_EQ(globalSeed.load(), seedBefore) << "seeded leaves the global seed alone";
    for (int i = 0; i < 100; ++i) ASSERT_EQ(a.nextUInt(), b.nextUInt());
    EXPECT_EQ(Rand::seeded(0).state, 1u) << "a zero seed would lock xorshift at 0";

    // Exact conversions and their ranges; the state never reaches 0.
    Rand r = Rand::seeded(0x80000000u);
    uint32_t s = Rand::seeded(0x80000000u).nextUInt();
    EXPECT_EQ(r.unit(), s / 4294967296.0);
    EXPECT_EQ(r.bipolar(), Rand::seeded(s).nextUInt() / 2147483648.0 - 1.0);
    for (int i = 0; i < 100000; ++i) {
        double u = r.unit();
        double v = r.bipolar();
        ASSERT_NE(r.state, 0u);
        ASSERT_TRUE(u >= 0.0 && u < 1.0) << u;
        ASSERT_TRUE(v >= -1.0 && v < 1.0) << v;
    }
}

TEST(SineTable, EntriesAndInterpolation) {
    const float* t = SineTable::ptr();
    EXPECT_EQ(t[0], 0.0f);
    EXPECT_EQ(t[1024], 1.0f);
    EXPECT_EQ(t[3072], -1.0f);
    EXPECT_EQ(t[512], static_cast<float>(std::sin((512.0 * 6.283185307179586) * 0.000244140625)));
    EXPECT_EQ(t[4096], static_cast<float>(std::sin(4096.0 * 6.283185307179586 * 0.000244140625)))
        << "the guard entry is the end of the cycle";
    EXPECT_EQ(SineTable::ptr(), t) << "one table for the process";

    EXPECT_EQ(SineTable::lookup(0.25), 1.0f);
    EXPECT_EQ(SineTable::lookup(1.25), 1.0f) << "the integer part of the phase is dropped";
    EXPECT_EQ(SineTable::lookup(-0.75), 1.0f);
    EXPECT_EQ(SineTable::lookup(0.5 / 4096.0), t[1] * 0.5f) << "halfway between entries 0 and 1";
    EXPECT_TRUE(std::isfinite(SineTable::lookup(-1e-20))) << "a phase that wraps to exactly 1 stays in the table";

    double worst = 0.0;
    for (int i = 0; i < 100003; ++i) {
        double p = i / 100003.0;
        worst = std::max(worst, std::fabs(SineTable::lookup(p) - std::sin(2.0 * std::numbers::pi * p)));
    }
    EXPECT_LT(worst, 5e-7) << "linear interpolation over 4096 points";
}
