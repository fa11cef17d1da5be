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

    auto cutoff = row("filter.cutoff");
    EXPECT_EQ(cutoff.label, "Cutoff");
    EXPECT_EQ(cutoff.section, "Filter");
    EXPECT_EQ(cutoff.engine, std::nullopt);
    EXPECT_EQ(cutoff.kind, ParamKind(NumberParam{20, 20000, "Hz", true, false}));

    EXPECT_EQ(row("analog.osc2.semitone").kind, ParamKind(NumberParam{-12, 12, "st", false, true}));
    EXPECT_EQ(row("analog.osc2.semitone").engine, EngineKind::analog);
    EXPECT_EQ(row("fm.ops.3.attack").kind, ParamKind(NumberParam{0.0005, 10, "s", true, false}));
    EXPECT_EQ(row("fm.ops.3.attack").section, "Operator 4");
    EXPECT_EQ(row("fm.ops.1.velocity").label, "Vel Sens");
    EXPECT_EQ(row("drums.tomTune").kind, ParamKind(NumberParam{0.5, 2, "", true, false}));
    EXPECT_EQ(row("drums.snareDecay").section, "Snare & Clap");
    EXPECT_EQ(row("additive.stretch").kind, ParamKind(NumberParam{0, 0.02, "", false, false}));
    EXPECT_EQ(row("voice.polyphony").kind, ParamKind(NumberParam{1, 16, "", false, true}));
    EXPECT_EQ(row("lfo2.sync").kind, ParamKind(ToggleParam{}));

    EXPECT_EQ(row("additive.harmonics.15").label, "H16");
    EXPECT_EQ(row("additive.harmonics.15").help, "Level of partial 16");
    EXPECT_EQ(row("mod.0.source").label, "Src 1");
    EXPECT_EQ(row("mod.5.destination").label, "Dst 6");
    EXPECT_EQ(row("mod.2.amount").label, "Amt 3");

    EXPECT_EQ(row("filter.type").kind,
              ParamKind(ChoiceParam{{"off", "lowpass12", "lowpass24", "ladder", "highpass12", "bandpass", "notch"}}));
    EXPECT_EQ(row("mod.4.source").kind,
              ParamKind(ChoiceParam{{"none", "lfo1", "lfo2", "modEnv", "ampEnv", "velocity", "keytrack", "random"}}));

    EXPECT_EQ(row("fm.algorithm").help,
              "1: 4>3>2>1  2: (3+4)>2>1  3: 4>3>1 + 2>1  4: 4>3, 2>1 (two stacks)  5: 4>(1,2,3)  "
              "6: 4>3, carriers 1,2,3  7: 4>3>(1,2)  8: all four carriers (organ)");
    EXPECT_EQ(row("lfo1.sync").help, "Tempo-sync: use `beats` instead of `rate`");
    EXPECT_EQ(row("mod.5.amount").help,
              "Scaling at 1.0: pitch/osc2Pitch 12 st, cutoff 8 oct, resonance/volume/pan/wavetablePosition/"
              "fmAmount 1.0, pulseWidth 0.45, lfoRate 4 oct");
    EXPECT_EQ(row("pluck.decay").help, "Ring time to -60 dB");
    EXPECT_EQ(row("modal.decay").help, "");
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

TEST(SynthCatalog, DefaultsAreTheFreshPatchAndLieWithinTheirRows) {
    const SynthPatch fresh;
    for (const auto& row : SynthCatalog::params()) {
        EXPECT_EQ(row.defaultValue, valueAt(fresh, row.path)) << row.path;
        EXPECT_EQ(coerce(row.defaultValue, row), row.defaultValue) << row.path << " default is outside its row";
        EXPECT_EQ(row.engine.has_value(), row.path.find('.') != std::string::npos &&
                                              fromString<EngineKind>(row.path.substr(0, row.path.find('.'))))
            << row.path;
    }
    EXPECT_EQ(SynthCatalog::find("filter.cutoff")->defaultValue, 8000.0);
    EXPECT_EQ(SynthCatalog::find("analog.osc2.detune")->defaultValue, 7.0);
    EXPECT_EQ(SynthCatalog::find("lfo2.shape")->defaultValue, "triangle");
    EXPECT_EQ(SynthCatalog::find("lfo1.retrigger")->defaultValue, true);
}

} // namespace
} // namespace velmo
