// The piano roll's gesture driven with QTest's mouse: each gesture gives the notes its formulas
// give, at the default zoom (64 px a beat), row height (13 px) and grid (a sixteenth), and is one
// undo step. Rows: pitch 108 at the top, so pitch p spans y = (108 - p) · 13 up to 13 more.
#include "AppRig.h"
#include "pianoroll/PianoRollCanvas.h"
#include "pianoroll/PianoRollView.h"

#include <QTest>

#include <gtest/gtest.h>

namespace velmo {
namespace {

double rowY(int pitch) { return (108 - pitch) * 13 + 6; }

struct PianoRollTest : ::testing::Test, AppRig {
    PianoRollView view{model};
    PianoRollCanvas& canvas = view.canvas();

    void SetUp() override {
        view.resize(900, 500);
        view.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    }

    // Press at `from`, travel through `steps`, release at the last.
    void gesture(QPointF from, std::vector<QPointF> steps) {
        QTest::mousePress(&canvas, Qt::LeftButton, {}, from.toPoint());
        QPointF at = from;
        for (QPointF step : steps) {
            at = from + step;
            QTest::mouseMove(&canvas, at.toPoint());
        }
        QTest::mouseRelease(&canvas, Qt::LeftButton, {}, at.toPoint());
    }

    std::vector<Note> notes() {
        const auto& n = studio.clip("c2")->notes;
        return {n.begin(), n.end()};
    }
};

const std::vector<Note> original{{60, 0, 1, 0.8}, {64, 1, 1, 0.8}};

TEST_F(PianoRollTest, EachGestureMakesItsNotesInOneUndoStep) {
    struct Case {
        const char* what;
        QPointF from;
        std::vector<QPointF> steps;
        std::vector<Note> notes;
        int undoSteps;
    } cases[] = {
        // Press at beat 2.16 on pitch 72: the note starts on the sixteenth below, a sixteenth long,
        // and 70 px more make (0.25 + 70/64) / 0.25 = 5.4 sixteenths, so 1.25 beats.
        {"create and size", {138, rowY(72)}, {{30, 3}, {70, 4}}, {{60, 0, 1, 0.8}, {64, 1, 1, 0.8}, {72, 2, 1.25, 0.8}}, 1},
        // 100 px right is 6.25 sixteenths, so 1.5 beats; 30 px up is 2.3 rows, so two semitones.
        {"move", {20, rowY(60)}, {{10, 0}, {50, -20}, {100, -30}}, {{64, 1, 1, 0.8}, {62, 1.5, 1, 0.8}}, 1},
        // 3 px left of the end resizes: (1 + 40/64) / 0.25 = 6.5 sixteenths rounds to 7.
        {"resize", {125, rowY(64)}, {{40, 0}}, {{60, 0, 1, 0.8}, {64, 1, 1.75, 0.8}}, 1},
        {"resize to nearly nothing keeps one grid step", {125, rowY(64)}, {{-200, 0}}, {{60, 0, 1, 0.8}, {64, 1, 0.25, 0.8}}, 1},
        {"a move left stops at 0, one past the top stops at 108", {20, rowY(60)}, {{-300, -900}}, {{108, 0, 1, 0.8}, {64, 1, 1, 0.8}}, 1},
        {"a click deletes", {20, rowY(60)}, {}, {{64, 1, 1, 0.8}}, 1},
        {"a jitter of 2 px still deletes", {20, rowY(60)}, {{2, -2}}, {{64, 1, 1, 0.8}}, 1},
        {"3 px is a move, here by nothing", {20, rowY(60)}, {{3, 0}}, original, 0},
        {"a click on a note's end keeps it", {125, rowY(64)}, {}, original, 0},
        {"a press beyond the clip creates nothing", {276, rowY(72)}, {{40, 0}}, original, 0},
    };
    for (const Case& c : cases) {
        gesture(c.from, c.steps);
        EXPECT_EQ(notes(), c.notes) << c.what;
        EXPECT_EQ(undoDepth(), c.undoSteps) << c.what;
        while (studio.canUndo()) studio.undo();
        EXPECT_EQ(notes(), original) << c.what;
    }
}

TEST_F(PianoRollTest, TheNextNewNoteTakesTheLengthOfTheLastOneSized) {
    gesture({197, rowY(70)}, {{70, 0}});  // beat 3, sized to 1.25 beats
    QTest::mouseClick(&canvas, Qt::LeftButton, {}, QPoint(138, static_cast<int>(rowY(72))));
    EXPECT_EQ(notes().back(), (Note{70, 3, 1.25, 0.8}));
    EXPECT_EQ(notes()[2], (Note{72, 2, 1.25, 0.8}));
}

} // namespace
} // namespace velmo
