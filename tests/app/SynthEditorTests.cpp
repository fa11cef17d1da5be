// The synth editor against the catalog the agents read: every parameter path of every engine has
// its control and no other engine's does; a gesture on a control sets the patch by its path, as
// one undo step, and the engine gets the change; engines and presets switch from the editor; every
// label reads whole, the drum names on the keys among them.
#include "AppRig.h"
#include "catalog/EffectCatalog.h"
#include "catalog/Presets.h"
#include "catalog/SynthCatalog.h"
#include "catalog/SynthPatchPaths.h"
#include "controls/Knob.h"
#include "controls/ValueMapping.h"
#include "synthview/Keyboard.h"
#include "synthview/MIDIBanner.h"
#include "synthview/SynthEditorView.h"
#include "synthview/SynthPanel.h"

#include <QMenu>
#include <QTest>
#include <QPushButton>

#include <gtest/gtest.h>

namespace velmo {
namespace {

struct SynthEditorTest : ::testing::Test, AppRig {
    SynthEditorView view{model};

    void SetUp() override {
        view.resize(1200, 700);
        view.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    }

    SynthPanel& panel() {
        QCoreApplication::processEvents();
        return *view.panel();
    }
    QWidget* control(const std::string& path) { return panel().findChild<QWidget*>(QString::fromStdString(path)); }
    nlohmann::json value(const std::string& path) { return *valueAt(studio.project().tracks[0].patch, path); }

    // Press at `at` in the control for `path`, drag by `by`, release there.
    void drag(const std::string& path, QPoint at, QPoint by) {
        QWidget* target = control(path);
        ASSERT_NE(target, nullptr) << path;
        QTest::mousePress(target, Qt::LeftButton, {}, at);
        QTest::mouseMove(target, at + by / 2);
        QTest::mouseMove(target, at + by);
        QTest::mouseRelease(target, Qt::LeftButton, {}, at + by);
    }
};

TEST_F(SynthEditorTest, EveryPathOfTheEngineHasItsControlAndNoOtherEngineShows) {
    for (EngineKind engine : allCases<EngineKind>()) {
        studio.setSynth(0, engine, std::nullopt, nlohmann::json::object());
        ASSERT_EQ(panel().engine(), engine);
        for (const ParamInfo& row : SynthCatalog::params()) {
            const bool shown = !row.engine || row.engine == engine;
            EXPECT_EQ(control(row.path) != nullptr, shown) << toString(engine) << ": " << row.path;
        }
    }
}

TEST_F(SynthEditorTest, AGestureSetsThePathInOneUndoStepAndTheEngineHearsIt) {
    const ValueMapping cutoff{20, 20000, true};
    struct Case {
        EngineKind engine;
        std::string path;
        QPoint at, by;
        nlohmann::json expected;
    } cases[] = {
        // 45 px down is a quarter of the travel, on a log scale from 8 kHz.
        {EngineKind::analog, "filter.cutoff", {29, 17}, {0, 45}, cutoff.value(cutoff.position(8000) - 0.25)},
        // From 0 in -12...12, 30 px up is a sixth of the range: 4 semitones, whole.
        {EngineKind::analog, "analog.osc1.semitone", {29, 17}, {0, -30}, 4},
        // A drawbar follows the pointer, and stays at its ends beyond them.
        {EngineKind::additive, "additive.harmonics.2", {8, 64}, {0, -200}, 1},
        {EngineKind::additive, "additive.harmonics.2", {8, 64}, {0, 25}, 0.25},
        {EngineKind::additive, "additive.harmonics.2", {8, 64}, {0, 400}, 0},
        // The bipolar amount fader is 110 px wide: at 77 px, 0.7 of the way from -1 to 1.
        {EngineKind::analog, "mod.3.amount", {11, 7}, {66, 0}, 0.4},
    };
    for (const Case& c : cases) {
        studio.setSynth(0, c.engine, std::nullopt, nlohmann::json::object());
        const int before = undoDepth();
        drag(c.path, c.at, c.by);
        if (c.expected.is_number_float()) EXPECT_NEAR(value(c.path).get<double>(), c.expected.get<double>(), 1e-9) << c.path;
        else EXPECT_EQ(value(c.path), c.expected) << c.path;
        EXPECT_EQ(undoDepth(), before + 1) << c.path;
        studio.core().render(0, nullptr, nullptr, 0);  // the audio thread takes the new load
        EXPECT_EQ(*valueAt(studio.core().track("t1")->patch(), c.path), value(c.path)) << c.path;
    }
}

TEST_F(SynthEditorTest, EngineAndPresetSwitchFromTheEditorAndKeepTheOtherEngines) {
    studio.setSynth(0, std::nullopt, std::nullopt, {{"fm.feedback", 0.7}});
    QWidget& engines = *control("engine");
    const double cell = (engines.width() - 4) / 7.0;
    QTest::mouseClick(&engines, Qt::LeftButton, {}, QPoint(static_cast<int>(2 + cell * 3.5), 13));  // additive
    EXPECT_EQ(studio.project().tracks[0].patch.engine, EngineKind::additive);
    EXPECT_EQ(panel().engine(), EngineKind::additive);
    EXPECT_NE(control("additive.harmonics.15"), nullptr);
    EXPECT_EQ(value("fm.feedback"), 0.7) << "another engine's value stays in the patch";

    QMenu* menu = panel().findChild<QPushButton*>("presets")->menu();
    for (QAction* action : menu->actions())
        if (action->text() == "FM Bell") action->trigger();
    EXPECT_EQ(studio.project().tracks[0].patch, Presets::named("FM Bell")->patch);
    EXPECT_EQ(panel().engine(), EngineKind::fm);
    EXPECT_EQ(undoDepth(), 3);
}

TEST_F(SynthEditorTest, EveryKnobLabelReadsWhole) {
    for (EngineKind engine : allCases<EngineKind>()) {
        studio.setSynth(0, engine, std::nullopt, nlohmann::json::object());
        for (const ParamInfo& row : SynthCatalog::params())
            if (auto* knob = dynamic_cast<Knob*>(control(row.path)))
                EXPECT_EQ(knob->shownLabel().toStdString(), row.label) << row.path;
    }
    for (EffectKind kind : allCases<EffectKind>())
        for (const EffectParamInfo& spec : EffectCatalog::specs(kind)) {
            const QString label = QString::fromUtf8(spec.label.data(), static_cast<int>(spec.label.size()));
            EXPECT_EQ(Knob(label, {spec.min, spec.max, spec.log}, "", false, std::nullopt, Qt::red).shownLabel(), label);
        }
    // A label no narrowing can save is cut short, and the tooltip names it.
    Knob overlong("Very Long Parameter Name", {0, 1, false}, "", false, std::nullopt, Qt::red);
    overlong.setHelp("What it does");
    EXPECT_TRUE(overlong.shownLabel().endsWith(QChar(0x2026))) << overlong.shownLabel().toStdString();
    EXPECT_EQ(overlong.toolTip(), "Very Long Parameter Name: What it does");
}

TEST_F(SynthEditorTest, DrumKeysCarryTheirNamesWholeBesideTheLetters) {
    studio.setSynth(0, EngineKind::drums, std::nullopt, nlohmann::json::object());
    auto& keys = static_cast<Keyboard&>(*control("keyboard"));
    for (const char* words : {"Z X octave, C V velocity", "MIDI input plays the selected track"})
        EXPECT_TRUE(keys.caption().contains(words)) << keys.caption().toStdString();
    EXPECT_EQ(keys.velocityText(), "vel 102");

    std::map<int, KeyFace> faces;
    std::vector<QRectF> blackKeys;
    for (const KeyFace& f : keys.faces()) {
        faces[f.pitch] = f;
        if (f.black) blackKeys.push_back(f.key);
    }
    // A plays the kick; the letters run on over the kit as the computer keys do.
    struct Case {
        int pitch;
        QString letter, name;
    } cases[] = {{36, "A", "Kick"},     {37, "W", "Rim"},  {44, "Y", "Pedal Hat"}, {46, "U", "Open Hat"},
                 {47, "J", "Tom Mid 2"}, {53, "'", "Ride Bell"}, {54, "", ""}, {59, "", "Ride 2"}, {60, "", ""}};
    for (const Case& c : cases) {
        EXPECT_EQ(faces[c.pitch].letter, c.letter) << c.pitch;
        EXPECT_EQ(faces[c.pitch].name, c.name) << c.pitch;
    }
    int named = 0;
    for (const auto& [pitch, f] : faces) {
        if (f.name.isEmpty()) continue;
        ++named;
        EXPECT_EQ(f.shownName, f.name) << pitch << " is cut short";
        EXPECT_TRUE(f.key.contains(f.nameRoom)) << pitch;
        if (!f.letter.isEmpty()) EXPECT_FALSE(f.nameRoom.intersects(f.letterRoom)) << pitch;
        if (!f.black)
            for (const QRectF& black : blackKeys) EXPECT_FALSE(black.intersects(f.nameRoom)) << pitch << " under a black key";
    }
    EXPECT_EQ(named, 23);

    studio.setSynth(0, EngineKind::analog, std::nullopt, nlohmann::json::object());
    for (const KeyFace& f : static_cast<Keyboard&>(*control("keyboard")).faces()) {
        EXPECT_TRUE(f.name.isEmpty()) << f.pitch;
        if (f.pitch == 60) EXPECT_EQ(f.letter, "A");
    }
}

TEST_F(SynthEditorTest, AMIDIRouteSaysWhereTheNotesGoAndTheButtonBringsThemBack) {
    struct Case {
        MIDIRoute route;
        bool connected;
        QString text;
    } cases[] = {
        {{"Minilogue", 3, true}, true, "Notes go to Minilogue on channel 3. The internal synth plays too."},
        {{"Minilogue", 3, false}, true, "Notes go to Minilogue on channel 3. The internal synth is silent."},
        {{"Minilogue", 3, true}, false, "Minilogue isn't connected, so the internal synth plays instead."},
    };
    for (const Case& c : cases) EXPECT_EQ(midiBannerText(c.route, c.connected), c.text);

    auto* banner = panel().findChild<MIDIBanner*>();
    EXPECT_FALSE(banner->isVisible());
    studio.setMIDIOut(0, MIDIRoute{"Minilogue", 3, false});
    EXPECT_TRUE(panel().findChild<MIDIBanner*>()->isVisible());
    QTest::mouseClick(panel().findChild<MIDIBanner*>()->findChild<QPushButton*>(), Qt::LeftButton);
    EXPECT_FALSE(studio.project().tracks[0].midiOut.has_value());
    EXPECT_FALSE(panel().findChild<MIDIBanner*>()->isVisible());
}

TEST(SynthKeyboard, HitTest) {
    const std::vector<int> whites{60, 62, 64, 65, 67};  // C D E F G, each 20 px wide on 100 by 50
    struct Case {
        double x, y;
        std::optional<int> pitch;
    } cases[] = {
        {10, 10, 60}, {15, 10, 61}, {25, 10, 61}, {30, 10, 62}, {55, 10, 64},  // E has no black above
        {65, 10, 65},                                                          // nor F below
        {15, 29, 61}, {15, 31, 60},                                            // the low 40 % is white
        {99, 50, 67}, {100, 10, std::nullopt}, {-1, 10, std::nullopt}, {10, 51, std::nullopt},
    };
    for (const Case& c : cases) EXPECT_EQ(keyboardHit(c.x, c.y, 100, 50, whites), c.pitch) << c.x << "," << c.y;
}

TEST_F(SynthEditorTest, ADragAcrossTheKeysPlaysEachAndLeavingEndsTheNote) {
    auto& keys = static_cast<Keyboard&>(*control("keyboard"));
    const QRectF area = keys.keysArea();
    const double w = area.width() / keys.whites().size();
    auto at = [&](int white) { return QPoint(static_cast<int>(area.left() + (white + 0.5) * w), static_cast<int>(area.bottom() - 5)); };
    auto held = [&] { return studio.live().heldPitches.count("t1") ? studio.live().heldPitches.at("t1") : std::set<int>{}; };
    QTest::mousePress(&keys, Qt::LeftButton, {}, at(7));  // C4, where the A key plays
    EXPECT_EQ(held(), std::set<int>{60});
    QTest::mouseMove(&keys, at(8));
    EXPECT_EQ(held(), std::set<int>{62});
    QTest::mouseMove(&keys, QPoint(at(8).x(), -5));
    EXPECT_TRUE(held().empty());
    QTest::mouseRelease(&keys, Qt::LeftButton, {}, QPoint(at(8).x(), -5));
    EXPECT_FALSE(studio.canUndo()) << "playing is no edit";
}

} // namespace
} // namespace velmo
