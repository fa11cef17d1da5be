// The key monitor's rules, with key events as the platform delivers them: to the window, with
// the key's native scan code (X11 and Wayland codes are evdev codes + 8).
#include "AppRig.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QTest>
#include <QVBoxLayout>
#include <QWindow>

#include <gtest/gtest.h>

namespace velmo {
namespace {

// Scan codes of the keys used here.
constexpr int A = 38, W = 25, Q = 24, Z = 52, X = 53, C = 54, V = 55, Space = 65;

// A view that records the keys that reach it, with a text field beside it.
struct View : QWidget {
    int pressed = 0;
    QLineEdit* field = new QLineEdit(this);
    View() {
        setFocusPolicy(Qt::StrongFocus);
        (new QVBoxLayout(this))->addWidget(field);
    }
    void keyPressEvent(QKeyEvent*) override { ++pressed; }
};

struct KeyMonitorTest : ::testing::Test, AppRig {
    View view;

    void SetUp() override {
        view.show();
        view.setFocus();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    }

    void key(QEvent::Type type, int scan, Qt::KeyboardModifiers modifiers = {}, bool repeat = false,
             QString text = {}) {
        QKeyEvent event(type, text.isEmpty() ? Qt::Key_unknown : Qt::Key_A, modifiers, scan, 0, 0, text, repeat);
        QCoreApplication::sendEvent(view.windowHandle(), &event);
    }
    void press(int scan, Qt::KeyboardModifiers modifiers = {}, bool repeat = false) {
        key(QEvent::KeyPress, scan, modifiers, repeat);
    }
    void release(int scan) { key(QEvent::KeyRelease, scan); }

    std::set<int> held(const std::string& track) {
        auto it = studio.live().heldPitches.find(track);
        return it == studio.live().heldPitches.end() ? std::set<int>{} : it->second;
    }
};

TEST_F(KeyMonitorTest, PianoKeysPlayTheSelectedTrackAndOtherKeysPassOn) {
    press(A);
    press(W);
    press(A, {}, true);  // a repeat changes nothing
    EXPECT_EQ(held("t1"), (std::set<int>{60, 61}));
    EXPECT_EQ(view.pressed, 0) << "piano keys are consumed";
    release(A);
    EXPECT_EQ(held("t1"), std::set<int>{61});

    press(A, Qt::ControlModifier);
    press(A, Qt::AltModifier);
    press(Q);
    EXPECT_EQ(view.pressed, 3) << "Ctrl and Alt go to the menus, unmapped keys to the views";
    EXPECT_EQ(held("t1"), std::set<int>{61});
    press(A, Qt::ShiftModifier);
    EXPECT_EQ(held("t1"), (std::set<int>{60, 61})) << "Shift is no shortcut";

    press(Space);
    EXPECT_TRUE(studio.live().isPlaying);
    EXPECT_EQ(view.pressed, 3);

    studio.selectTrack(std::nullopt);
    press(V);  // with no track selected the letters pass on, the piano's controls do not
    press(C);
    press(W);
    EXPECT_EQ(view.pressed, 4);
}

TEST_F(KeyMonitorTest, TextFieldsSwallowNothing) {
    view.field->setFocus();
    key(QEvent::KeyPress, A, {}, false, "a");
    key(QEvent::KeyPress, Space, {}, false, " ");
    EXPECT_EQ(view.field->text(), "a ");
    EXPECT_TRUE(held("t1").empty());
    EXPECT_FALSE(studio.live().isPlaying);
}

TEST_F(KeyMonitorTest, OctaveAndVelocityStopAtTheirLimits) {
    for (int i = 0; i < 5; ++i) press(Z);
    EXPECT_EQ(model.typing().octaveShift(), -3);
    press(X, {}, true);
    EXPECT_EQ(model.typing().octaveShift(), -3) << "octave keys ignore repeats";
    press(A);
    EXPECT_EQ(held("t1"), std::set<int>{24});
    release(A);
    for (int i = 0; i < 9; ++i) press(X);
    EXPECT_EQ(model.typing().octaveShift(), 3);

    for (int i = 0; i < 12; ++i) press(C, {}, i > 0);  // velocity keys repeat
    EXPECT_DOUBLE_EQ(model.typing().velocity(), 0.1);
    press(V);
    EXPECT_DOUBLE_EQ(model.typing().velocity(), 0.2);
    for (int i = 0; i < 12; ++i) press(V, {}, true);
    EXPECT_DOUBLE_EQ(model.typing().velocity(), 1.0);
    EXPECT_EQ(view.pressed, 0);
}

TEST_F(KeyMonitorTest, ANoteEndsWhereItBeganAndFocusLossEndsThemAll) {
    press(A);
    studio.selectTrack("t3");
    press(Z);  // the octave changes under the held key too
    press(W);
    release(A);
    EXPECT_TRUE(held("t1").empty()) << "the key ends its own note on the track it began on";
    EXPECT_EQ(held("t3"), std::set<int>{49});

    release(Q);
    release(A);  // mapped but not held: consumed; unmapped keys are not watched on release
    press(V);
    QEvent deactivate(QEvent::ApplicationDeactivate);
    QCoreApplication::sendEvent(qApp, &deactivate);
    EXPECT_TRUE(held("t3").empty());
    press(W);
    EXPECT_EQ(held("t3"), std::set<int>{49}) << "the key may sound again after focus returns";
}

} // namespace
} // namespace velmo
