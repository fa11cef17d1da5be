#include "Studio/Studio.h"
#include "catalog/EffectCatalog.h"
#include "base/UserError.h"
#include "catalog/Presets.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

using json = nlohmann::json;

std::string failure(const std::function<void()>& action) {
    try {
        action();
    } catch (const StudioError& e) {
        return e.what();
    }
    return "(no error)";
}

// Tracks t1 "Bass" (clips c2 at 0..4, c3 at 8..12, effects fx4 reverb, fx5 eq, fx6 eq) and t7 "1".
Project twoTracks() {
    Project p("Song", 120);
    Track bass(p.makeId("t"), "Bass", 0, SynthPatch());
    bass.clips.push_back(Clip{p.makeId("c"), "A", 0, 4, NoteList{{40, 0, 1, 0.8}}});
    bass.clips.push_back(Clip{p.makeId("c"), "B", 8, 4, {}});
    bass.effects.push_back(EffectSlot{p.makeId("fx"), EffectKind::reverb, true, {}});
    bass.effects.push_back(EffectSlot{p.makeId("fx"), EffectKind::eq, true, {}});
    bass.effects.push_back(EffectSlot{p.makeId("fx"), EffectKind::eq, true, {}});
    p.tracks.push_back(bass);
    p.tracks.push_back(Track(p.makeId("t"), "1", 1, SynthPatch()));
    return p;
}

TEST(Resolvers, TrackReferencesAndTheirMessages) {
    Studio studio(twoTracks());
    auto index = [&](const json& ref) { return studio.trackIndex(&ref); };
    EXPECT_EQ(index("t7"), 1u);
    EXPECT_EQ(index("BASS"), 0u) << "names compare lower-cased";
    EXPECT_EQ(index("1"), 1u) << "a name beats an index";
    EXPECT_EQ(index("0"), 0u) << "decimal text is an index when no name matches";
    EXPECT_EQ(index(1), 1u);
    EXPECT_EQ(index(1.9), 1u) << "numbers are truncated";

    EXPECT_EQ(failure([&] { studio.trackIndex(nullptr); }), "Missing 'track'. Pass a track id, name, or index.");
    EXPECT_EQ(failure([&] { index(5); }), "Track index 5 out of range (0..<2).");
    EXPECT_EQ(failure([&] { index(-1); }), "Track index -1 out of range (0..<2).");
    EXPECT_EQ(failure([&] { index(true); }), "'track' must be a string id/name or an index.");
    EXPECT_EQ(failure([&] { index(json::array()); }), "'track' must be a string id/name or an index.");
    EXPECT_EQ(failure([&] { index("5"); }), "No track '5'. Tracks: t1 (Bass), t7 (1).");

    Studio empty(Project("Empty", 120));
    json x = "x";
    EXPECT_EQ(failure([&] { empty.trackIndex(&x); }), "No track 'x'. Tracks: .");
}

TEST(Resolvers, EffectAndClipReferences) {
    Studio studio(twoTracks());
    auto effect = [&](std::optional<std::size_t> track, const json& ref) { return studio.effectIndex(track, &ref); };
    EXPECT_EQ(effect(0, "EQ"), 1u) << "the first slot of that kind";
    EXPECT_EQ(effect(0, "fx6"), 2u);
    EXPECT_EQ(effect(0, 0), 0u);
    EXPECT_EQ(failure([&] { effect(0, 9); }), "No effect '9' on Bass. Effects: 0: fx4 reverb, 1: fx5 eq, 2: fx6 eq.");
    EXPECT_EQ(failure([&] { effect(0, "2"); }), "No effect '2' on Bass. Effects: 0: fx4 reverb, 1: fx5 eq, 2: fx6 eq.");
    EXPECT_EQ(failure([&] { studio.effectIndex(std::nullopt, nullptr); }), "No effect 'nil' on master. Effects: .");

    json c3 = "c3", c9 = "c9", number = 3;
    EXPECT_EQ(studio.clipLocation(&c3), (ClipLocation{0, 1}));
    EXPECT_EQ(failure([&] { studio.clipLocation(&c9); }), "No clip 'c9'.");
    EXPECT_EQ(failure([&] { studio.clipLocation(&number); }), "Missing 'clip' id (e.g. \"c4\").");
    EXPECT_EQ(studio.clip("c2")->name, "A");
    EXPECT_EQ(studio.clip("c9"), nullptr);
}

TEST(TrackOperations, MoveRemoveDuplicateUnmute) {
    Studio studio(twoTracks());
    studio.moveTrack(0, 99);
    EXPECT_EQ(studio.project().tracks[1].id, "t1") << "a target past the end puts the track last";

    std::string copy = studio.duplicateTrack(1);
    EXPECT_EQ(copy, "t8");
    const Track& dup = studio.project().tracks[2];
    EXPECT_EQ(dup.name, "Bass copy");
    EXPECT_EQ(dup.colorIndex, 1);
    EXPECT_EQ(dup.clips[0].id, "c9");
    EXPECT_EQ(dup.effects[2].id, "fx13");
    EXPECT_EQ(studio.project().nextId, 14);
    EXPECT_EQ(dup.clips[0].notes, studio.project().tracks[1].clips[0].notes);
    EXPECT_EQ(studio.selectedTrackID(), "t1") << "duplicating does not move the selection";

    studio.updateTrack(0, std::nullopt, [](Track& t) { t.mute = true; });
    studio.updateTrack(2, std::nullopt, [](Track& t) { t.solo = true; });
    studio.unmuteAll();
    for (const auto& t : studio.project().tracks) EXPECT_FALSE(t.mute || t.solo);
    studio.undo();
    EXPECT_TRUE(studio.project().tracks[2].solo);
    studio.redo();
    Studio quiet(twoTracks());
    quiet.unmuteAll();
    EXPECT_FALSE(quiet.canUndo()) << "nothing muted or soloed: no undo step";

    studio.setMIDIOut(0, MIDIRoute{"Synth", 2, false});
    EXPECT_EQ(studio.project().tracks[0].midiOut->channel, 2);
    studio.removeTrack(1);  // the selected t1, with the selected clip c2
    EXPECT_EQ(studio.selectedTrackID(), "t7");
    EXPECT_FALSE(studio.selectedClipID().has_value());
}

TEST(EffectOperations, MoveAndRemoveSlots) {
    Studio studio(twoTracks());
    studio.moveEffect(0, 0, -1);
    EXPECT_FALSE(studio.canUndo()) << "moving the first effect up is harmless and no step";
    studio.moveEffect(0, 0, 2);
    EXPECT_EQ(studio.project().tracks[0].effects[2].id, "fx4");
    EXPECT_EQ(studio.project().tracks[0].effects[0].id, "fx6");
    studio.removeEffect(0, 1);
    EXPECT_EQ(studio.project().tracks[0].effects.size(), 2u);
}

TEST(ClipOperations, DefaultsAndClamps) {
    Studio studio(twoTracks());
    std::string id = studio.addClip(0, std::nullopt, std::nullopt, std::nullopt, {});
    const Clip* added = studio.clip(id);
    EXPECT_EQ(added->start, 12) << "after the last clip's end";
    EXPECT_EQ(added->length, 16);
    EXPECT_EQ(added->name, "Clip 3");
    EXPECT_EQ(studio.selectedClipID(), id);

    studio.mutate([](Project& p) { p.beatsPerBar = 3; });
    std::string short_ = studio.addClip(1, -3, 0, "Tiny", {{64, 2, 1, 1}, {60, 0, 1, 1}});
    EXPECT_EQ(studio.clip(short_)->notes.front().pitch, 60) << "the notes in order";
    EXPECT_EQ(studio.clip(short_)->start, 0);
    EXPECT_EQ(studio.clip(short_)->length, 0.25);
    EXPECT_EQ(studio.selectedTrackID(), "t7");
    EXPECT_EQ(studio.clip(studio.addClip(1, std::nullopt, std::nullopt, std::nullopt, {}))->length, 12) << "4 bars of 3/4";

    studio.updateClip("c2", std::nullopt, [](Clip& c) { c.start = -1; c.length = 0.1; });
    EXPECT_EQ(studio.clip("c2")->start, 0);
    EXPECT_EQ(studio.clip("c2")->length, 0.25);
    studio.updateClip("c2", std::nullopt, [](Clip& c) { c.start = 20; });
    EXPECT_EQ(studio.project().tracks[0].clips.back().id, "c2") << "clips stay sorted by start";
    EXPECT_EQ(failure([&] { studio.updateClip("c99", std::nullopt, [](Clip&) {}); }), "No clip 'c99'.");
}

TEST(ClipOperations, MoveDuplicateRemoveAndNotes) {
    Studio studio(twoTracks());
    studio.moveClip("c2", 6, 1);
    auto at = studio.project().clipLocation("c2");
    ASSERT_TRUE(at);
    EXPECT_EQ(at->track, 1u);
    EXPECT_EQ(studio.clip("c2")->start, 6);
    EXPECT_EQ(studio.clip("c2")->notes.size(), 1u) << "a move keeps id and notes";

    std::string dup = studio.duplicateClip("c3", std::nullopt, std::nullopt);
    EXPECT_EQ(studio.clip(dup)->start, 12) << "directly behind the original";
    EXPECT_EQ(studio.selectedClipID(), dup);
    EXPECT_EQ(studio.clip(studio.duplicateClip("c3", -2, std::nullopt))->start, 0) << "no clip starts before the downbeat";

    studio.editNotes("c2", std::nullopt, [](NoteList& notes, double length) {
        EXPECT_EQ(length, 4);
        notes.push_back({50, 0, 1, 0.1});
        notes.push_back({45, 2, 1, 0.2});
        notes.push_back({45, 0, 1, 0.3});
        notes.push_back({45, 0, 1, 0.4});
    });
    std::vector<std::pair<int, double>> order;
    for (const auto& n : studio.clip("c2")->notes) order.emplace_back(n.pitch, n.velocity);
    EXPECT_EQ(order, (std::vector<std::pair<int, double>>{{40, 0.8}, {45, 0.3}, {45, 0.4}, {50, 0.1}, {45, 0.2}}))
        << "by start, then pitch, stable for ties";

    studio.removeClip("c2");
    EXPECT_EQ(studio.clip("c2"), nullptr);
}

TEST(ClipOperations, LoopMarkers) {
    Studio studio(twoTracks());
    studio.setLoop(std::nullopt, 8, 0);
    EXPECT_EQ(studio.project().loopStart, 8);
    EXPECT_EQ(studio.project().loopEnd, 8.25);
    studio.setLoop(false, 20, std::nullopt);
    EXPECT_FALSE(studio.project().loopEnabled);
    EXPECT_EQ(studio.project().loopEnd, 8.25) << "moving the start past the end leaves the end";
    studio.setLoop(std::nullopt, -4, std::nullopt);
    EXPECT_EQ(studio.project().loopStart, 0);
}

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
    const std::string unknown = failure([&] { studio.addTrack(std::nullopt, std::nullopt, "acid_bass"); });
    EXPECT_EQ(unknown, Presets::unknownPresetMessage("acid_bass")) << "addTrack reads '_' literally";
    EXPECT_TRUE(unknown.starts_with("Unknown preset 'acid_bass'. Presets: Init Saw, Fat Bass, ")) << unknown;
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

TEST(StudioDeathTest, InvalidIndexNamesTheOperation) {
    Studio studio(twoTracks());
    EXPECT_DEATH(studio.removeTrack(7), "Studio.removeTrack");
    EXPECT_DEATH(studio.addClip(2, 0, 4, std::nullopt, {}), "Studio.addClip");
}

} // namespace
} // namespace velmo
