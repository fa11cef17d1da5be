#include "Studio/Studio.h"
#include "catalog/EffectCatalog.h"
#include "catalog/ParamError.h"
#include "catalog/Presets.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

using json = nlohmann::json;

TEST(AddTrack, NamesColoursAndSounds) {
    Studio studio(Project("Song", 120));
    studio.addTrack(std::nullopt, std::nullopt, std::nullopt);
    studio.addTrack(std::nullopt, std::nullopt, std::nullopt);
    std::string third = studio.addTrack(std::nullopt, std::nullopt, std::nullopt);
    const Track& plain = studio.project().tracks[2];
    EXPECT_EQ(third, "t3");
    EXPECT_EQ(plain.name, "Track 3");
    EXPECT_EQ(plain.colorIndex, 2);
    EXPECT_EQ(plain.patch, SynthPatch());
    EXPECT_EQ(plain.volumeDb, -6);
    EXPECT_EQ(studio.selectedTrackID(), "t3");

    studio.addTrack(std::nullopt, EngineKind::fm, std::nullopt);
    const Track& fm = studio.project().tracks[3];
    EXPECT_EQ(fm.name, "FM");
    EXPECT_EQ(fm.patch, Presets::firstFor(EngineKind::fm)->patch) << "an engine alone brings its first preset";

    studio.addTrack(std::nullopt, std::nullopt, "808 KIT");
    const Track& drums = studio.project().tracks[4];
    EXPECT_EQ(drums.name, "808 Kit");
    EXPECT_EQ(drums.volumeDb, -4) << "drum tracks start a little louder";

    // Engine beats preset for the sound; the preset's name stays.
    studio.addTrack(std::nullopt, EngineKind::pluck, "Acid Bass");
    const Track& mixed = studio.project().tracks[5];
    EXPECT_EQ(mixed.name, "Acid Bass");
    EXPECT_EQ(mixed.patch, Presets::firstFor(EngineKind::pluck)->patch);

    // An engine equal to the preset's keeps the preset's sound.
    studio.addTrack("Low", EngineKind::analog, "Sub Bass");
    EXPECT_EQ(studio.project().tracks[6].patch, Presets::named("Sub Bass")->patch);
    EXPECT_EQ(studio.project().tracks[6].name, "Low");

    for (int i = 0; i < 2; ++i) studio.addTrack(std::nullopt, std::nullopt, std::nullopt);
    EXPECT_EQ(studio.project().tracks[8].colorIndex, 0) << "colours cycle through eight";

    const Project before = studio.project();
    try {
        studio.addTrack(std::nullopt, std::nullopt, "acid_bass");
        ADD_FAILURE() << "addTrack reads '_' literally";
    } catch (const StudioError& e) {
        EXPECT_EQ(std::string(e.what()), Presets::unknownPresetMessage("acid_bass"));
        EXPECT_EQ(std::string(e.what()).rfind("Unknown preset 'acid_bass'. Presets: Init Saw, Fat Bass, ", 0), 0u);
    }
    EXPECT_EQ(studio.project(), before);
}

TEST(SetSynth, PresetThenEngineThenPaths) {
    Studio studio(Project("Song", 120));
    studio.addTrack("Keys", std::nullopt, std::nullopt);

    studio.setSynth(0, EngineKind::modal, "warm_pad", json{{"filter.cutoff", 99999}, {"voice.mode", "mono"}});
    const SynthPatch& patch = studio.project().tracks[0].patch;
    SynthPatch expected = Presets::named("Warm Pad")->patch;
    EXPECT_EQ(patch.engine, EngineKind::modal) << "the engine alone changes, no preset is looked up";
    EXPECT_EQ(patch.filter.cutoff, 20000) << "numbers are clamped to the catalog's range";
    EXPECT_EQ(patch.voice.mode, VoiceMode::mono);
    EXPECT_EQ(patch.ampEnv, expected.ampEnv);

    const Project before = studio.project();
    EXPECT_THROW(studio.setSynth(0, std::nullopt, "Nope", json::object()), StudioError);
    EXPECT_THROW(studio.setSynth(0, std::nullopt, std::nullopt, json{{"filter.cutof", 1}}), ParamError);
    EXPECT_THROW(studio.setSynth(0, EngineKind::fm, std::nullopt, json{{"osc1.wave", "SAW"}}), ParamError);
    EXPECT_EQ(studio.project(), before) << "a failure changes nothing, not even the engine";
}

TEST(EffectEdits, InsertMergeAndValidate) {
    Studio studio(Project("Song", 120));
    studio.addTrack("Bass", std::nullopt, std::nullopt);

    std::string first = studio.addEffect(0, EffectKind::delay, json{{"mix", 2}}, std::nullopt);
    EXPECT_EQ(first, "fx2");
    const EffectSlot& delay = studio.project().tracks[0].effects[0];
    EXPECT_TRUE(delay.enabled);
    EXPECT_EQ(delay.params.at("mix"), 1) << "clamped";
    EXPECT_EQ(delay.params.size(), EffectCatalog::defaults(EffectKind::delay).size()) << "every default is stored";

    studio.addEffect(0, EffectKind::reverb, json::object(), -5);
    studio.addEffect(0, EffectKind::eq, json::object(), 99);
    studio.addEffect(std::nullopt, EffectKind::compressor, json::object(), std::nullopt);
    std::vector<std::string> ids;
    for (const auto& slot : studio.project().tracks[0].effects) ids.push_back(slot.id);
    EXPECT_EQ(ids, (std::vector<std::string>{"fx3", "fx2", "fx4"}));
    EXPECT_EQ(studio.project().masterEffects[0].id, "fx5");

    studio.updateEffect(0, 1, json{{"mix", 0.5}}, false);
    const EffectSlot& updated = studio.project().tracks[0].effects[1];
    EXPECT_EQ(updated.params.at("mix"), 0.5);
    EXPECT_FALSE(updated.enabled);

    const Project before = studio.project();
    EXPECT_THROW(studio.addEffect(0, EffectKind::drive, json{{"volume", 1}}, std::nullopt), ParamError);
    EXPECT_THROW(studio.updateEffect(0, 1, json{{"mix", "loud"}}, true), ParamError);
    EXPECT_EQ(studio.project(), before);
}

} // namespace
} // namespace velmo
