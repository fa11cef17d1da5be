#include "SignalMeasure.h"

#include "synth/FMGen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace velmo;
using test::amplitudeAt;

namespace {

constexpr double kSr = 48000.0;
constexpr double kF = 500.0; // 4800 samples hold whole cycles of it and its multiples

// Four sine operators at ratio 1, no level, instant attack, full sustain, no velocity sensitivity.
FMParams quiet(int algorithm) {
    FMParams p;
    p.algorithm = algorithm;
    p.feedback = 0.0;
    for (FMOperator& o : p.ops) o = FMOperator{1.0, 0.0, 0.0, 0.0, 0.5, 1.0, 0.3, 0.0};
    return p;
}

struct FMRun {
    std::vector<double> mix;
    std::array<std::vector<double>, 4> ops; // each operator's `out`, sample by sample
};

// Renders one frame at a time so each operator's output can be read after every sample.
FMRun run(const FMParams& p, int frames, const ModValues& m = {}) {
    FMGen g;
    g.start(1.0, p, kSr, true);
    FMRun r;
    float l, rr;
    for (int i = 0; i < frames; ++i) {
        g.render(1, kF, m, p, kSr, &l, &rr);
        EXPECT_EQ(l, rr) << "mono";
        r.mix.push_back(l);
        for (int k = 0; k < 4; ++k) r.ops[static_cast<size_t>(k)].push_back(g.out[static_cast<size_t>(k)]);
    }
    for (auto* v : {&r.mix, &r.ops[0], &r.ops[1], &r.ops[2], &r.ops[3]}) v->erase(v->begin(), v->begin() + 480);
    return r;
}

bool isCarrier(int algorithm, int op) { return (FMGen::algorithms[static_cast<size_t>(algorithm - 1)].carriers >> (op - 1)) & 1u; }
bool modulates(int algorithm, int modulator, int op) {
    return (FMGen::algorithms[static_cast<size_t>(algorithm - 1)].modulators[static_cast<size_t>(op - 1)] >> (modulator - 1)) & 1u;
}

} // namespace

TEST(FMGen, AlgorithmTableAsWired) {
    // Modulators of operators 1 to 4, and carriers, as operator numbers.
    const std::vector<std::vector<int>> mods[8] = {
        {{2}, {3}, {4}, {}}, {{2}, {3, 4}, {}, {}}, {{2, 3}, {}, {4}, {}}, {{2}, {}, {4}, {}},
        {{4}, {4}, {4}, {}}, {{}, {}, {4}, {}},     {{3}, {3}, {4}, {}},    {{}, {}, {}, {}}};
    const std::vector<int> carriers[8] = {{1}, {1}, {1}, {1, 3}, {1, 2, 3}, {1, 2, 3}, {1, 2}, {1, 2, 3, 4}};
    for (int a = 1; a <= 8; ++a) {
        for (int op = 1; op <= 4; ++op) {
            std::vector<int> got;
            for (int s = 1; s <= 4; ++s) {
                if (modulates(a, s, op)) got.push_back(s);
            }
            EXPECT_EQ(got, mods[a - 1][static_cast<size_t>(op - 1)]) << "algorithm " << a << ", operator " << op;
        }
        std::vector<int> got;
        for (int op = 1; op <= 4; ++op) {
            if (isCarrier(a, op)) got.push_back(op);
        }
        EXPECT_EQ(got, carriers[a - 1]) << "algorithm " << a;
    }
}

// The table as heard: a lone operator at level 1 is a pure sine at 1/sqrt(carriers) if it is a
// carrier and silence if not; a lone modulator at ratio 2 puts sidebands (3 × f) on exactly the
// operators it is wired to, and on no other.
TEST(FMGen, EachAlgorithmSoundsItsGraph) {
    for (int a = 1; a <= 8; ++a) {
        int carrierCount = 0;
        for (int op = 1; op <= 4; ++op) carrierCount += isCarrier(a, op) ? 1 : 0;
        for (int op = 1; op <= 4; ++op) {
            FMParams p = quiet(a);
            p.ops[static_cast<size_t>(op - 1)].level = 1.0;
            FMRun r = run(p, 5280);
            const double expected = isCarrier(a, op) ? 1.0 / std::sqrt(static_cast<double>(carrierCount)) : 0.0;
            EXPECT_NEAR(amplitudeAt(r.mix, kF, kSr), expected, 1e-3) << "algorithm " << a << ", operator " << op << " alone";
            EXPECT_LT(amplitudeAt(r.mix, 2 * kF, kSr), 1e-3) << "a lone operator is a pure sine";

            p.ops[static_cast<size_t>(op - 1)].ratio = 2.0;
            FMRun m = run(p, 5280);
            for (int target = 1; target <= 4; ++target) {
                if (target == op) continue;
                const double side = amplitudeAt(m.ops[static_cast<size_t>(target - 1)], 3 * kF, kSr);
                if (modulates(a, op, target)) {
                    EXPECT_GT(side, 0.1) << "algorithm " << a << ": operator " << op << " modulates " << target;
                } else {
                    EXPECT_LT(side, 1e-3) << "algorithm " << a << ": operator " << op << " leaves " << target << " alone";
                }
            }
        }
    }
}

TEST(FMGen, AlgorithmNumberIsClampedAndTruncated) {
    EXPECT_EQ(FMGen::algorithmIndex(0.5), 0);
    EXPECT_EQ(FMGen::algorithmIndex(2.7), 1);
    EXPECT_EQ(FMGen::algorithmIndex(8.9), 7);
    EXPECT_EQ(FMGen::algorithmIndex(-4.0), 0);
    FMParams p = quiet(1);
    for (FMOperator& o : p.ops) o.level = 0.7;
    p.ops[1].ratio = 3.0;
    p.ops[3].ratio = 0.5;
    auto mixOf = [&](double algorithm) {
        FMParams q = p;
        q.algorithm = algorithm;
        return run(q, 1000).mix;
    };
    EXPECT_EQ(mixOf(0.5), mixOf(1.0));
    EXPECT_EQ(mixOf(2.7), mixOf(2.0));
    EXPECT_NE(mixOf(2.7), mixOf(3.0));
    EXPECT_EQ(mixOf(8.9), mixOf(8.0));
}

TEST(FMGen, ModulationAmountScalesEveryDepth) {
    // Algorithm 1, carrier 1 with modulator 2 at ratio 1.
    FMParams p = quiet(1);
    p.ops[0].level = 1.0;
    p.ops[1].level = 0.5;
    FMParams none = p;
    none.ops[1].level = 0.0;
    ModValues off;
    off.fmAmount = -1.3;
    EXPECT_EQ(run(p, 2000, off).mix, run(none, 2000).mix) << "fmAmount −1 or lower removes all modulation";
    EXPECT_GT(amplitudeAt(run(p, 5280).mix, 2 * kF, kSr), 0.05) << "with its modulator the carrier has harmonics";

    ModValues twice;
    twice.fmAmount = 1.0;
    FMParams deeper = p;
    deeper.ops[1].level = std::sqrt(0.5); // level² × 1.6: the same depth as 0.5 at double amount
    std::vector<double> a = run(p, 2000, twice).mix, b = run(deeper, 2000).mix;
    for (size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(a[i], b[i], 1e-5) << i;
}

TEST(FMGen, FeedbackOnOperatorFourAndFourCarriers) {
    FMParams p = quiet(8);
    for (FMOperator& o : p.ops) o.level = 1.0;
    FMRun all = run(p, 5280);
    EXPECT_NEAR(amplitudeAt(all.mix, kF, kSr), 2.0, 1e-3) << "four carriers in phase, scaled by 1/2";

    FMParams lone = quiet(8);
    lone.ops[3].level = 1.0;
    EXPECT_LT(amplitudeAt(run(lone, 5280).mix, 2 * kF, kSr), 1e-3) << "feedback 0: a plain sine";
    lone.feedback = 1.0;
    EXPECT_GT(amplitudeAt(run(lone, 5280).mix, 2 * kF, kSr), 0.01) << "feedback gives operator 4 harmonics";
    ModValues off;
    off.fmAmount = -1.0;
    EXPECT_EQ(run(lone, 2000, off).mix, run(lone, 2000).mix) << "fmAmount leaves the feedback alone";
}

TEST(FMGen, OperatorEnvelopesShapeAndRelease) {
    FMParams p = quiet(8);
    p.ops[0] = FMOperator{1.0, 0.0, 1.0, 0.001, 0.05, 0.0, 0.1, 0.0}; // decays to silence
    FMGen g;
    g.start(1.0, p, kSr, true);
    float l[32], r[32];
    for (int b = 0; b < 300; ++b) g.render(32, kF, {}, p, kSr, l, r);
    for (float x : l) EXPECT_EQ(x, 0.0f) << "sustain 0: silent after the decay";

    p.ops[0].sustain = 1.0;
    g.start(1.0, p, kSr, false);
    for (int b = 0; b < 30; ++b) g.render(32, kF, {}, p, kSr, l, r);
    EXPECT_EQ(g.env[0].stage, ADSR::Stage::sustain);
    g.release();
    EXPECT_EQ(g.env[0].stage, ADSR::Stage::release);
    EXPECT_EQ(g.env[1].stage, ADSR::Stage::release) << "silent operators run their envelopes too";
}
