#include "SignalMeasure.h"

#include "synth/PluckGen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace velmo;
using test::amplitudeAt;
using test::cents;
using test::frequencyNear;

namespace {

constexpr double kSr = 48000.0;

std::vector<double> ring(PluckGen& g, double freq, const PluckParams& p, int frames) {
    std::vector<double> out;
    float l[32], r[32];
    for (int done = 0; done < frames; done += 32) {
        g.render(32, freq, p, kSr, l, r);
        for (int i = 0; i < 32; ++i) {
            EXPECT_EQ(l[i], r[i]) << "the string is mono";
            out.push_back(l[i]);
        }
    }
    return out;
}

std::vector<double> pluck(PluckGen& g, double freq, const PluckParams& p, int frames, double velocity = 1.0) {
    g.start(freq, velocity, kSr);
    return ring(g, freq, p, frames);
}

double hz(double midi) { return 440.0 * std::exp2((midi - 69.0) / 12.0); }

double peakOf(const std::vector<double>& x) {
    double m = 0.0;
    for (double v : x) m = std::max(m, std::fabs(v));
    return m;
}

} // namespace

// The loop is the line's delay plus the low-pass's own lag, so the string sounds at a loop of
// period − 0.5 samples whatever the damping: measured per note against that loop length, and
// against the same note at another damping.
TEST(PluckGen, PitchFollowsTheLoopAtEveryDamping) {
    for (int note = 28; note <= 96; note += 4) {
        const double f = hz(note);
        const double loopHz = kSr / (PluckGen::periodFor(f, kSr) - 0.5);
        const size_t period = static_cast<size_t>(kSr / f);
        for (double damping : {0.0, 0.35, 0.6}) {
            if (damping > 0.5 && note > 84) continue; // the loop's low-pass leaves almost no harmonic to measure
            PluckParams p;
            p.damping = damping;
            p.decay = 20.0;
            PluckGen g;
            std::vector<double> out = pluck(g, f, p, static_cast<int>(period * 40 + 8000));
            const double measured = frequencyNear(out, f, kSr, 4000, period * 16, period * 16);
            EXPECT_NEAR(cents(measured, loopHz), 0.0, 1.5) << "note " << note << ", damping " << damping;
            if (note <= 60) {
                EXPECT_NEAR(cents(measured, f), 0.0, 5.0) << "note " << note << ", damping " << damping;
            }
        }
    }
}

TEST(PluckGen, PeriodClampsAndBurstLength) {
    PluckParams p;
    p.damping = 0.0;
    p.decay = 20.0;
    PluckGen low;
    low.start(5.0, 1.0, kSr);
    EXPECT_EQ(low.exciteLeft, 4000) << "a note below sr / 4000 is held at the longest period";
    std::vector<double> out = ring(low, 5.0, p, 60000);
    EXPECT_NEAR(cents(frequencyNear(out, 12.0, kSr, 8000, 16000, 16000), kSr / 3999.5), 0.0, 1.0);

    PluckGen high;
    high.start(30000.0, 1.0, kSr);
    EXPECT_EQ(high.exciteLeft, 2) << "above sr / 2 the period is 2";
    for (double damping : {0.0, 1.0}) {
        p.damping = damping;
        std::vector<double> shrill = ring(high, 30000.0, p, 4800);
        for (double x : shrill) ASSERT_TRUE(std::isfinite(x));
        EXPECT_LT(peakOf(shrill), 4.0);
    }
}

// With no damping the loop low-pass is transparent and a whole-sample delay reads without
// interpolation: the only loss left is the factor g = 10^(−3 / (sr × decay)), once per pass
// through the loop. (So the string's own decay time grows with the period; the amplitude
// envelope ends the note.)
TEST(PluckGen, LoopLosesTheDecayFactorOncePerPass) {
    for (double period : {100.5, 200.5, 400.5}) {
        const double f = kSr / period;
        PluckParams p;
        p.damping = 0.0;
        p.decay = 0.05;
        PluckGen g;
        std::vector<double> out = pluck(g, f, p, 48000 + 9600);
        const double loopHz = kSr / (period - 0.5);
        auto level = [&](size_t from) {
            return amplitudeAt({out.begin() + static_cast<long>(from), out.begin() + static_cast<long>(from) + 9600}, loopHz, kSr);
        };
        const double passes = 43200.0 / (period - 0.5);
        const double dB = 20.0 * std::log10(level(48000) / level(4800));
        EXPECT_NEAR(dB, -60.0 * passes / (kSr * p.decay), 0.05) << f << " Hz";
    }
    PluckParams zero;
    zero.decay = 0.0;
    PluckParams floor = zero;
    floor.decay = 0.05;
    PluckGen a, b;
    a.rng = b.rng = Rand::seeded(7);
    EXPECT_EQ(pluck(a, 220.0, zero, 2000), pluck(b, 220.0, floor, 2000)) << "decay 0 acts as 0.05";
}

// The output comb y = x − 0.8 x(n − tap): a pick at half the string leaves even harmonics at
// |1 − 0.8| where a pick at a quarter leaves them at |1 + 0.8|. Same string, same noise.
TEST(PluckGen, PickPositionCancelsTheHarmonicsWithANodeThere) {
    const double f = kSr / 200.0; // a period of 200 samples puts both taps on whole samples
    PluckParams half, quarter;
    half.pickPosition = 0.5;
    quarter.pickPosition = 0.25;
    half.damping = quarter.damping = 0.0;
    PluckGen a, b;
    a.rng = b.rng = Rand::seeded(11);
    std::vector<double> x = pluck(a, f, half, 24000), y = pluck(b, f, quarter, 24000);
    const double loopHz = kSr / 199.5;
    std::vector<double> tailX(x.begin() + 4000, x.begin() + 4000 + 19950), tailY(y.begin() + 4000, y.begin() + 4000 + 19950);
    EXPECT_NEAR(amplitudeAt(tailX, 2 * loopHz, kSr) / amplitudeAt(tailY, 2 * loopHz, kSr), 0.2 / 1.8, 0.01);
    const double oddRatio = amplitudeAt(tailX, loopHz, kSr) / amplitudeAt(tailY, loopHz, kSr);
    EXPECT_NEAR(oddRatio, 1.8 / std::sqrt(1.0 + 0.64), 0.03);

    PluckParams tiny = half, smallest = half;
    tiny.pickPosition = -3.0;
    smallest.pickPosition = 0.01;
    PluckGen c, d;
    c.rng = d.rng = Rand::seeded(3);
    EXPECT_EQ(pluck(c, 330.0, tiny, 3000), pluck(d, 330.0, smallest, 3000)) << "a pick below 0.01 acts as 0.01";
}

TEST(PluckGen, EveryNoteStartsFromASilentStringAndVelocityZeroStillPlucks) {
    PluckParams p;
    PluckGen g;
    std::vector<double> first = pluck(g, 220.0, p, 4800, 0.0);
    EXPECT_GT(peakOf(first), 0.05) << "velocity 0 still plucks at 0.3";
    g.rng = Rand::seeded(9);
    std::vector<double> again = pluck(g, 220.0, p, 4800);
    PluckGen fresh;
    fresh.rng = Rand::seeded(9);
    EXPECT_EQ(again, pluck(fresh, 220.0, p, 4800)) << "a retrigger forgets the ringing string";
}
