#include "catalog/Presets.h"

#include "model/SynthPatchJSON.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace velmo {
namespace {

TEST(Presets, LibraryOrderEnginesAndCategories) {
    const std::vector<std::tuple<std::string, EngineKind, std::string>> expected{
        {"Init Saw", EngineKind::analog, "Lead"},          {"Fat Bass", EngineKind::analog, "Bass"},
        {"Acid Bass", EngineKind::analog, "Bass"},         {"Sub Bass", EngineKind::analog, "Bass"},
        {"Supersaw Lead", EngineKind::analog, "Lead"},     {"Square Lead", EngineKind::analog, "Lead"},
        {"Warm Pad", EngineKind::analog, "Pad"},           {"Brass", EngineKind::analog, "Keys"},
        {"Noise Sweep", EngineKind::analog, "FX"},         {"Vowel Pad", EngineKind::wavetable, "Pad"},
        {"Digital Pluck", EngineKind::wavetable, "Pluck"}, {"Sweep Lead", EngineKind::wavetable, "Lead"},
        {"PWM Strings", EngineKind::wavetable, "Pad"},     {"FM E-Piano", EngineKind::fm, "Keys"},
        {"FM Bell", EngineKind::fm, "Keys"},               {"FM Bass", EngineKind::fm, "Bass"},
        {"FM Organ", EngineKind::fm, "Keys"},              {"FM Brass Stab", EngineKind::fm, "Keys"},
        {"Drawbar Organ", EngineKind::additive, "Keys"},   {"Glass Pad", EngineKind::additive, "Pad"},
        {"Hollow Reed", EngineKind::additive, "Lead"},     {"Nylon Guitar", EngineKind::pluck, "Pluck"},
        {"Harp", EngineKind::pluck, "Pluck"},              {"Muted Pluck", EngineKind::pluck, "Pluck"},
        {"Marimba", EngineKind::modal, "Mallet"},          {"Tubular Bells", EngineKind::modal, "Mallet"},
        {"Glass Harmonics", EngineKind::modal, "Mallet"},  {"Kalimba", EngineKind::modal, "Mallet"},
        {"808 Kit", EngineKind::drums, "Drums"},           {"909 Kit", EngineKind::drums, "Drums"},
        {"Lo-Fi Kit", EngineKind::drums, "Drums"},
    };
    const auto& all = Presets::all();
    ASSERT_EQ(all.size(), expected.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto& [name, engine, category] = expected[i];
        EXPECT_EQ(all[i].name, name) << "preset " << i + 1;
        EXPECT_EQ(all[i].patch.engine, engine) << name;
        EXPECT_EQ(all[i].category, category) << name;
        EXPECT_NE(std::find(Presets::categories.begin(), Presets::categories.end(), all[i].category),
                  Presets::categories.end())
            << name;
    }
}

TEST(Presets, InitSawIsTheDefaultPatch) {
    EXPECT_EQ(Presets::all().front().patch, SynthPatch());
}

TEST(Presets, FMBellMatchesItsPublishedVoicing) {
    const auto* bell = Presets::named("FM Bell");
    ASSERT_NE(bell, nullptr);
    SynthPatch expected;
    expected.engine = EngineKind::fm;
    expected.fm.algorithm = 3;
    expected.filter.type = FilterType::off;
    expected.ampEnv = {0.001, 1.0, 1.0, 2.5};
    expected.fm.ops = {
        FMOperator{1.0, 0, 0.85, 0.002, 4.0, 0, 2.5, 0.5},
        FMOperator{3.5, 0, 0.45, 0.002, 2.5, 0, 2.0, 0.5},
        FMOperator{1.0, 0, 0.5, 0.002, 3.0, 0, 2.0, 0.5},
        FMOperator{1.41, 0, 0.4, 0.002, 2.0, 0, 2.0, 0.5},
    };
    // Whole-patch equality: nothing else of the default patch was touched.
    EXPECT_EQ(bell->patch, expected);
}

TEST(Presets, EveryPatchIsPlayableByItsEngineAndSurvivesTheFile) {
    std::set<std::string> names;
    for (const auto& preset : Presets::all()) {
        const auto& patch = preset.patch;
        EXPECT_TRUE(names.insert(preset.name).second) << "duplicate " << preset.name;
        // The generators and the editor rely on full-length lists.
        EXPECT_EQ(patch.fm.ops.size(), 4u) << preset.name;
        EXPECT_EQ(patch.mod.size(), static_cast<std::size_t>(SynthPatch::modSlotCount)) << preset.name;
        EXPECT_EQ(patch.additive.harmonics.size(), 16u) << preset.name;
        // A voice ends with its amplitude envelope, so a string or a struck body must not be cut
        // by a closing sustain before it has rung.
        if (patch.engine == EngineKind::pluck || patch.engine == EngineKind::modal) {
            EXPECT_EQ(patch.ampEnv.sustain, 1.0) << preset.name;
        }

        EXPECT_EQ(synthPatchFromJSON(nlohmann::json::parse(toJSON(patch).dump())), patch) << preset.name;
    }
}

TEST(Presets, NamedIgnoresCaseAndReadsUnderscoresAsBlanks) {
    for (const char* text : {"acid_bass", "Acid Bass", "ACID BASS", "aCiD_bAsS"}) {
        const auto* found = Presets::named(text);
        ASSERT_NE(found, nullptr) << text;
        EXPECT_EQ(found->name, "Acid Bass");
    }
    ASSERT_NE(Presets::named("808_kit"), nullptr);
    EXPECT_EQ(Presets::named("808_kit")->name, "808 Kit");
    EXPECT_EQ(Presets::named("fm_e-piano")->name, "FM E-Piano");
    EXPECT_EQ(Presets::named("lo-fi kit")->name, "Lo-Fi Kit");
    for (const char* text : {"acid", "", "Acid Bass ", "Acid-Bass", "808"})
        EXPECT_EQ(Presets::named(text), nullptr) << "'" << text << "'";
    for (const auto& preset : Presets::all()) EXPECT_EQ(Presets::named(preset.name), &preset);
}

TEST(Presets, FirstForEachEngineAndTheUnknownPresetMessage) {
    EXPECT_EQ(Presets::firstFor(EngineKind::analog)->name, "Init Saw");
    EXPECT_EQ(Presets::firstFor(EngineKind::wavetable)->name, "Vowel Pad");
    EXPECT_EQ(Presets::firstFor(EngineKind::fm)->name, "FM E-Piano");
    EXPECT_EQ(Presets::firstFor(EngineKind::additive)->name, "Drawbar Organ");
    EXPECT_EQ(Presets::firstFor(EngineKind::pluck)->name, "Nylon Guitar");
    EXPECT_EQ(Presets::firstFor(EngineKind::modal)->name, "Marimba");
    EXPECT_EQ(Presets::firstFor(EngineKind::drums)->name, "808 Kit");

    EXPECT_EQ(Presets::unknownPresetMessage("acid_basss"),
              "Unknown preset 'acid_basss'. Presets: Init Saw, Fat Bass, Acid Bass, Sub Bass, Supersaw Lead, "
              "Square Lead, Warm Pad, Brass, Noise Sweep, Vowel Pad, Digital Pluck, Sweep Lead, PWM Strings, "
              "FM E-Piano, FM Bell, FM Bass, FM Organ, FM Brass Stab, Drawbar Organ, Glass Pad, Hollow Reed, "
              "Nylon Guitar, Harp, Muted Pluck, Marimba, Tubular Bells, Glass Harmonics, Kalimba, 808 Kit, "
              "909 Kit, Lo-Fi Kit.");
}

} // namespace
} // namespace velmo
