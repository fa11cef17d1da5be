// The drum kit: which piece each note plays, the kick's glide and fall, hit lengths and velocity,
// the open hat's choke, and a hit (not the envelope) ending its voice.
#include "support/SignalMeasure.h"

#include "synth/DrumGen.h"
#include "synth/Voice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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

// Samples from the start of `x` to each downward zero crossing.
std::vector<std::size_t> downwardCrossings(const std::vector<double>& x) {
    std::vector<std::size_t> at;
    for (std::size_t i = 1; i < x.size(); ++i)
        if (x[i - 1] >= 0 && x[i] < 0) at.push_back(i);
    return at;
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

// Measured, not retyped: the kick starts about 1 + 7 × punch times above its tune, settles on
// the tune, and is 60 dB down after kickDecay.
TEST(DrumGen, KickGlidesDownToItsTuneAndFadesOverItsDecay) {
    DrumParams p;
    p.kickClick = 0.0;
    p.drive = 0.0;
    DrumGen g;
    g.start(36, 1.0, p, kSr);
    const std::vector<double> out = hit(g, p, static_cast<int>((p.kickDecay + 0.1) * kSr / 32));
    const std::vector<std::size_t> crossings = downwardCrossings(out);
    // The cycle that ends at kickDecay, long after the glide.
    const auto decayed = std::lower_bound(crossings.begin(), crossings.end(), std::size_t(p.kickDecay * kSr));
    ASSERT_TRUE(crossings.size() > 2 && decayed != crossings.end() && decayed - crossings.begin() > 2);

    const double firstPeriod = double(crossings[1] - crossings[0]);
    const double latePeriod = double(*decayed - *(decayed - 1));
    EXPECT_NEAR(kSr / latePeriod, p.kickTune, 0.03 * p.kickTune);
    EXPECT_GT(latePeriod / firstPeriod, 0.7 * (1 + 7 * p.kickPunch)) << "starts high and glides down";

    const double early = peakOf(slice(out, 0, crossings[1]));
    const double late = peakOf(slice(out, *(decayed - 1), *decayed - *(decayed - 1)));
    EXPECT_NEAR(20 * std::log10(late / early), -60, 4);
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
    for (int note : {36, 38, 39, 42, 49, 51, 56, 45}) {
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
