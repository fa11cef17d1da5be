#include "catalog/EffectCatalog.h"

#include "base/UserError.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>

using namespace velmo;
using json = nlohmann::json;

namespace {

std::string failureOf(EffectKind kind, const json& changes) {
    try {
        EffectCatalog::merge(kind, EffectCatalog::defaults(kind), changes);
    } catch (const ParamError& e) {
        return e.message();
    }
    return "(no failure)";
}

} // namespace

TEST(EffectCatalog, TableRowsAreExact) {
    // Spot rows that carry every column: a log row with unit and help, a help text with a
    // non-ASCII sign, a negative default, and the fractional upper bounds.
    const auto* time = EffectCatalog::spec(EffectKind::delay, "time");
    ASSERT_NE(time, nullptr);
    EXPECT_EQ(*time, (EffectParamInfo{"time", "Time", 0.0625, 4, 0.75, "beats", true,
                                      "Delay time in beats (0.75 = dotted eighth)"}));
    const auto* depth = EffectCatalog::spec(EffectKind::autofilter, "depth");
    ASSERT_NE(depth, nullptr);
    EXPECT_EQ(depth->help, "Sweep depth (1 = \xC2\xB1" "4 octaves)");
    const auto* threshold = EffectCatalog::spec(EffectKind::compressor, "threshold");
    ASSERT_NE(threshold, nullptr);
    EXPECT_EQ(*threshold, (EffectParamInfo{"threshold", "Thresh", -60, 0, -18, "dB", false, ""}));
    EXPECT_EQ(EffectCatalog::spec(EffectKind::phaser, "feedback")->max, 0.95);
    EXPECT_EQ(EffectCatalog::spec(EffectKind::eq, "midFreq")->label, "Mid Hz");
    EXPECT_EQ(EffectCatalog::spec(EffectKind::delay, "pingpong")->help, "0 = stereo, 1 = ping-pong");
    EXPECT_EQ(EffectCatalog::spec(EffectKind::autofilter, "mode")->help, "0 lowpass, 1 highpass, 2 bandpass");
    EXPECT_EQ(EffectCatalog::spec(EffectKind::reverb, "Size"), nullptr) << "names are case-sensitive";
}

TEST(EffectCatalog, EveryKindsParametersSummaryAndDefaults) {
    const std::map<EffectKind, std::pair<std::string, std::string>> table{
        {EffectKind::drive, {"drive tone level mix", "Tube-style tanh saturation with tone control"}},
        {EffectKind::bitcrush, {"bits downsample mix", "Bit-depth and sample-rate reduction"}},
        {EffectKind::chorus, {"rate depth mix", "Stereo modulated-delay chorus"}},
        {EffectKind::phaser, {"rate depth feedback mix", "6-stage stereo phaser"}},
        {EffectKind::delay, {"time feedback tone pingpong mix", "Tempo-synced stereo/ping-pong delay"}},
        {EffectKind::reverb, {"size damping width mix", "Freeverb-style algorithmic reverb"}},
        {EffectKind::eq, {"low mid midFreq high", "3-band EQ: low shelf, sweepable mid, high shelf"}},
        {EffectKind::compressor, {"threshold ratio attack release makeup", "Stereo-linked feed-forward compressor"}},
        {EffectKind::autofilter, {"mode cutoff resonance rate depth mix", "Resonant filter with LFO sweep"}},
    };
    int logCount = 0;
    for (EffectKind kind : allCases<EffectKind>()) {
        SCOPED_TRACE(std::string(toString(kind)));
        std::string order;
        const auto defaults = EffectCatalog::defaults(kind);
        for (const auto& s : EffectCatalog::specs(kind)) {
            order += (order.empty() ? "" : " ") + std::string(s.name);
            EXPECT_LE(s.min, s.defaultValue) << s.name;
            EXPECT_LE(s.defaultValue, s.max) << s.name;
            EXPECT_TRUE(!s.log || s.min > 0) << s.name << " is logarithmic but reaches 0";
            EXPECT_EQ(defaults.at(std::string(s.name)), s.defaultValue) << s.name;
            logCount += s.log;
        }
        EXPECT_EQ(order, table.at(kind).first);
        EXPECT_EQ(defaults.size(), EffectCatalog::specs(kind).size());
        EXPECT_EQ(EffectCatalog::summary(kind), table.at(kind).second);
    }
    EXPECT_EQ(logCount, 10);
    EXPECT_EQ(EffectCatalog::defaults(EffectKind::delay),
              (EffectParams{{"time", 0.75}, {"feedback", 0.4}, {"tone", 0.6}, {"pingpong", 1}, {"mix", 0.3}}));
    EXPECT_EQ(EffectCatalog::defaults(EffectKind::compressor),
              (EffectParams{{"threshold", -18}, {"ratio", 4}, {"attack", 10}, {"release", 120}, {"makeup", 3}}));
}

TEST(EffectCatalog, MergeClampsAndKeepsWhatItDoesNotTouch) {
    auto delay = EffectCatalog::merge(EffectKind::delay, EffectCatalog::defaults(EffectKind::delay), json{{"mix", 2}});
    EXPECT_EQ(delay.at("mix"), 1.0);
    EXPECT_EQ(delay.at("time"), 0.75);

    EffectParams base{{"size", 0.2}, {"legacy", 42}};
    EXPECT_EQ(EffectCatalog::merge(EffectKind::reverb, base, json::object()), base);
    auto merged = EffectCatalog::merge(EffectKind::reverb, base, json{{"size", -3}, {"mix", "0.25"}});
    EXPECT_EQ(merged, (EffectParams{{"size", 0}, {"mix", 0.25}, {"legacy", 42}}));

    // Not rounded: the processors take fractional bit depths and modes.
    EXPECT_EQ(EffectCatalog::merge(EffectKind::bitcrush, {}, json{{"bits", 3.7}}).at("bits"), 3.7);
    // Texts: signs, exponents and infinities are numbers; booleans read as 0 and 1.
    auto texts = EffectCatalog::merge(EffectKind::eq, {},
                                      json{{"low", "-6.5"}, {"mid", "+2e0"}, {"midFreq", "inf"}, {"high", true}});
    EXPECT_EQ(texts, (EffectParams{{"low", -6.5}, {"mid", 2}, {"midFreq", 8000}, {"high", 1}}));
    EXPECT_EQ(EffectCatalog::merge(EffectKind::compressor, {}, json{{"ratio", false}}).at("ratio"), 1.0);
    EXPECT_EQ(EffectCatalog::merge(EffectKind::drive, {}, json{{"level", 1e300}}).at("level"), 12.0);
    EXPECT_EQ(EffectCatalog::merge(EffectKind::drive, {{"mix", 0.5}}, EffectParams{{"level", -30}}),
              (EffectParams{{"mix", 0.5}, {"level", -24}}));
    EXPECT_THROW(EffectCatalog::merge(EffectKind::drive, {}, EffectParams{{"gain", 1}}), ParamError);
}

TEST(EffectCatalog, MergeFailuresNameTheChoices) {
    EXPECT_EQ(failureOf(EffectKind::reverb, json{{"wet", 0.5}}),
              "Effect 'reverb' has no parameter 'wet'. Valid: size, damping, width, mix");
    EXPECT_EQ(failureOf(EffectKind::autofilter, json{{"Cutoff", 100}}),
              "Effect 'autofilter' has no parameter 'Cutoff'. Valid: mode, cutoff, resonance, rate, depth, mix");
    const std::string expects = "Effect parameter 'mix' expects a number.";
    for (const json& bad : {json("abc"), json("nan"),
                            json::array({0.5}), json::object(), json(nullptr),
                            json(std::numeric_limits<double>::quiet_NaN())})
        EXPECT_EQ(failureOf(EffectKind::chorus, json{{"mix", bad}}), expects) << bad.dump();
    EXPECT_NE(failureOf(EffectKind::chorus, json::array({1})).find("Valid: rate, depth, mix"), std::string::npos);

    // The first failure leaves nothing applied: the result is all or nothing.
    EffectParams base = EffectCatalog::defaults(EffectKind::chorus);
    EXPECT_THROW(EffectCatalog::merge(EffectKind::chorus, base, json{{"depth", 0.1}, {"mix", "x"}}), ParamError);
    EXPECT_EQ(base, EffectCatalog::defaults(EffectKind::chorus));
}

TEST(EffectCatalog, SlotsAndValueFallBackToDefaults) {
    auto full = EffectCatalog::makeSlot("fx3", EffectKind::phaser);
    EXPECT_EQ(full.id, "fx3");
    EXPECT_TRUE(full.enabled);
    EXPECT_EQ(full.params, EffectCatalog::defaults(EffectKind::phaser));

    auto sparse = EffectCatalog::makeSlot("fx4", EffectKind::delay, false, EffectParams{{"mix", 0.9}, {"old", 5}});
    EXPECT_FALSE(sparse.enabled);
    EXPECT_EQ(sparse.params.size(), 2u) << "given params are taken as they are";
    EXPECT_EQ(EffectCatalog::value(sparse, "mix"), 0.9);
    EXPECT_EQ(EffectCatalog::value(sparse, "time"), 0.75);
    EXPECT_EQ(EffectCatalog::value(sparse, "old"), 5.0);
    EXPECT_EQ(EffectCatalog::value(sparse, "size"), 0.0) << "a reverb name means nothing to a delay";
    EXPECT_EQ(EffectCatalog::value(EffectCatalog::makeSlot("fx5", EffectKind::compressor, true, EffectParams{}),
                                   "threshold"),
              -18.0);
}
