// A person drags a note while an agent edits the same song over the real HTTP server on
// loopback: the agent's edits land during the drag, the drag finishes, and undo takes back the
// drag and each of the agent's edits as steps of their own.
#include "AppRig.h"
#include "Loopback.h"
#include "pianoroll/PianoRollCanvas.h"
#include "pianoroll/PianoRollView.h"

#include <QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace velmo {
namespace {

TEST(CoEditing, AnAgentEditsDuringADragAndUndoKeepsTheStepsApart) {
    AppRig rig;
    Studio& studio = rig.studio;
    ASSERT_TRUE(rig.serveUntil([&] { return rig.model.server().boundPort() != 0; }));
    PianoRollView view(rig.model);
    view.resize(900, 500);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    PianoRollCanvas& canvas = view.canvas();
    const double cutoffBefore = studio.project().tracks[0].patch.filter.cutoff;

    // Pitch 60 at beat 0 goes to pitch 62 at beat 1.5 in two halves, the agent working between them.
    const QPoint from(20, (108 - 60) * 13 + 6);
    QTest::mousePress(&canvas, Qt::LeftButton, {}, from);
    QTest::mouseMove(&canvas, from + QPoint(50, -13));

    std::atomic<bool> done = false;
    std::string added, designed;
    std::thread agent([&, port = rig.model.server().boundPort()] {
        added = callTool(port, "add_notes", R"({"clip":"c4","notes":[{"pitch":"G2","start":0,"duration":2}]})");
        designed = callTool(port, "set_synth", R"({"track":"Lead","params":{"filter.cutoff":900}})");
        done = true;
    });
    ASSERT_TRUE(rig.serveUntil([&] { return done.load(); }));
    agent.join();
    EXPECT_NE(added.find("200 OK"), std::string::npos) << added;
    EXPECT_EQ(added.find("isError\":true"), std::string::npos) << added;
    EXPECT_EQ(designed.find("isError\":true"), std::string::npos) << designed;
    EXPECT_EQ(studio.clip("c4")->notes.size(), 1u) << "the agent's edit lands during the drag";

    QTest::mouseMove(&canvas, from + QPoint(100, -26));
    QTest::mouseRelease(&canvas, Qt::LeftButton, {}, from + QPoint(100, -26));
    EXPECT_EQ(studio.clip("c2")->notes[1], (Note{62, 1.5, 1, 0.8}));
    EXPECT_EQ(studio.project().tracks[0].patch.filter.cutoff, 900);

    studio.undo();
    EXPECT_EQ(studio.clip("c2")->notes[0], (Note{60, 0, 1, 0.8})) << "the whole drag goes in one step";
    EXPECT_EQ(studio.project().tracks[0].patch.filter.cutoff, 900);
    EXPECT_EQ(studio.clip("c4")->notes.size(), 1u);
    studio.undo();
    EXPECT_EQ(studio.project().tracks[0].patch.filter.cutoff, cutoffBefore);
    EXPECT_EQ(studio.clip("c4")->notes.size(), 1u);
    studio.undo();
    EXPECT_TRUE(studio.clip("c4")->notes.empty());
    EXPECT_FALSE(studio.canUndo());
}

} // namespace
} // namespace velmo
