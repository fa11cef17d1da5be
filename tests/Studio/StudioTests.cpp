#include "Studio/Studio.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

using namespace std::chrono_literals;

// A Studio whose clock the test moves by hand, so coalescing needs no sleeping.
struct StudioFixture : ::testing::Test {
    std::chrono::steady_clock::time_point now{};
    Studio studio{starting(), [this] { return now; }};

    static Project starting() {
        Project p("Song", 120);
        for (int t = 0; t < 2; ++t) {
            Track track(p.makeId("t"), "Track", t, SynthPatch());
            track.clips.push_back(Clip{p.makeId("c"), "Clip", 0, 4, NoteList{{60, 0, 1, 0.5}}});
            p.tracks.push_back(track);
        }
        return p;  // t1 with c2, t3 with c4
    }

    void setTempo(double tempo, std::optional<std::string> key = std::nullopt) {
        studio.mutate(key, [&](Project& p) { p.tempo = tempo; });
    }

    // Number of undo steps, found by undoing everything and redoing it again.
    int undoDepth() {
        int n = 0;
        while (studio.canUndo()) { studio.undo(); ++n; }
        for (int i = 0; i < n; ++i) studio.redo();
        return n;
    }
};

TEST_F(StudioFixture, StartsWithFirstTrackAndClipSelected) {
    EXPECT_EQ(studio.selectedTrackID(), "t1");
    EXPECT_EQ(studio.selectedClipID(), "c2");
    EXPECT_FALSE(studio.canUndo());
    EXPECT_FALSE(studio.canRedo());

    Studio empty(Project("Empty", 120));
    EXPECT_FALSE(empty.selectedTrackID().has_value());
    EXPECT_FALSE(empty.selectedClipID().has_value());
}

TEST_F(StudioFixture, NoOpAndFailedEditsLeaveNoTrace) {
    setTempo(130);
    studio.undo();
    ASSERT_TRUE(studio.canRedo());

    // A body that changes nothing returns its value and leaves redo alone.
    int result = studio.mutate([](Project& p) { p.tempo = p.tempo; return 7; });
    EXPECT_EQ(result, 7);
    EXPECT_TRUE(studio.canRedo());
    EXPECT_FALSE(studio.canUndo());

    // A failing body changes nothing at all, even what it wrote before throwing.
    Project before = studio.project();
    EXPECT_THROW(studio.mutate([](Project& p) {
        p.tracks = {};
        throw StudioError("No track 'x'.");
    }), StudioError);
    EXPECT_EQ(studio.project(), before);
    EXPECT_TRUE(studio.canRedo());
    EXPECT_EQ(studio.selectedTrackID(), "t1");
}

TEST_F(StudioFixture, UndoRedoRestoreWholeProjects) {
    auto id = studio.mutate([](Project& p) { return p.makeId("t"); });
    EXPECT_EQ(id, "t5");
    setTempo(90);
    studio.undo();
    EXPECT_EQ(studio.project().tempo, 120);
    EXPECT_EQ(studio.project().nextId, 6);
    studio.undo();
    EXPECT_EQ(studio.project().nextId, 5) << "undo restores the id counter with the rest";
    EXPECT_FALSE(studio.canUndo());
    studio.redo();
    studio.redo();
    EXPECT_EQ(studio.project().tempo, 90);
    EXPECT_FALSE(studio.canRedo());

    studio.undo();
    setTempo(100);
    EXPECT_FALSE(studio.canRedo()) << "a new edit clears the redo stack";
}

TEST_F(StudioFixture, UndoStackKeepsTheNewest300) {
    for (int i = 1; i <= 301; ++i) setTempo(120 + i);
    EXPECT_EQ(undoDepth(), 300);
    while (studio.canUndo()) studio.undo();
    EXPECT_EQ(studio.project().tempo, 121) << "the project before the first edit is gone";
}

TEST_F(StudioFixture, CoalescingJoinsBurstsWithGapsUnderOneAndAHalfSeconds) {
    setTempo(121, "vol-t1");
    now += 1400ms;
    setTempo(122, "vol-t1");
    now += 1400ms;
    setTempo(123, "vol-t1");  // 2.8 s after the first edit, still one burst
    EXPECT_EQ(undoDepth(), 1);

    now += 1500ms;
    setTempo(124, "vol-t1");  // exactly 1.5 s: a new step
    EXPECT_EQ(undoDepth(), 2);

    now += 100ms;
    setTempo(125, "vol-t3");
    now += 100ms;
    setTempo(126, "vol-t1");  // A, B, A: three steps
    EXPECT_EQ(undoDepth(), 4);

    now += 100ms;
    setTempo(127, "vol-t1");  // a new burst: undoing ended the last
    now += 100ms;
    setTempo(128);  // no key while the burst is open: a step beneath it, and the burst goes on
    now += 100ms;
    setTempo(129, "vol-t1");
    EXPECT_EQ(undoDepth(), 6);

    setTempo(130, "vol-t1");
    now += 1500ms;
    setTempo(131);  // the burst has closed: an ordinary step that ends it
    now += 100ms;
    setTempo(132, "vol-t1");
    EXPECT_EQ(undoDepth(), 9);
}

// An agent's edits during a person's drag land at once, and undo still takes the drag back as
// one step and each edit as its own. Where both touched the same part, the agent's edit stays.
TEST_F(StudioFixture, EditsWithoutAKeyGoBeneathAGestureUnderWay) {
    auto drag = [&](int pitch) {
        now += 100ms;
        studio.editNotes("c2", "roll-c2", [&](NoteList& notes, double) { notes.mut(0).pitch = pitch; });
    };
    drag(62);
    now += 100ms;
    studio.editNotes("c4", std::nullopt, [](NoteList& notes, double) { notes.push_back({72, 1, 1, 1}); });
    setTempo(100);
    studio.updateTrack(0, std::nullopt, [](Track& t) { t.volumeDb = -12; });
    drag(64);
    EXPECT_EQ(studio.project().tracks[0].clips[0].notes[0].pitch, 64);

    studio.undo();
    EXPECT_EQ(studio.project().tracks[0].clips[0].notes[0].pitch, 60) << "the whole drag, in one step";
    EXPECT_EQ(studio.project().tracks[0].volumeDb, -12) << "the agent's edit on the dragged track stays";
    EXPECT_EQ(studio.project().tempo, 100);
    EXPECT_EQ(studio.project().tracks[1].clips[0].notes.size(), 2u);
    studio.undo();
    EXPECT_EQ(studio.project().tracks[0].volumeDb, -6);
    studio.undo();
    EXPECT_EQ(studio.project().tempo, 120);
    studio.undo();
    EXPECT_EQ(studio.project().tracks[1].clips[0].notes.size(), 1u);
    EXPECT_FALSE(studio.canUndo());
}

// A tool call of several edits (MCPTools::call holds a OneStep around its handler) during a drag
// goes beneath it whole: one step for the drag and one for the call, whatever their order.
TEST_F(StudioFixture, ACallOfSeveralEditsDuringAGestureIsOneStepBeneathIt) {
    auto drag = [&](int pitch) {
        now += 100ms;
        studio.editNotes("c2", "roll-c2", [&](NoteList& notes, double) { notes.mut(0).pitch = pitch; });
    };
    drag(62);
    {
        Studio::OneStep call(studio);
        setTempo(100);
        studio.editNotes("c4", std::nullopt, [](NoteList& notes, double) { notes.push_back({72, 1, 1, 1}); });
        studio.updateTrack(0, std::nullopt, [](Track& t) { t.volumeDb = -12; });
    }
    drag(64);

    studio.undo();
    EXPECT_EQ(studio.project().tracks[0].clips[0].notes[0].pitch, 60) << "the whole drag";
    EXPECT_EQ(studio.project().tempo, 100) << "and nothing of the call";
    studio.undo();
    EXPECT_EQ(studio.project().tempo, 120) << "the whole call";
    EXPECT_EQ(studio.project().tracks[0].volumeDb, -6);
    EXPECT_EQ(studio.project().tracks[1].clips[0].notes.size(), 1u);
    EXPECT_FALSE(studio.canUndo());
}

TEST_F(StudioFixture, CoalescedEditsClearRedoUndoSplitsBurstsAndANoOpStepDoesNot) {
    setTempo(121, "roll-c2");
    setTempo(122, "roll-c2");
    studio.undo();
    studio.redo();
    EXPECT_FALSE(studio.canRedo());
    setTempo(123, "roll-c2");  // after an undo/redo a new step starts
    EXPECT_EQ(undoDepth(), 2);

    studio.undo();
    ASSERT_TRUE(studio.canRedo());
    setTempo(124, "roll-c2");
    EXPECT_FALSE(studio.canRedo());
    studio.redo();  // nothing to redo: changes nothing, so the burst goes on
    now += 1000ms;
    setTempo(125, "roll-c2");
    EXPECT_EQ(undoDepth(), 2);
    EXPECT_EQ(studio.project().tempo, 125);
}

TEST_F(StudioFixture, SelectionIsRepairedAfterEdits) {
    studio.mutate([](Project& p) { p.tracks.erase(0); });
    EXPECT_EQ(studio.selectedTrackID(), "t3") << "the first remaining track";
    EXPECT_FALSE(studio.selectedClipID().has_value()) << "the selected clip went with its track";

    studio.undo();
    EXPECT_EQ(studio.selectedTrackID(), "t3") << "a valid selection is not touched";
    EXPECT_FALSE(studio.selectedClipID().has_value()) << "an empty selection is not filled";

    studio.mutate([](Project& p) { p.tracks = {}; });
    EXPECT_FALSE(studio.selectedTrackID().has_value());
}

TEST_F(StudioFixture, SelectingAndTellingTheListener) {
    int told = 0;
    studio.onChange = [&] { ++told; };
    studio.selectClip("c4");
    EXPECT_EQ(studio.selectedTrackID(), "t3") << "a clip brings its track";
    studio.selectTrack("t1");
    EXPECT_FALSE(studio.selectedClipID().has_value()) << "the clip is not on the new track";
    studio.selectClip("c2");
    studio.selectTrack("t1");
    EXPECT_EQ(studio.selectedClipID(), "c2");
    EXPECT_EQ(told, 4);

    setTempo(120);  // a no-op edit tells nothing
    setTempo(121);
    studio.undo();
    studio.log("transport", "play", true);
    EXPECT_EQ(told, 7);
}

TEST_F(StudioFixture, ActivityLogKeepsTheNewest500) {
    for (int i = 0; i < 501; ++i) studio.log("add_notes", "row " + std::to_string(i), i % 2 == 0);
    ASSERT_EQ(studio.activity().size(), 500u);
    EXPECT_EQ(studio.activity().front().detail, "row 1");
    EXPECT_EQ(studio.activity().back().detail, "row 500");
    EXPECT_TRUE(studio.activity().back().ok);
    EXPECT_NE(studio.activity()[0].id, studio.activity()[1].id);
    EXPECT_EQ(studio.activity()[0].id.size(), 36u);
}

} // namespace
} // namespace velmo
