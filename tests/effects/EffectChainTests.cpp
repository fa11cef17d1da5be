// The live effect chain: processors are kept across loads by id and kind, wherever a slot moves,
// and a disabled entry stays in the chain.
#include "effects/DelayLine.h"
#include "effects/EffectChain.h"

#include <gtest/gtest.h>

#include <vector>

namespace velmo {
namespace {

EffectSlot slot(std::string id, EffectKind kind, bool enabled = true) { return {std::move(id), kind, enabled, {}}; }

TEST(EffectChain, KeepsProcessorsByIdAndKind) {
    EffectChain chain;
    RenderContext ctx{48000, 120};
    chain.load(std::vector{slot("fx1", EffectKind::delay), slot("fx2", EffectKind::reverb), slot("fx3", EffectKind::eq)},
               48000, ctx);
    ASSERT_EQ(chain.entries().size(), 3u);
    EffectProcessor* delay = chain.entries()[0].proc.get();
    EffectProcessor* reverb = chain.entries()[1].proc.get();
    EffectProcessor* eq = chain.entries()[2].proc.get();

    // Reordered, fx2 disabled, fx3 changes kind under the same id, fx4 is new.
    chain.load(std::vector{slot("fx2", EffectKind::reverb, false), slot("fx1", EffectKind::delay),
                           slot("fx3", EffectKind::chorus), slot("fx4", EffectKind::drive)},
               48000, ctx);
    const auto& e = chain.entries();
    ASSERT_EQ(e.size(), 4u);
    EXPECT_EQ(e[0].proc.get(), reverb) << "a moved slot keeps its processor";
    EXPECT_FALSE(e[0].enabled);
    EXPECT_EQ(e[1].proc.get(), delay);
    EXPECT_NE(e[2].proc.get(), eq) << "a kind change under one id gets a fresh processor";
    EXPECT_EQ(e[2].kind, EffectKind::chorus);
    EXPECT_NE(e[3].proc, nullptr);
    EXPECT_EQ(e[3].id, "fx4");

    // Two slots with one id (a hand-edited file) do not share a processor.
    chain.load(std::vector{slot("fx1", EffectKind::delay), slot("fx1", EffectKind::delay)}, 48000, ctx);
    EXPECT_EQ(chain.entries()[0].proc.get(), delay);
    EXPECT_NE(chain.entries()[1].proc.get(), delay);

    chain.load(std::vector<EffectSlot>{}, 48000, ctx);
    EXPECT_TRUE(chain.entries().empty());
}

TEST(DelayLine, HasAtLeastFourZeroedSamples) {
    DelayLine tiny(0);
    EXPECT_EQ(tiny.size, 4);
    EXPECT_EQ(tiny.buf.size(), 4u);
    EXPECT_EQ(tiny.w, 0);
    DelayLine big(48000);
    EXPECT_EQ(big.size, 48000);
    for (float x : big.buf) ASSERT_EQ(x, 0.0f);
}

} // namespace
} // namespace velmo
