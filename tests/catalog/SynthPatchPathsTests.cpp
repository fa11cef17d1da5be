#include "catalog/SynthPatchPaths.h"

#include "catalog/ParamCoercion.h"
#include "base/UserError.h"
#include "catalog/SynthCatalog.h"
#include "model/SynthPatchJSON.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace velmo {
namespace {

using json = nlohmann::json;

// The ParamError message of applying `params` to a fresh patch, or "" if it succeeds.
std::string failure(const json& params) {
    try {
        applying(SynthPatch{}, params);
    } catch (const ParamError& error) {
        return error.message();
    }
    return "";
}

json applied(const char* path, const json& value) {
    return valueAt(applying(SynthPatch{}, {{path, value}}), path).value_or(json());
}

// A value for every row that differs from its default and lies within the row.
json otherValue(const ParamInfo& spec) {
    if (const auto* range = spec.number()) {
        double value = range->min + (range->max - range->min) * 0.7;
        if (range->integer) value = std::round(value);
        if (value == spec.defaultValue.get<double>()) value = range->min;
        return value;
    }
    if (const auto* choice = spec.choice())
        return choice->options.back() == spec.defaultValue ? choice->options.front() : choice->options.back();
    return !spec.defaultValue.get<bool>();
}

TEST(SynthPatchPaths, EveryCatalogPathRoundTripsAlone) {
    const SynthPatch fresh;
    const auto freshTree = jsonObject(fresh);
    for (const auto& spec : SynthCatalog::params()) {
        const auto value = otherValue(spec);
        const auto patch = applying(fresh, {{spec.path, value}});
        EXPECT_EQ(valueAt(patch, spec.path), value) << spec.path;
        // Nothing else moved: putting the old value back gives the fresh patch.
        EXPECT_EQ(applying(patch, {{spec.path, spec.defaultValue}}), fresh) << spec.path;
        EXPECT_NE(jsonObject(patch), freshTree) << spec.path << " did not reach the patch";
    }
}

TEST(SynthPatchPaths, AWholePatchTravelsThroughItsFlattenedForm) {
    json edits = json::object();
    for (const auto& spec : SynthCatalog::params()) edits[spec.path] = otherValue(spec);
    const auto edited = applying(SynthPatch{}, edits);
    for (const auto& spec : SynthCatalog::params()) EXPECT_EQ(valueAt(edited, spec.path), edits[spec.path]) << spec.path;

    // The patch's own JSON, engine removed, applied to a fresh patch rebuilds it, nested or flat.
    auto tree = jsonObject(edited);
    tree.erase("engine");
    EXPECT_EQ(applying(SynthPatch{}, tree), edited);
    json flat = json::object();
    for (const auto& [path, value] : flatten(tree)) flat[path] = value;
    EXPECT_EQ(flat.size(), SynthCatalog::params().size());
    EXPECT_EQ(applying(SynthPatch{}, flat), edited);
}

TEST(SynthPatchPaths, ValuesAreParsedClampedAndRounded) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // Numbers clamp, integers round halves away from zero and never to -0; booleans read as 1;
    // toggles take 0/1 and on/yes texts (any other text is false); choices match any case and
    // come out as the catalog spells them.
    for (auto [path, value, result] : std::vector<std::tuple<const char*, json, json>>{
             {"filter.cutoff", 99999, 20000.0}, {"filter.cutoff", -5, 20.0}, {"filter.cutoff", "900", 900.0},
             {"filter.cutoff", "+2.5e3", 2500.0}, {"filter.cutoff", true, 20.0}, {"voice.polyphony", 3.6, 4.0},
             {"voice.polyphony", 2.5, 3.0}, {"analog.osc1.semitone", -2.5, -3.0},
             {"lfo1.sync", "yes", true}, {"lfo1.sync", "ON", true}, {"lfo1.sync", 1, true},
             {"lfo1.retrigger", 0, false}, {"lfo1.retrigger", "nope", false}, {"analog.osc1.wave", "SAW", "saw"},
             {"mod.0.source", "MODENV", "modEnv"}, {"mod.0.destination", "wavetableposition", "wavetablePosition"}})
        EXPECT_EQ(applied(path, value), result) << path << " = " << value.dump();
    EXPECT_FALSE(std::signbit(applied("analog.osc1.octave", -0.3).get<double>())) << "no negative zero";
    EXPECT_TRUE(applied("fm.algorithm", 3).is_number_float()) << "results stay doubles";

    const std::string cutoff = "'filter.cutoff' expects a number between 20.0 and 20000.0.";
    for (auto [path, value, message] : std::vector<std::tuple<const char*, json, std::string>>{
             {"filter.cutoff", "900hz", cutoff},
             {"fm.ops.0.attack", nullptr, "'fm.ops.0.attack' expects a number between 0.0005 and 10.0."},
             {"additive.harmonics.3", json::array({1}), "'additive.harmonics.3' expects a number between 0.0 and 1.0."},
             {"filter.envAmount", "inf", "'filter.envAmount' must be finite."},
             {"filter.envAmount", "-1e400", "'filter.envAmount' must be finite."},
             {"filter.envAmount", nan, "'filter.envAmount' must be finite."},
             {"lfo1.sync", 2, "'lfo1.sync' expects true or false."},
             {"lfo2.retrigger", nullptr, "'lfo2.retrigger' expects true or false."},
             {"analog.osc1.wave", "sawtooth", "'analog.osc1.wave' must be one of: sine, triangle, saw, square, pulse, noise."},
             {"voice.mode", 1, "'voice.mode' must be one of: poly, mono, legato."}})
        EXPECT_EQ(failure({{path, value}}), message) << path << " = " << value.dump();
}

TEST(SynthPatchPaths, UnknownPathsAndBadParamsFailWholly) {
    for (const char* path : {"mod.6.source", "fm.ops.4.ratio", "engine", "filter.cutof", "additive.harmonics.16"})
        EXPECT_EQ(failure({{path, 1}}), "Unknown synth parameter '" + std::string(path) + "'.");
    EXPECT_EQ(failure({{"additive", {{"harmonics", json(std::vector<double>(17, 0.5))}}}}),
              "Unknown synth parameter 'additive.harmonics.16'.")
        << "an over-long list names its first extra element";

    // The first bad pair in key order ends the call: "ampEnv" sorts before "filter".
    EXPECT_EQ(failure({{"filter.cutoff", "x"}, {"ampEnv", {{"attack", "y"}}}}),
              "'ampEnv.attack' expects a number between 0.0005 and 10.0.");
    EXPECT_NE(failure("filter.cutoff"), "") << "params must be an object";

    EXPECT_EQ(applying(SynthPatch{}, json::object()), SynthPatch{});
    EXPECT_EQ(applying(SynthPatch{}, nullptr), SynthPatch{});
}

TEST(SynthPatchPaths, NestedFlatAndListFormsAgree) {
    const auto nested = applying(SynthPatch{}, {{"filter", {{"cutoff", 900}}}, {"mod", {{{"source", "lfo1"}}}}});
    const auto flat = applying(SynthPatch{}, {{"filter.cutoff", 900}, {"mod.0.source", "lfo1"}});
    EXPECT_EQ(nested, flat);
    EXPECT_EQ(nested.filter.cutoff, 900.0);
    EXPECT_EQ(nested.mod[0].source, ModSource::lfo1);

    const auto drawn = applying(SynthPatch{}, {{"additive.harmonics", {0.25, "0.75"}}});
    EXPECT_EQ(drawn.additive.harmonics[0], 0.25);
    EXPECT_EQ(drawn.additive.harmonics[1], 0.75);
    EXPECT_EQ(drawn.additive.harmonics[2], SynthPatch{}.additive.harmonics[2]);
    EXPECT_EQ(drawn.additive.harmonics.size(), 16u);

    const auto ops = applying(SynthPatch{}, {{"fm", {{"ops", {{{"ratio", 3.5}}, {{"level", 2}}}}}}});
    EXPECT_EQ(ops.fm.ops[0].ratio, 3.5);
    EXPECT_EQ(ops.fm.ops[1].level, 1.0);
}

TEST(SynthPatchPaths, FlattenSortsKeysAndExpandsOnlyNonCatalogArrays) {
    const json params = {{"b", 1}, {"a", {{"y", {1, {2}, {{"z", 3}}}}}}, {"filter.cutoff", {5, 6}}};
    const std::vector<PathValue> expected{
        {"a.y.0", 1}, {"a.y.1", json::array({2})}, {"a.y.2.z", 3}, {"b", 1}, {"filter.cutoff", {5, 6}}};
    EXPECT_EQ(flatten(params), expected);
    EXPECT_EQ(flatten({{"cutoff", 1}}, "filter"), (std::vector<PathValue>{{"filter.cutoff", 1}}));
}

TEST(SynthPatchPaths, ShortListsFromFilesAreEditedWhereTheyReach) {
    SynthPatch patch;
    patch.fm.ops.resize(3);
    const auto edited = applying(patch, {{"fm.ops.2.ratio", 5}, {"fm.ops.3.ratio", 7}});
    ASSERT_EQ(edited.fm.ops.size(), 3u) << "a missing operator is not created";
    EXPECT_EQ(edited.fm.ops[2].ratio, 5.0);
    EXPECT_EQ(valueAt(edited, "fm.ops.3.ratio"), std::nullopt);
}

TEST(SynthPatchPaths, ValueAtReadsAnyNodeOfTheTree) {
    const SynthPatch fresh;
    EXPECT_EQ(valueAt(fresh, "engine"), "analog");
    EXPECT_EQ(valueAt(fresh, "filter..cutoff"), 8000.0) << "empty components are ignored";
    EXPECT_EQ(valueAt(fresh, "additive.harmonics")->size(), 16u);
    EXPECT_EQ(valueAt(fresh, ""), jsonObject(fresh));
    for (const char* path : {"filter.nothing", "additive.harmonics.16", "additive.harmonics.-1",
                             "additive.harmonics.x", "filter.cutoff.deeper"})
        EXPECT_EQ(valueAt(fresh, path), std::nullopt) << path << ": past the end, no keys in lists, no step into a number";
}

} // namespace
} // namespace velmo
