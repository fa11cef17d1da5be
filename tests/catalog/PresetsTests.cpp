// The factory library as properties rather than a copy of it: every value lies where the
// catalog lets an edit put it, every patch survives the file, lookups by name are forgiving.
#include "catalog/Presets.h"

#include "catalog/JSONPath.h"
#include "catalog/ParamCoercion.h"
#include "catalog/SynthCatalog.h"
#include "model/SynthPatchJSON.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace velmo {
namespace {

TEST(Presets, OrderCategoriesAndTheFirstOfEachEngine) {
    const auto& all = Presets::all();
    std::set<EngineKind> seen;
    std::set<std::string> names;
    for (const Preset& preset : all) {
        EXPECT_TRUE(names.insert(preset.name).second) << "duplicate " << preset.name;
        EXPECT_NE(std::find(Presets::categories.begin(), Presets::categories.end(), preset.category),
                  Presets::categories.end())
            << preset.name;
        // Library order groups the engines in their declared order.
        if (!seen.empty()) {
            EXPECT_LE(*seen.rbegin(), preset.patch.engine) << preset.name;
        }
        if (seen.insert(preset.patch.engine).second) {
            EXPECT_EQ(Presets::firstFor(preset.patch.engine), &preset) << preset.name;
        }
    }
    EXPECT_EQ(seen.size(), allCases<EngineKind>().size()) << "every engine has a starting sound";
    EXPECT_EQ(all.front().patch, SynthPatch()) << "the first preset is the default patch";
}

// A preset value outside its row would be clamped the moment anyone touched it, so the sound a
// person chose from the menu could change under a small edit.
TEST(Presets, EveryValueLiesInsideTheCatalogsRanges) {
    for (const Preset& preset : Presets::all()) {
        const nlohmann::json tree = toJSON(preset.patch);
        for (const ParamInfo& row : SynthCatalog::params()) {
            const nlohmann::json* value = JSONPath::get(JSONPath::components(row.path), tree);
            ASSERT_NE(value, nullptr) << preset.name << " " << row.path;
            EXPECT_EQ(coerce(*value, row), *value) << preset.name << " " << row.path;
        }
    }
}

TEST(Presets, EveryPatchIsPlayableByItsEngineAndSurvivesTheFile) {
    for (const auto& preset : Presets::all()) {
        const auto& patch = preset.patch;
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
    for (const auto& preset : Presets::all()) expected += preset.name + (&preset == &Presets::all().back() ? "." : ", ");
    EXPECT_EQ(Presets::unknownPresetMessage("acid_basss"), expected);
}

} // namespace
} // namespace velmo
