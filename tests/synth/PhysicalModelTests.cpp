// The physical models: the plucked string's pitch, loop loss and pick comb, and the struck
// modal body's mode frequencies, damping and strike.
#include "support/SignalMeasure.h"

#include "synth/ModalGen.h"
#include "synth/PluckGen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

using namespace velmo;
using namespace velmo::test;

namespace {

std::vector<double> pluck(PluckGen& g, double freq, const PluckParams& p, int frames, bool start = true) {
    if (start) g.start(freq, 1.0, p, kSr);
    return renderBlocks(frames, [&](float* l, float* r) { g.render(32, freq, p, kSr, l, r); });
}

std::vector<double> strike(ModalGen& g, double freq, const ModalParams& p, int frames, double velocity = 1.0) {
    g.start(freq, velocity, p, kSr);
    return renderBlocks(frames, [&](float* l, float* r) { g.render(32, freq, kSr, l, r); });
}

} // namespace

// The all-pass gives the loop its fraction of a sample, so every note is in tune at every
// damping, C1 to C7, measured by the phase advance of the fundamental.
TEST(PluckGen, InTuneFromC1ToC7AtEveryDamping) {
    for (int note = 24; note <= 96; note += 6) {
        const double f = hz(note);
        const size_t period = static_cast<size_t>(kSr / f);
        for (double damping : {0.0, 0.35, 1.0}) {
            PluckParams p;
            p.damping = damping;
            p.decay = 20.0;
            PluckGen g;
            std::vector<double> out = pluck(g, f, p, static_cast<int>(period * 36 + 4000));
            const double measured = frequencyNear(out, f, kSr, 4000, period * 16, period * 16);
            EXPECT_NEAR(cents(measured, f), 0.0, 1.0) << "note " << note << ", damping " << damping;
        }
    }
}

// `decay` is the fundamental's time to -60 dB, measured by its slope over the ring. Damping
// leaves it alone and makes the upper partials die sooner: with none, the third harmonic rings as
// long as the fundamental; from a third up, at most half as long.
TEST(PluckGen, DecayIsTheFundamentalsSixtyDecibelTime) {
    struct Case { double decay, damping; };
    for (const Case c : {Case{3.0, 0.0}, Case{3.0, 0.35}, Case{0.4, 0.8}, Case{1.0, 1.0}}) {
        for (int note = 36; note <= 84; note += 12) {
            const double f = hz(note);
            PluckParams p;
            p.decay = c.decay;
            p.damping = c.damping;
            PluckGen g;
            const size_t from = 4800, window = 2400;
            std::vector<double> out = pluck(g, f, p, static_cast<int>(from + kSr + window));
            auto t60 = [&](double freq, double span) {
                const size_t gap = static_cast<size_t>(span * kSr);
                const double dB = 20.0 * std::log10(windowedAmplitudeAt(out, freq, kSr, from + gap, window) /
                                                    windowedAmplitudeAt(out, freq, kSr, from, window));
                return -60.0 * span / dB;
            };
            const std::string what = "note " + std::to_string(note) + ", decay " + std::to_string(c.decay) +
                                     ", damping " + std::to_string(c.damping);
            EXPECT_NEAR(t60(f, std::min(c.decay / 3.0, 0.5)), c.decay, 0.2 * c.decay) << what;
            const double third = t60(3 * f, std::min(c.decay / (3.0 + 20.0 * c.damping), 0.5));
            if (c.damping == 0.0) {
                EXPECT_NEAR(third, c.decay, 0.2 * c.decay) << what << ", third harmonic";
            } else {
                EXPECT_LT(third, 0.5 * c.decay) << what << ", third harmonic";
            }
        }
    }
}

TEST(PluckGen, PeriodClampsAndBurstLength) {
    PluckParams p;
    p.damping = 0.0;
    p.decay = 20.0;
    PluckGen low;
    low.start(5.0, 1.0, p, kSr);
    EXPECT_EQ(low.exciteLeft, 4000) << "a note below sr / 4000 is held at the longest period";

    PluckGen high;
    high.start(30000.0, 1.0, p, kSr);
    EXPECT_EQ(high.exciteLeft, 2) << "above sr / 2 the period is 2";
    p.damping = 1.0; // the delay would fall under 1 sample: it stays at 1
    const double peak = peakOf(pluck(high, 30000.0, p, 4800, false));
    EXPECT_TRUE(std::isfinite(peak) && peak < 4.0) << peak;
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
    const double loopHz = kSr / 200.0;
    std::vector<double> tailX = slice(x, 4000, 20000), tailY = slice(y, 4000, 20000);
    EXPECT_NEAR(amplitudeAt(tailX, 2 * loopHz, kSr) / amplitudeAt(tailY, 2 * loopHz, kSr), 0.2 / 1.8, 0.01);
    const double oddRatio = amplitudeAt(tailX, loopHz, kSr) / amplitudeAt(tailY, loopHz, kSr);
    EXPECT_NEAR(oddRatio, 1.8 / std::sqrt(1.0 + 0.64), 0.03);
}

TEST(ModalGen, EachMaterialRingsAtItsModeRatios) {
    const std::vector<double> expected[] = {{1, 3.99, 10.65, 19.4},
                                            {0.5, 1, 1.183, 1.506, 2, 2.514, 2.662, 3.011},
                                            {1, 2.32, 4.25, 6.63, 9.38},
                                            {1, 1.59, 2.14, 2.3, 2.65, 2.92, 3.16, 3.5},
                                            {1, 2, 3, 4, 5, 6, 7, 8},
                                            {1, 3, 5, 7, 9, 11}};
    const double f = 220.0;
    for (ModalMaterial material : allCases<ModalMaterial>()) {
        const auto& ratios = expected[static_cast<size_t>(material)];
        ModalParams p{material, 8.0, 0.0, 1.0};
        ModalGen g;
        std::vector<double> out = strike(g, f, p, 24000);
        for (double ratio : ratios) {
            // A Hann window of 4800 samples resolves modes 10 Hz apart and more.
            EXPECT_NEAR(frequencyNear(out, f * ratio, kSr, 2400, 4800, 4800), f * ratio, 0.02) << toString(material) << " mode " << ratio;
        }
        const auto firstUnused = g.amp.begin() + static_cast<long>(ratios.size());
        EXPECT_NEAR(std::accumulate(g.amp.begin(), firstUnused, 0.0), 1.4, 1e-12) << "the weights add up to 1.4";
        EXPECT_TRUE(std::all_of(firstUnused, g.amp.end(), [](double a) { return a == 0.0; }))
            << toString(material) << " has " << ratios.size() << " modes";
    }
}

// Each mode falls 60 dB in decay / (damping × (ratio − 1) × 1.5 + 1) seconds.
TEST(ModalGen, DampingShortensTheUpperModes) {
    ModalParams p{ModalMaterial::bar, 1.0, 0.5, 1.0};
    const double f = 300.0;
    ModalGen g;
    std::vector<double> out = strike(g, f, p, 48000);
    for (double ratio : {1.0, 3.99}) {
        const double t60 = p.decay / (p.damping * (ratio - 1.0) * 1.5 + 1.0);
        const double dB = 20.0 * std::log10(windowedAmplitudeAt(out, f * ratio, kSr, 14400, 4800) /
                                            windowedAmplitudeAt(out, f * ratio, kSr, 4800, 4800));
        EXPECT_NEAR(dB, -60.0 * (9600.0 / kSr) / t60, 0.1) << "mode " << ratio;
    }
}

// A hand-edited damping beyond 0 to 1 acts as the nearest end of the range: past it some mode's
// decay time turns negative and the note grows without bound.
TEST(ModalGen, DampingBeyondItsRangeStillDecays) {
    for (double damping : {-1.0, 2.0}) {
        ModalGen g;
        const std::vector<double> out = strike(g, 220.0, ModalParams{ModalMaterial::bell, 0.5, damping, 1.0}, 96000);
        EXPECT_LT(meanSquare(slice(out, 72000, 24000)), 1e-3 * meanSquare(slice(out, 0, 24000))) << damping;
    }
}

TEST(ModalGen, HighNotesDropModesAndTheStrikeFollowsHardness) {
    ModalGen g;
    const double f = 6000.0; // 3.99 × f lies above 0.45 × sr: the bar keeps its fundamental alone
    std::vector<double> tail = slice(strike(g, f, ModalParams{ModalMaterial::bar, 2.0, 0.5, 0.5}, 9600), 4800, 4800);
    const double a = amplitudeAt(tail, f, kSr);
    EXPECT_GT(a, 1e-3) << "the strike still rings the fundamental";
    EXPECT_NEAR(meanSquare(tail), a * a / 2.0, 0.02 * meanSquare(tail)) << "and nothing else";

    ModalParams soft{ModalMaterial::bar, 1.5, 0.5, 0.0};
    ModalGen x, y;
    x.rng = Rand::seeded(1);
    y.rng = Rand::seeded(2);
    EXPECT_EQ(strike(x, 440.0, soft, 960), strike(y, 440.0, soft, 960)) << "hardness 0: a window with no noise";
    EXPECT_GT(amplitudeAt(strike(x, 440.0, soft, 4800, 0.0), 440.0, kSr), 1e-3) << "velocity 0 still strikes";
}
