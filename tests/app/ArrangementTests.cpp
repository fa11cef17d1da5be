// The arrangement's gestures driven with QTest's mouse at the default zoom (22 px a beat): clips
// move by whole beats and whole rows (60 px) within the tracks there are, resize by whole beats
// to at least one, a double-click makes a four-bar clip on the bar; the ruler seeks to sixteenths
// on a click and sets the loop between bar lines on a drag. Each gesture is one undo step or none.
#include "AppRig.h"
#include "arrangement/AddTrackMenu.h"
#include "arrangement/ArrangementLanes.h"
#include "arrangement/ArrangementView.h"
#include "arrangement/MIDIRouteMenu.h"
#include "arrangement/Ruler.h"
#include "arrangement/TrackColumn.h"
#include "arrangement/TrackHeader.h"
#include "controls/BarFader.h"
#include "controls/Knob.h"

#include <QLineEdit>
#include <QMenu>
#include <QTest>

#include <gtest/gtest.h>

namespace velmo {
namespace {

struct ArrangementTest : ::testing::Test, AppRig {
    ArrangementView view{model};

    void SetUp() override {
        view.setZoom(22);
        view.resize(1000, 400);
        view.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    }

    // Press at `from`, travel through `steps`, release at the last; returns the undo steps made.
    int gesture(QWidget* on, QPoint from, std::vector<QPoint> steps) {
        const int before = undoDepth();
        QTest::mousePress(on, Qt::LeftButton, {}, from);
        QPoint at = from;
        for (QPoint step : steps) QTest::mouseMove(on, at = from + step);
        QTest::mouseRelease(on, Qt::LeftButton, {}, at);
        return undoDepth() - before;
    }

    void undoAll() {
        while (studio.canUndo()) studio.undo();
    }

    // Where a clip is: its track's index, start and length.
    std::tuple<std::size_t, double, double> placeOf(const char* id) {
        const auto at = studio.project().clipLocation(id);
        const Clip& c = studio.project().tracks[at->track].clips[at->clip];
        return {at->track, c.start, c.length};
    }
};

TEST_F(ArrangementTest, ClipGesturesPlaceClipsByTheirFormulas) {
    // c2 spans x 0 to 85 (4 beats less 3 px) and y 6 to 54 on the first track; c4 the same on
    // the second, 60 px lower. Its resize handle is the right 8 px.
    struct Case {
        const char* what;
        const char* clip;
        QPoint from;
        std::vector<QPoint> steps;
        std::tuple<std::size_t, double, double> place;
        int undoSteps;
    } cases[] = {
        // 50 px is 2.27 beats, so 2; 70 px down is 1.17 rows, so one track down.
        {"move", "c2", {30, 30}, {{10, 5}, {50, 70}}, {1, 2, 4}, 1},
        {"below the last track lands on the last", "c2", {30, 30}, {{22, 400}}, {1, 1, 4}, 1},
        {"above the first track lands on the first", "c4", {30, 90}, {{44, -400}}, {0, 2, 4}, 1},
        {"left past 0 stops at 0", "c4", {30, 90}, {{-200, -60}}, {0, 0, 4}, 1},
        {"2 px is a click and moves nothing", "c2", {30, 30}, {{2, 0}}, {0, 0, 4}, 0},
        // From 88 px: +30 px is 5.36 beats, so 5; the drag's steps join one undo step.
        {"resize", "c2", {82, 30}, {{10, 0}, {20, 3}, {30, 0}}, {0, 0, 5}, 1},
        {"a resize below one beat stops at 1", "c2", {82, 30}, {{-200, 0}}, {0, 0, 1}, 1},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(gesture(&view.lanes(), c.from, c.steps), c.undoSteps) << c.what;
        EXPECT_EQ(placeOf(c.clip), c.place) << c.what;
        EXPECT_EQ(studio.selectedClipID(), c.clip) << c.what << ": a press selects the clip";
        undoAll();
    }
}

TEST_F(ArrangementTest, DoubleClickOnAnEmptyLaneMakesAFourBarClipOnTheBar) {
    model.setEditorTab(EditorTab::agent);
    const int before = undoDepth();
    // 200 px is beat 9.1, in the third bar, which starts at beat 8.
    QTest::mouseDClick(&view.lanes(), Qt::LeftButton, {}, QPoint(200, 90));
    const Track& bass = studio.project().tracks[1];
    ASSERT_EQ(bass.clips.size(), 2u);
    EXPECT_EQ(bass.clips[1].start, 8);
    EXPECT_EQ(bass.clips[1].length, 16);
    EXPECT_EQ(studio.selectedClipID(), bass.clips[1].id);
    EXPECT_EQ(undoDepth() - before, 1);
    EXPECT_EQ(model.editorTab(), EditorTab::notes);
    QTest::mouseDClick(&view.lanes(), Qt::LeftButton, {}, QPoint(30, 30));
    EXPECT_EQ(studio.project().tracks[0].clips.size(), 1u) << "a double-click on a clip makes none";
}

TEST_F(ArrangementTest, RulerSeeksOnAClickAndSetsTheLoopOnADrag) {
    studio.setLoop(false, 0, 16);
    struct Case {
        const char* what;
        int from;
        std::vector<QPoint> steps;
        double beat;
        bool loopOn;
        double loopStart, loopEnd;
        int undoSteps;
    } cases[] = {
        // 47 px is 8.55 sixteenths, so beat 2.25.
        {"a click seeks to the sixteenth", 47, {}, 2.25, false, 0, 16, 0},
        {"4 px still counts as a click", 47, {{4, 0}}, 2.25, false, 0, 16, 0},
        // 100 px is 1.14 bars and 300 px 3.41 bars: the loop runs from bar line 1 to 3.
        {"a drag sets the loop, one undo step", 100, {{20, 0}, {120, 3}, {200, 0}}, 0, true, 4, 12, 1},
        {"leftwards and past 0", 300, {{-400, 0}}, 0, true, 0, 12, 1},
        {"back to where it began writes nothing", 100, {{10, 0}}, 0, false, 0, 16, 0},
    };
    for (const Case& c : cases) {
        studio.seek(0);
        EXPECT_EQ(gesture(&view.ruler(), QPoint(c.from, 14), c.steps), c.undoSteps) << c.what;
        EXPECT_EQ(studio.live().beat, c.beat) << c.what;
        const Project& p = studio.project();
        EXPECT_EQ(std::tuple(p.loopEnabled, p.loopStart, p.loopEnd), std::tuple(c.loopOn, c.loopStart, c.loopEnd)) << c.what;
        if (c.undoSteps) studio.undo();
    }
}

TEST_F(ArrangementTest, TrackHeaderDragsAreOneUndoStepEach) {
    TrackHeader& header = view.tracks().header(0);
    // The fader is 150 px over -60 to +6 dB: 75 px is its middle, -27 dB.
    EXPECT_EQ(gesture(&header.volume(), {30, 8}, {{10, 0}, {45, 0}}), 1);
    EXPECT_EQ(studio.project().tracks[0].volumeDb, -27);
    // 45 px up turns the pan knob a quarter of its travel, from the centre to 0.5.
    EXPECT_EQ(gesture(&header.pan(), {10, 10}, {{0, -20}, {0, -45}}), 1);
    EXPECT_EQ(studio.project().tracks[0].pan, 0.5);
    QTest::mouseClick(&view.tracks().header(1), Qt::LeftButton, {}, QPoint(100, 30));
    EXPECT_EQ(studio.selectedTrackID(), "t3") << "a click on the row selects its track";
}

TEST_F(ArrangementTest, RenameCommitsOnReturnAndEscapeOrEmptyLeaveTheName) {
    struct Case {
        const char* typed;
        Qt::Key key;
        const char* name;
    } cases[] = {{"Keys", Qt::Key_Return, "Keys"}, {"Other", Qt::Key_Escape, "Keys"}, {"", Qt::Key_Return, "Keys"}};
    for (const Case& c : cases) {
        TrackHeader& header = view.tracks().header(0);
        QTest::mouseDClick(&header, Qt::LeftButton, {}, QPoint(50, 16));
        ASSERT_TRUE(header.nameField().isVisible()) << c.typed;
        header.nameField().clear();
        QTest::keyClicks(&header.nameField(), c.typed);
        QTest::keyClick(&header.nameField(), c.key);
        QCoreApplication::processEvents();
        EXPECT_EQ(studio.project().tracks[0].name, c.name) << c.typed;
    }
}

TEST(ArrangementMenus, MIDIRouteAndAddTrack) {
    AppRig rig;
    Studio& studio = rig.studio;
    studio.setMIDIOut(0, MIDIRoute{"Synth Box", 3, true});
    QMenu route;
    fillMIDIRouteMenu(route, studio, "t1");
    QStringList items;
    for (QAction* a : route.actions())
        if (!a->isSeparator() || !a->text().isEmpty())
            items << a->text() + (a->isChecked() ? " [x]" : "") + (a->isEnabled() ? "" : " (off)");
    EXPECT_EQ(items, QStringList({"Send notes to", "Internal synth only", "Synth Box (not connected) [x] (off)",
                                  "No MIDI devices found (off)", "Also play internal synth [x]"}));
    EXPECT_EQ(midiIndicatorText(*studio.project().tracks[0].midiOut, studio.midiDestinations()),
              "MIDI out: Synth Box is not connected, channel 3");
    route.actions().back()->trigger();
    EXPECT_FALSE(studio.project().tracks[0].midiOut->playInternal);
    route.actions()[1]->trigger();
    EXPECT_FALSE(studio.project().tracks[0].midiOut);

    QMenu add;
    fillAddTrackMenu(add, studio);
    QStringList categories;
    for (QAction* a : add.actions())
        if (a->menu()) categories << a->text();
    EXPECT_EQ(categories, QStringList({"Bass", "Drums", "FX", "Keys", "Lead", "Mallet", "Pad", "Pluck"}));
    add.actions()[0]->menu()->actions()[1]->trigger();  // the second bass preset
    ASSERT_EQ(studio.project().tracks.size(), 3u);
    EXPECT_EQ(studio.project().tracks[2].name, "Acid Bass");
    add.actions().back()->trigger();  // the last engine
    EXPECT_EQ(studio.project().tracks[3].patch.engine, EngineKind::drums);
}

} // namespace
} // namespace velmo
