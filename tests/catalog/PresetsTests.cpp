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

// The library in order: name, engine, category.
const std::vector<std::tuple<std::string, EngineKind, std::string>> kLibrary{
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

TEST(Presets, LibraryOrderEnginesCategoriesAndFirstPerEngine) {
    const auto& all = Presets::all();
    ASSERT_EQ(all.size(), kLibrary.size());
    std::set<EngineKind> seen;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto& [name, engine, category] = kLibrary[i];
        EXPECT_EQ(all[i].name, name) << "preset " << i + 1;
        EXPECT_EQ(all[i].patch.engine, engine) << name;
        EXPECT_EQ(all[i].category, category) << name;
        EXPECT_NE(std::find(Presets::categories.begin(), Presets::categories.end(), all[i].category),
                  Presets::categories.end())
            << name;
        if (seen.insert(engine).second) {
            EXPECT_EQ(Presets::firstFor(engine), &all[i]) << name;
        }
    }
    EXPECT_EQ(seen.size(), allCases<EngineKind>().size());
    EXPECT_EQ(all.front().patch, SynthPatch()) << "Init Saw is the default patch";
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
    for (auto [text, name] : std::vector<std::pair<const char*, std::string>>{
             {"acid_bass", "Acid Bass"}, {"ACID BASS", "Acid Bass"}, {"aCiD_bAsS", "Acid Bass"},
             {"808_kit", "808 Kit"}, {"fm_e-piano", "FM E-Piano"}, {"lo-fi kit", "Lo-Fi Kit"}}) {
        const auto* found = Presets::named(text);
        EXPECT_EQ(found ? found->name : "(none)", name) << text;
    }
    for (const char* text : {"acid", "", "Acid Bass ", "Acid-Bass", "808"})
        EXPECT_EQ(Presets::named(text), nullptr) << "'" << text << "'";
    for (const auto& preset : Presets::all()) EXPECT_EQ(Presets::named(preset.name), &preset);
}

TEST(Presets, UnknownPresetMessageListsTheLibrary) {
    std::string expected = "Unknown preset 'acid_basss'. Presets: ";
    for (const auto& [name, engine, category] : kLibrary) expected += name + (name == "Lo-Fi Kit" ? "." : ", ");
    EXPECT_EQ(Presets::unknownPresetMessage("acid_basss"), expected);
}

} // namespace
} // namespace velmo
