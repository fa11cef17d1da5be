#include "model/Project.h"
#include "model/ProjectJSON.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

Clip clip(std::string id, double start, double length, std::vector<Note> notes = {}) {
    return Clip{std::move(id), "Clip", start, length, NoteList(std::move(notes))};
}

TEST(Project, NewProjectDefaultsAndOneIdCounterAcrossKinds) {
    Project p("Song", 98.5);
    EXPECT_EQ(std::tuple(p.name, p.tempo, p.beatsPerBar, p.beatUnit, p.loopEnabled, p.loopStart, p.loopEnd),
              std::tuple("Song", 98.5, 4, 4, true, 0.0, 16.0));
    EXPECT_TRUE(p.masterVolumeDb == 0 && p.masterEffects.empty() && p.tracks.empty());
    EXPECT_EQ(p.makeId("t"), "t1");
    EXPECT_EQ(p.makeId("c"), "c2");
    EXPECT_EQ(p.makeId("fx"), "fx3");
    EXPECT_EQ(p.nextId, 4);

    Track t("t1", "Bass", 3, SynthPatch());
    EXPECT_EQ(std::tuple(t.volumeDb, t.pan, t.mute, t.solo, t.midiOut.has_value()),
              std::tuple(-6.0, 0.0, false, false, false));
}

TEST(Project, SongEndCountsClipsOnly) {
    Project p("Song", 120);
    EXPECT_EQ(p.songEnd(), 0);
    p.tracks.push_back(Track("t1", "A", 0, SynthPatch()));
    EXPECT_EQ(p.songEnd(), 0) << "a track without clips";
    // A note running far past its clip does not extend the song.
    p.tracks.mut(0).clips.push_back(clip("c2", 8, 4, {{60, 0, 100, 1}}));
    p.loopEnd = 64;
    EXPECT_EQ(p.songEnd(), 12);
}

TEST(Project, LookupsWalkTracksInOrderAndCompareCanonically) {
    Project p("Song", 120);
    p.tracks.push_back(Track("t1", "A", 0, SynthPatch()));
    p.tracks.push_back(Track("caf\u00e9", "B", 1, SynthPatch()));  // precomposed é
    p.tracks.mut(1).clips.push_back(clip("c3", 0, 4));
    p.tracks.mut(1).clips.push_back(clip("c4", 4, 4));

    EXPECT_EQ(p.trackIndex("t1"), 0u);
    EXPECT_EQ(p.trackIndex("cafe\u0301"), 1u) << "e + combining acute names the same track";
    EXPECT_FALSE(p.trackIndex("T1").has_value()) << "ids are not case-insensitive";
    EXPECT_EQ(p.clipLocation("c4"), (ClipLocation{1, 1}));
    EXPECT_FALSE(p.clipLocation("c9").has_value());
}

TEST(Project, EqualityCoversEveryFieldInDepth) {
    Project a("Song", 120);
    a.tracks.push_back(Track("t1", "A", 0, SynthPatch()));
    a.tracks.mut(0).clips.push_back(clip("c2", 0, 4, {{60, 0, 1, 0.8}, {64, 1, 1, 0.8}}));
    Project b = a;
    EXPECT_EQ(a, b);

    b.nextId += 1;
    EXPECT_NE(a, b) << "an edit that only allocated an id is a change";

    b = a;
    b.tracks.mut(0).patch.fm.ops[2].release = 0.5;  // an engine that is not selected
    EXPECT_NE(a, b);

    b = a;
    b.tracks.mut(0).clips.mut(0).notes.mut(1).velocity = 0.81;
    EXPECT_NE(a, b);
    EXPECT_EQ(a.tracks[0].clips[0].notes[1].velocity, 0.8) << "the copy's write must not reach the original";

    // Equal content in separate storage is still equal.
    Project c("Song", 120);
    c.tracks.push_back(Track("t1", "A", 0, SynthPatch()));
    c.tracks.mut(0).clips.push_back(clip("c2", 0, 4, {{60, 0, 1, 0.8}, {64, 1, 1, 0.8}}));
    EXPECT_EQ(a, c);
}

TEST(CowVector, WritesDetachOnlyThePathTheyTouch) {
    CowVector<Clip> clips{clip("c1", 0, 4, {{60, 0, 1, 1}}), clip("c2", 4, 4)};
    CowVector<Clip> copy = clips;
    const Clip* untouched = &clips[1];

    copy.mut(0).notes.mut(0).pitch = 61;
    EXPECT_EQ(clips[0].notes[0].pitch, 60);
    EXPECT_EQ(copy[0].notes[0].pitch, 61);
    EXPECT_EQ(&copy[1], untouched) << "an element that was not written stays shared";

    copy.insert(1, clip("c3", 2, 2));
    copy.erase(0);
    ASSERT_EQ(copy.size(), 2u);
    EXPECT_EQ(copy[0].id, "c3");
    EXPECT_EQ(clips.size(), 2u);

    copy.push_back(clip("c0", 1, 1));
    copy.stableSort([](const Clip& a, const Clip& b) { return a.start < b.start; });
    std::vector<std::string> order;
    for (const auto& c : copy) order.push_back(c.id);
    EXPECT_EQ(order, (std::vector<std::string>{"c0", "c3", "c2"}));
    EXPECT_EQ(copy.eraseIf([](const Clip& c) { return c.start > 1.5; }), 2u);
    EXPECT_EQ(copy.size(), 1u);
}

} // namespace
} // namespace velmo
