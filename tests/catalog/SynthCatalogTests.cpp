#include "catalog/SynthCatalog.h"

#include "catalog/ParamCoercion.h"
#include "catalog/SynthPatchPaths.h"

#include <gtest/gtest.h>

#include <set>

namespace velmo {
namespace {

using Strings = std::vector<std::string>;

const Strings kSharedSections{"Filter", "Amp Envelope", "Mod Envelope", "LFO 1", "LFO 2", "Modulation", "Voice"};

Strings withShared(Strings own) {
    own.insert(own.end(), kSharedSections.begin(), kSharedSections.end());
    return own;
}

TEST(SynthCatalog, TableHasEveryRowOnceInSectionOrder) {
    const auto& rows = SynthCatalog::params();
    ASSERT_EQ(rows.size(), 149u);
    EXPECT_EQ(SynthCatalog::byPath().size(), rows.size()) << "paths never repeat";
    EXPECT_EQ(rows.front().path, "analog.osc1.wave");
    EXPECT_EQ(rows.back().path, "voice.velocitySens");

    // Runs of sections in table order with their row counts.
    std::vector<std::pair<std::string, int>> runs;
    for (const auto& row : rows) {
        if (runs.empty() || runs.back().first != row.section) runs.push_back({row.section, 0});
        ++runs.back().second;
    }
    const std::vector<std::pair<std::string, int>> expected{
        {"Oscillator 1", 6}, {"Oscillator 2", 6}, {"Mixer", 5}, {"Wavetable", 9}, {"FM", 2},
        {"Operator 1", 8}, {"Operator 2", 8}, {"Operator 3", 8}, {"Operator 4", 8}, {"Harmonics", 16},
        {"Additive", 3}, {"String", 4}, {"Resonator", 4}, {"Kick", 4}, {"Snare & Clap", 4},
        {"Hats & Cymbals", 3}, {"Toms & Kit", 3}, {"Filter", 7}, {"Amp Envelope", 4}, {"Mod Envelope", 4},
        {"LFO 1", 5}, {"LFO 2", 5}, {"Modulation", 18}, {"Voice", 5}};
    EXPECT_EQ(runs, expected);

    int withHelp = 0;
    for (const auto& row : rows) withHelp += !row.help.empty();
    EXPECT_EQ(withHelp, 57);
}

TEST(SynthCatalog, RowsCarryExactMetadata) {
    const auto row = [](const char* path) {
        const auto* spec = SynthCatalog::find(path);
        EXPECT_NE(spec, nullptr) << path;
        return spec ? *spec : ParamInfo{};
    };
    const auto cutoff = row("filter.cutoff");
    EXPECT_EQ(std::tie(cutoff.label, cutoff.section), std::tuple("Cutoff", "Filter"));
    EXPECT_EQ(cutoff.engine, std::nullopt);
    EXPECT_EQ(row("fm.ops.3.attack").section, "Operator 4");
    EXPECT_EQ(row("drums.snareDecay").section, "Snare & Clap");

    // Ranges: min, max, unit, logarithmic, integer.
    for (auto [path, range] : std::vector<std::pair<const char*, NumberParam>>{
             {"filter.cutoff", {20, 20000, "Hz", true, false}}, {"analog.osc2.semitone", {-12, 12, "st", false, true}},
             {"fm.ops.3.attack", {0.0005, 10, "s", true, false}}, {"drums.tomTune", {0.5, 2, "", true, false}},
             {"additive.stretch", {0, 0.02, "", false, false}}, {"voice.polyphony", {1, 16, "", false, true}}})
        EXPECT_EQ(row(path).kind, ParamKind(range)) << path;
    EXPECT_EQ(row("lfo2.sync").kind, ParamKind(ToggleParam{}));
    EXPECT_EQ(row("filter.type").kind,
              ParamKind(ChoiceParam{{"off", "lowpass12", "lowpass24", "ladder", "highpass12", "bandpass", "notch"}}));
    EXPECT_EQ(row("mod.4.source").kind,
              ParamKind(ChoiceParam{{"none", "lfo1", "lfo2", "modEnv", "ampEnv", "velocity", "keytrack", "random"}}));

    for (auto [path, label] : std::vector<std::pair<const char*, std::string>>{
             {"fm.ops.1.velocity", "Vel Sens"}, {"additive.harmonics.15", "H16"}, {"mod.0.source", "Src 1"},
             {"mod.5.destination", "Dst 6"}, {"mod.2.amount", "Amt 3"}})
        EXPECT_EQ(row(path).label, label) << path;
    for (auto [path, help] : std::vector<std::pair<const char*, std::string>>{
             {"additive.harmonics.15", "Level of partial 16"},
             {"fm.algorithm", "1: 4>3>2>1  2: (3+4)>2>1  3: 4>3>1 + 2>1  4: 4>3, 2>1 (two stacks)  5: 4>(1,2,3)  "
                              "6: 4>3, carriers 1,2,3  7: 4>3>(1,2)  8: all four carriers (organ)"},
             {"lfo1.sync", "Tempo-sync: use `beats` instead of `rate`"},
             {"mod.5.amount", "Scaling at 1.0: pitch/osc2Pitch 12 st, cutoff 8 oct, resonance/volume/pan/"
                              "wavetablePosition/fmAmount 1.0, pulseWidth 0.45, lfoRate 4 oct"},
             {"pluck.decay", "Ring time to -60 dB"}, {"modal.decay", ""}})
        EXPECT_EQ(row(path).help, help) << path;
}

TEST(SynthCatalog, SectionsPerEngineAreItsOwnThenShared) {
    EXPECT_EQ(SynthCatalog::sections(EngineKind::analog), withShared({"Oscillator 1", "Oscillator 2", "Mixer"}));
    EXPECT_EQ(SynthCatalog::sections(EngineKind::wavetable), withShared({"Wavetable"}));
    EXPECT_EQ(SynthCatalog::sections(EngineKind::fm),
              withShared({"FM", "Operator 1", "Operator 2", "Operator 3", "Operator 4"}));
    EXPECT_EQ(SynthCatalog::sections(EngineKind::additive), withShared({"Harmonics", "Additive"}));
    EXPECT_EQ(SynthCatalog::sections(EngineKind::pluck), withShared({"String"}));
    EXPECT_EQ(SynthCatalog::sections(EngineKind::modal), withShared({"Resonator"}));
    EXPECT_EQ(SynthCatalog::sections(EngineKind::drums),
              withShared({"Kick", "Snare & Clap", "Hats & Cymbals", "Toms & Kit"}));
}

TEST(SynthCatalog, OnlyLeavesAreParameters) {
    for (const char* path : {"engine", "additive.harmonics", "mod", "mod.0", "fm.ops", "fm.ops.0", "filter"})
        EXPECT_EQ(SynthCatalog::find(path), nullptr) << path;
}

// The catalog and the patch's JSON form describe the same tree: every leaf of a fresh patch but
// the engine choice is a catalog row and vice versa, and each row's kind matches the leaf's type.
TEST(SynthCatalog, PathsAreExactlyTheLeavesOfThePatch) {
    std::set<std::string> leaves;
    for (const auto& [path, value] : flatten(jsonObject(SynthPatch{}))) {
        if (path == "engine") continue;
        leaves.insert(path);
        const auto* spec = SynthCatalog::find(path);
        if (!spec) {
            ADD_FAILURE() << "patch leaf " << path << " has no catalog row";
            continue;
        }
        const bool typeMatches = spec->number() ? value.is_number() : spec->choice() ? value.is_string() : value.is_boolean();
        EXPECT_TRUE(typeMatches) << path << " holds " << value.dump();
    }
    for (const auto& row : SynthCatalog::params()) EXPECT_TRUE(leaves.count(row.path)) << "no patch leaf " << row.path;
}

// Defaults are read off a fresh patch; what can go wrong is a fresh patch outside its row, or
// an engine tag that does not match the path.
TEST(SynthCatalog, DefaultsLieWithinTheirRows) {
    for (const auto& row : SynthCatalog::params()) {
        EXPECT_EQ(coerce(row.defaultValue, row), row.defaultValue) << row.path << " default is outside its row";
        EXPECT_EQ(row.engine.has_value(), row.path.find('.') != std::string::npos &&
                                              fromString<EngineKind>(row.path.substr(0, row.path.find('.'))))
            << row.path;
    }
    for (auto [path, value] : std::vector<std::pair<const char*, nlohmann::json>>{
             {"filter.cutoff", 8000.0}, {"analog.osc2.detune", 7.0}, {"lfo2.shape", "triangle"}, {"lfo1.retrigger", true}})
        EXPECT_EQ(SynthCatalog::find(path)->defaultValue, value) << path;
}

} // namespace
} // namespace velmo
