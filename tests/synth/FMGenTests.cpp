// The FM engine: every algorithm's wiring heard operator by operator, the algorithm clamp, the
// modulation amount against feedback, the operator envelopes, and an oversampled note that a
// vibrato carries across the edge of its factor.
#include "support/SignalMeasure.h"

#include "synth/FMGen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

using namespace velmo;
using namespace velmo::test;

namespace {

constexpr double kF = 500.0; // 4800 samples hold whole cycles of it and its multiples

// The wiring as designed, independent of the generator's table: for each algorithm, the
// modulators of operators 1 to 4 (digits, "-" for none), then the carriers.
const char* const kWiring[8][5] = {
    {"2", "3", "4", "-", "1"},   {"2", "34", "-", "-", "1"},  {"23", "-", "4", "-", "1"}, {"2", "-", "4", "-", "13"},
    {"4", "4", "4", "-", "123"}, {"-", "-", "4", "-", "123"}, {"3", "3", "4", "-", "12"}, {"-", "-", "-", "-", "1234"}};

bool listed(int algorithm, int column, int op) {
    return std::string(kWiring[algorithm - 1][column]).find(static_cast<char>('0' + op)) != std::string::npos;
}

// Four sine operators at ratio 1, no level, instant attack, full sustain, no velocity sensitivity.
FMParams quiet(double algorithm) {
    FMParams p;
    p.algorithm = algorithm;
    for (FMOperator& o : p.ops) o = FMOperator{1.0, 0.0, 0.0, 0.0, 0.5, 1.0, 0.3, 0.0};
    return p;
}

struct FMRun {
    std::vector<double> mix;
    std::vector<double> ops[4]; // each operator's `out`, sample by sample
};

// One frame per render, so each operator's output can be read after every sample; the first
// 480 frames (the attack) are left out.
FMRun run(const FMParams& p, int frames = 5280, const ModValues& m = {}) {
    FMGen g;
    g.start(1.0, p, kSr, true);
    FMRun r;
    float l, rr;
    for (int i = 0; i < frames; ++i) {
        g.render(1, kF, m, p, kSr, &l, &rr);
        if (i < 480) continue;
        r.mix.push_back(l);
        for (int k = 0; k < 4; ++k) r.ops[k].push_back(g.out[static_cast<size_t>(k)]);
    }
    return r;
}

} // namespace

// A lone operator at level 1 is a pure sine at 1/sqrt(carriers) if it is a carrier, silence if
// not; a lone operator at ratio 2 puts a sideband at 3 × f on exactly the operators it modulates.
TEST(FMGen, EachAlgorithmSoundsItsGraph) {
    for (int a = 1; a <= 8; ++a) {
        const double norm = 1.0 / std::sqrt(static_cast<double>(std::string(kWiring[a - 1][4]).size()));
        for (int op = 1; op <= 4; ++op) {
            FMParams p = quiet(a);
            p.ops[static_cast<size_t>(op - 1)].level = 1.0;
            FMRun r = run(p);
            EXPECT_NEAR(amplitudeAt(r.mix, kF, kSr), listed(a, 4, op) ? norm : 0.0, 1e-3) << "algorithm " << a << ", operator " << op;
            EXPECT_LT(amplitudeAt(r.mix, 2 * kF, kSr), 1e-3) << "a lone operator is a pure sine";

            p.ops[static_cast<size_t>(op - 1)].ratio = 2.0;
            FMRun m = run(p);
            for (int target = 1; target <= 4; ++target) {
                if (target == op) continue;
                const double side = amplitudeAt(m.ops[target - 1], 3 * kF, kSr);
                EXPECT_EQ(side > 0.1, listed(a, target - 1, op)) << "algorithm " << a << ": operator " << op << " on " << target << ", sideband " << side;
                EXPECT_TRUE(side > 0.1 || side < 1e-3) << "no operator is half modulated";
            }
        }
    }
}

TEST(FMGen, AlgorithmNumberIsClampedAndTruncated) {
    FMParams p = quiet(1);
    for (FMOperator& o : p.ops) o.level = 0.7;
    p.ops[1].ratio = 3.0;
    p.ops[3].ratio = 0.5;
    auto mixOf = [&](double algorithm) {
        p.algorithm = algorithm;
        return run(p, 1000).mix;
    };
    for (auto [given, used] : {std::pair{0.5, 1.0}, {-4.0, 1.0}, {2.7, 2.0}, {8.9, 8.0}})
        EXPECT_EQ(mixOf(given), mixOf(used)) << "algorithm " << given << " plays as " << used;
    EXPECT_NE(mixOf(2.0), mixOf(3.0));
}

TEST(FMGen, ModulationAmountScalesDepthsButNotFeedback) {
    // Algorithm 1: carrier 1 under modulator 2.
    FMParams p = quiet(1);
    p.ops[0].level = 1.0;
    p.ops[1].level = 0.5;
    FMParams none = p;
    none.ops[1].level = 0.0;
    ModValues off;
    off.fmAmount = -1.3;
    EXPECT_EQ(run(p, 2000, off).mix, run(none, 2000).mix) << "fmAmount −1 or lower removes all modulation";

    ModValues twice;
    twice.fmAmount = 1.0;
    FMParams deeper = p;
    deeper.ops[1].level = std::sqrt(0.5); // depth goes with level²: the same depth as 0.5 at double amount
    std::vector<double> a = run(p, 2000, twice).mix, b = run(deeper, 2000).mix;
    for (size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(a[i], b[i], 1e-5) << i;

    FMParams lone = quiet(8);
    lone.ops[3].level = 1.0;
    lone.feedback = 1.0;
    EXPECT_GT(amplitudeAt(run(lone).mix, 2 * kF, kSr), 0.01) << "feedback gives operator 4 harmonics";
    EXPECT_EQ(run(lone, 2000, off).mix, run(lone, 2000).mix) << "fmAmount leaves the feedback alone";
}

TEST(FMGen, OperatorEnvelopes) {
    FMParams p = quiet(8);
    p.ops[0] = FMOperator{1.0, 0.0, 1.0, 0.001, 0.05, 0.0, 0.1, 0.0};
    FMRun r = run(p, 9600);
    for (size_t i = 8000; i < r.mix.size(); ++i) ASSERT_EQ(r.mix[i], 0.0) << "sustain 0: silent after the decay";
    FMGen g;
    g.start(1.0, p, kSr, true);
    g.release();
    for (const ADSR& e : g.env) EXPECT_EQ(e.stage, ADSR::Stage::release) << "every operator, heard or not";
}

// A vibrato that carries a note back and forth across the pitch at which it needs oversampling
// must not switch the decimators in and out: each switch would move the output by their delay,
// a jump heard as a click. The note's partials all lie above 1.4 kHz; clicks fill the band below.
TEST(FMGen, AVibratoAcrossAnOversamplingEdgeDoesNotClick) {
    FMParams p = quiet(1);
    p.ops[0].level = 1.0;
    p.ops[1] = FMOperator{3.0, 0.0, 0.5, 0.0, 0.5, 1.0, 0.3, 0.0}; // sidebands that matter reach 21.7 times the note
    FMGen g;
    g.start(1.0, p, kSr, true);
    std::vector<double> out;
    float l[32], r[32];
    for (int b = 0; b < 1500; ++b) { // twice the rate is needed above 1,474 Hz
        const double vibrato = 0.5 / 12.0 * std::sin(2.0 * std::numbers::pi * 5.0 * b * 32 / kSr);
        g.render(32, 1474.0 * std::exp2(vibrato), {}, p, kSr, l, r);
        out.insert(out.end(), l, l + 32);
    }
    const std::vector<double> later = slice(out, 24000, 16384); // after the first crossing
    EXPECT_LT(levelBelowDb(later, 1000.0, kSr), -80.0);
}
