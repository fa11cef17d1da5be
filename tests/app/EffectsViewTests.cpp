// The effects view on a track's chain and on the master chain: each click on a card (add, move,
// bypass, remove) and each knob drag is one undo step, and the cards follow the chain.
#include "AppRig.h"
#include "controls/PillToggle.h"
#include "effectview/EffectCard.h"
#include "effectview/EffectChainView.h"
#include "effectview/EffectsView.h"

#include <QMenu>
#include <QTest>
#include <QPushButton>

#include <gtest/gtest.h>

namespace velmo {
namespace {

struct EffectsViewTest : ::testing::Test, AppRig {
    EffectsView view{model};

    void SetUp() override {
        view.resize(1200, 600);
        view.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    }
};

TEST_F(EffectsViewTest, EachCardGestureIsOneUndoStepOnTheTrackAndTheMaster) {
    for (const bool master : {false, true}) {
        const char* where = master ? "master" : "track";
        auto chain = [&]() -> EffectChainView& {
            QCoreApplication::processEvents();
            return master ? view.masterChain() : *view.trackChain();
        };
        auto slots = [&] { return master ? studio.project().masterEffects : studio.project().tracks[0].effects; };
        auto kinds = [&] {
            std::vector<EffectKind> k;
            for (const EffectSlot& s : slots()) k.push_back(s.kind);
            return k;
        };
        auto add = [&](const QString& kind) {
            for (QAction* action : chain().addButton().menu()->actions())
                if (action->text().startsWith(kind + "\t")) action->trigger();
        };
        auto card = [&](std::size_t i) { return chain().cards().at(i); };
        auto click = [&](std::size_t i, const char* button) {
            QTest::mouseClick(card(i)->findChild<QWidget*>(button), Qt::LeftButton);
        };
        const int start = undoDepth();

        add("delay");
        add("reverb");
        EXPECT_EQ(kinds(), (std::vector{EffectKind::delay, EffectKind::reverb})) << where << ": new effects go last";
        ASSERT_EQ(chain().cards().size(), 2u) << where;
        EXPECT_FALSE(card(0)->findChild<QWidget*>("left")->isEnabled()) << where;
        EXPECT_FALSE(card(1)->findChild<QWidget*>("right")->isEnabled()) << where;

        click(0, "right");
        EXPECT_EQ(kinds(), (std::vector{EffectKind::reverb, EffectKind::delay})) << where;

        click(1, "enabled");
        EXPECT_FALSE(slots()[1].enabled) << where;
        EXPECT_FALSE(static_cast<PillToggle*>(card(1)->findChild<QWidget*>("enabled"))->on()) << where << ": a bypassed effect keeps its card";

        // The reverb's mix, 0.3 by default, goes up a fifth of its range with 36 px.
        QWidget* mix = card(0)->findChild<QWidget*>("mix");
        QTest::mousePress(mix, Qt::LeftButton, {}, {29, 17});
        QTest::mouseMove(mix, {29, 0});
        QTest::mouseMove(mix, {29, -19});
        QTest::mouseRelease(mix, Qt::LeftButton, {}, {29, -19});
        EXPECT_NEAR(slots()[0].params.at("mix"), 0.5, 1e-9) << where;

        click(0, "remove");
        EXPECT_EQ(kinds(), std::vector{EffectKind::delay}) << where;
        EXPECT_EQ(chain().cards().size(), 1u) << where;
        EXPECT_EQ(undoDepth(), start + 6) << where;
    }
}

} // namespace
} // namespace velmo
