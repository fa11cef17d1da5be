// The drum kit: which piece each note plays, the kick's closed form, hit lengths and velocity,
// the open hat's choke, and a hit (not the envelope) ending its voice.
#include "support/SignalMeasure.h"

#include "synth/DrumGen.h"
#include "synth/Voice.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

using namespace velmo;
using namespace velmo::test;
using P = DrumPiece;

namespace {

std::vector<double> hit(DrumGen& g, const DrumParams& p, int blocks) {
    return renderBlocks(blocks * 32, [&](float* l, float* r) { g.render(32, p, kSr, l, r); });
}

// Blocks rendered until render returns false, the last one included.
int blocksToEnd(DrumGen& g, const DrumParams& p, int limit = 100000) {
    float l[32], r[32];
    for (int b = 1; b <= limit; ++b) {
        if (!g.render(32, p, kSr, l, r)) return b;
    }
    return -1;
}

} // namespace

TEST(DrumGen, NotesPickPieces) {
    // By pitch class, negative notes included; General MIDI's 36 to 46 agree with it.
    const P byClass[12] = {P::kick,      P::rim,    P::snare,    P::clap,   P::snare,   P::tomLow,
                           P::closedHat, P::tomLow, P::pedalHat, P::tomMid, P::openHat, P::tomHigh};
    for (int note : {-24, -12, 0, 12, 36, 60, 72, 96, 120}) {
        for (int c = 0; c < (note == 36 ? 11 : 12); ++c)
            EXPECT_EQ(drumPieceForNote(note + c), byClass[c]) << "note " << note + c;
    }
    // The rest of General MIDI's kit; 54 and 58 have no name there and go by their class.
    const std::pair<int, P> generalMIDI[] = {
        {35, P::kick},  {47, P::tomMid},    {48, P::tomHigh}, {49, P::crash},   {50, P::tomHigh}, {51, P::ride},    {52, P::crash},
        {53, P::ride},  {54, P::closedHat}, {55, P::crash},   {56, P::cowbell}, {57, P::crash},   {58, P::openHat}, {59, P::ride}};
    for (auto [note, piece] : generalMIDI) EXPECT_EQ(drumPieceForNote(note), piece) << "note " << note;
}

// With no click and no drive the kick is a closed form: a sine swept down from
// kickTune × (1 + 7 × punch), decaying 60 dB in kickDecay, through tanh(s) / tanh(1), at
// 0.25 for velocity 0.
TEST(DrumGen, KickIsItsClosedForm) {
    DrumParams p;
    p.kickClick = 0.0;
    p.drive = 0.0;
    DrumGen g;
    g.start(36, 0.0, p, kSr);
    std::vector<double> out = hit(g, p, 100);
    double phase = 0.0;
    const double k = 6.907755 / p.kickDecay;
    for (size_t i = 0; i < out.size(); ++i) {
        const double T = static_cast<double>(i) / kSr;
        phase += p.kickTune * (1.0 + p.kickPunch * 7.0 * std::exp(T / -0.03)) / kSr;
        const double s = std::sin(2.0 * std::numbers::pi * phase) * std::exp(-k * T);
        ASSERT_NEAR(out[i], 0.25 * std::tanh(s) / std::tanh(1.0), 2e-6) << "frame " << i;
    }
}

TEST(DrumGen, HitsEndByTheirLengthAndVelocityScales) {
    DrumParams p;
    DrumGen g;
    g.start(36, 1.0, p, kSr);
    EXPECT_EQ(g.length, 28080 + 480) << "1.3 × 0.45 s plus 10 ms";
    EXPECT_EQ(blocksToEnd(g, p), 893) << "the first block that reaches the length ends the hit";
    EXPECT_TRUE(g.done);
    EXPECT_EQ(peakOf(hit(g, p, 2)), 0.0) << "a done hit is exact silence";

    p.kickDecay = 0.0;
    g.start(36, 1.0, p, kSr);
    EXPECT_EQ(g.length, 480) << "a tiny decay still lasts 10 ms";
    EXPECT_EQ(blocksToEnd(g, p), 15);

    DrumParams d;
    for (int note : {38, 39, 42, 49, 51, 56, 45}) {
        DrumGen loud, soft;
        loud.start(note, 1.0, d, kSr);
        soft.start(note, 0.0, d, kSr); // velocity 0 plays at 0.25
        soft.rng = loud.rng;
        soft.metal = loud.metal;
        std::vector<double> a = hit(loud, d, 20), b = hit(soft, d, 20);
        for (size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(b[i], 0.25 * a[i], 1e-6) << "note " << note;
        EXPECT_GT(peakOf(a), 0.05) << "note " << note << " sounds";
    }
}

// The track processor sets `choking` on a ringing open hat when a closed or pedal hat starts;
// from the next block the hit falls by 0.996 per sample and ends under 0.001, 1724 samples on.
TEST(DrumGen, ChokedOpenHatFallsAndEnds) {
    DrumParams p;
    DrumGen open;
    open.start(46, 1.0, p, kSr);
    hit(open, p, 4);
    DrumGen choked = open;
    choked.choking = true;
    std::vector<double> free = hit(open, p, 1), cut = hit(choked, p, 1);
    for (size_t i = 0; i < free.size(); ++i) {
        ASSERT_NEAR(cut[i], free[i] * std::pow(0.996, static_cast<double>(i + 1)), 1e-6) << "frame " << i;
    }
    EXPECT_EQ(blocksToEnd(choked, p), 54 - 1) << "1724 samples after the choke began";
    EXPECT_GT(open.length, 4 * 32 + 54 * 32) << "the open hat alone would ring on";
}

TEST(DrumGen, TheHitEndsTheVoiceNotTheReleaseOrTheEnvelope) {
    SynthPatch patch;
    patch.engine = EngineKind::drums;
    patch.filter.type = FilterType::off;
    const RenderContext ctx{kSr, 120.0};
    Voice v;
    v.start(36, 1.0, 1, 1, patch, kSr);
    int blocks = 0;
    std::vector<double> out = renderBlocks(2000 * 32, [&](float* l, float* r) {
        if (!v.active) return;
        v.render(32, patch, ctx, l, r);
        if (++blocks == 10) v.release(EngineKind::drums);
    }, false);
    EXPECT_EQ(blocks, 893) << "a released kick plays to the end of its hit";
    EXPECT_TRUE(v.released);
    EXPECT_GT(peakOf(out), 0.1);
    EXPECT_EQ(v.ampEnv.stage, ADSR::Stage::attack) << "a drum never ticks the amplitude envelope";

    v.start(46, 1.0, 2, 2, patch, kSr);
    float l[32] = {}, r[32] = {};
    v.render(32, patch, ctx, l, r);
    v.hardStop();
    EXPECT_FALSE(v.active);
    EXPECT_TRUE(v.drum.done) << "a hard stop ends the hit";
}
