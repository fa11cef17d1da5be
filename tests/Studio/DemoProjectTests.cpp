#include "Studio/Studio.h"
#include "catalog/EffectCatalog.h"
#include "catalog/Presets.h"
#include "engine/OfflineRenderer.h"

#include <gtest/gtest.h>

#include <cmath>

namespace velmo {
namespace {

std::vector<int> pitchesAt(const Clip& clip, double beat) {
    std::vector<int> out;
    for (const auto& n : clip.notes)
        if (n.start == beat) out.push_back(n.pitch);
    return out;
}

TEST(DemoProject, MatchesItsTables) {
    const Project demo = Studio::demoProject();
    EXPECT_EQ(demo.name, "Demo");
    EXPECT_EQ(demo.tempo, 112);
    EXPECT_TRUE(demo.loopEnabled);
    EXPECT_EQ(demo.loopEnd, 16);
    EXPECT_EQ(demo.nextId, 15);

    ASSERT_EQ(demo.tracks.size(), 4u);
    const std::vector<std::tuple<std::string, std::string, std::string, int, double, double, std::string>> rows{
        {"t1", "Drums", "808 Kit", 0, -8, 0, "c2"},
        {"t3", "Bass", "Acid Bass", 1, -14, 0, "c4"},
        {"t6", "Pad", "Vowel Pad", 4, -11, 0, "c7"},
        {"t10", "Bells", "Marimba", 6, -9, 0.25, "c11"},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& [id, name, preset, color, volume, pan, clipId] = rows[i];
        const Track& t = demo.tracks[i];
        EXPECT_EQ(t.id, id);
        EXPECT_EQ(t.name, name);
        EXPECT_EQ(t.patch, Presets::named(preset)->patch) << name;
        EXPECT_EQ(t.colorIndex, color);
        EXPECT_EQ(t.volumeDb, volume);
        EXPECT_EQ(t.pan, pan);
        ASSERT_EQ(t.clips.size(), 1u);
        EXPECT_EQ(t.clips[0].id, clipId);
        EXPECT_EQ(t.clips[0].start, 0);
        EXPECT_EQ(t.clips[0].length, 16);
    }

    std::vector<std::string> effectIds;
    for (const auto& t : demo.tracks)
        for (const auto& slot : t.effects) effectIds.push_back(slot.id + " " + std::string(toString(slot.kind)));
    EXPECT_EQ(effectIds, (std::vector<std::string>{"fx5 drive", "fx8 chorus", "fx9 reverb", "fx12 delay", "fx13 reverb"}));
    const EffectSlot& master = demo.masterEffects[0];
    EXPECT_EQ(master.id, "fx14");
    EXPECT_EQ(EffectCatalog::value(master, "threshold"), -14);
    EXPECT_EQ(EffectCatalog::value(master, "ratio"), 2.5);
    EXPECT_EQ(EffectCatalog::value(demo.tracks[2].effects[1], "size"), 0.85);
    EXPECT_EQ(EffectCatalog::value(demo.tracks[3].effects[0], "time"), 0.75);
}

TEST(DemoProject, NotesOfEveryClip) {
    const Project demo = Studio::demoProject();
    const std::size_t counts[] = {52, 24, 0, 32};
    struct Chord { std::size_t track; double beat; std::vector<int> pitches; };
    for (const Chord& c : std::vector<Chord>{
             {0, 13.0, {39, 42}}, {0, 15.5, {46}}, {0, 3.0, {39, 42}},
             {1, 9.5, {48}},                      // root 36 + 12 in the third bar
             {1, 14.75, {38}}, {2, 0, {57, 60, 64, 67}},  // Am7 at octave 3
             {2, 8, {48, 52, 55}},                // C, root position
             {3, 3.0, {79}},                      // step 6 walks to index 3
             {3, 12.5, {71}}})
        EXPECT_EQ(pitchesAt(demo.tracks[c.track].clips[0], c.beat), c.pitches) << "track " << c.track << " beat " << c.beat;
    EXPECT_EQ(demo.tracks[2].clips[0].notes[0].duration, 4.0);

    for (std::size_t t = 0; t < demo.tracks.size(); ++t) {
        const Clip& clip = demo.tracks[t].clips[0];
        if (counts[t]) {
            EXPECT_EQ(clip.notes.size(), counts[t]) << clip.name;
        }
        for (std::size_t i = 1; i < clip.notes.size(); ++i) {
            const Note& a = clip.notes[i - 1];
            const Note& b = clip.notes[i];
            EXPECT_TRUE(a.start < b.start || (a.start == b.start && a.pitch <= b.pitch)) << clip.name << " note " << i;
        }
    }
}

// The song a person hears first: every track sounds, nothing clips, the mix is not buried.
TEST(DemoProject, RendersWithEveryTrackAudible) {
    const Project demo = Studio::demoProject();
    const MixAnalysis mix = OfflineRenderer::render(demo, 0, 16, 0.5, 44100);
    ASSERT_EQ(mix.tracks.size(), 4u);
    for (std::size_t i = 0; i < mix.tracks.size(); ++i) {
        EXPECT_EQ(mix.tracks[i].id, demo.tracks[i].id);
        EXPECT_GT(mix.tracks[i].peakDb, -40) << demo.tracks[i].name << " is audible";
        EXPECT_LT(mix.tracks[i].peakDb, 0.5) << demo.tracks[i].name << " leaves headroom";
    }
    EXPECT_GT(mix.rmsDb, -30);
    EXPECT_LE(mix.peakDb, 20 * std::log10(0.966) + 1e-6) << "the limiter's ceiling";
    EXPECT_NEAR(mix.seconds, 16 * 60.0 / 112 + 0.5, 0.01);
}

} // namespace
} // namespace velmo
