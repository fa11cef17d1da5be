// The JSON views the tools answer with: 4-place rounding with halves away from zero, the keys
// that are always there (null or empty rather than missing), and a patch showing only what sounds.
#include "server/JSONViews.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

using json = nlohmann::json;

TEST(JSONViews, RoundingTakesHalvesAwayFromZero) {
    for (auto [value, places, rounded] : {std::tuple{0.25, 1, 0.3}, {-0.25, 1, -0.3}, {0.125, 2, 0.13}, {1.23456789, 4, 1.2346}})
        EXPECT_EQ(roundTo(value, places), rounded) << value;
}

TEST(JSONViews, ClipWithAndWithoutNotes) {
    Clip clip{"c4", "Riff", 1.00004, 2.33333, NoteList{{64, 0.5, 0.123456, 0.8}, {48, 0, 1, 0.9}}};
    EXPECT_EQ(clipJSON(clip, false), (json{{"id", "c4"}, {"name", "Riff"}, {"start", 1.0}, {"length", 2.3333}, {"end", 3.3334},
                                           {"note_count", 2}, {"pitch_range", "C3\u2013E4"}}));
    json full = clipJSON(clip, true);
    ASSERT_EQ(full["notes"].size(), 2u);
    EXPECT_EQ(full["notes"][0], (json{{"pitch", 64}, {"name", "E4"}, {"start", 0.5}, {"duration", 0.1235}, {"velocity", 0.8}}))
        << "notes stay in stored order";

    json empty = clipJSON(Clip{"c5", "Empty", 0, 4, {}}, true);
    EXPECT_EQ(empty["notes"], json::array()) << "the list is there even when empty";
    EXPECT_FALSE(empty.contains("pitch_range"));
}

TEST(JSONViews, TrackAndProject) {
    Project p("Song", 97.123456);
    p.masterVolumeDb = -3.25;
    Track t("t1", "Bass", 0, SynthPatch());
    t.volumeDb = -6.05;
    t.pan = 0.333333;
    t.effects.push_back(EffectSlot{"fx2", EffectKind::reverb, false, {{"mix", 0.123456}}});
    t.clips.push_back(Clip{"c3", "A", 8, 4, NoteList{{60, 0, 1, 1}}});
    p.tracks.push_back(t);
    Track routed("t4", "Gear", 1, SynthPatch());
    routed.midiOut = MIDIRoute{"Synth Module", 3, true};
    p.tracks.push_back(routed);

    json track = trackJSON(p.tracks[0], 0, false, nullptr);
    EXPECT_EQ(track["volume_db"], -6.1);
    EXPECT_EQ(track["pan"], 0.3333);
    EXPECT_TRUE(track["midi_out"].is_null()) << "no route is null, not a missing key";
    EXPECT_EQ(track["effects"][0], (json{{"id", "fx2"}, {"kind", "reverb"}, {"enabled", false}, {"params", {{"mix", 0.1235}}}}));
    EXPECT_FALSE(track["clips"][0].contains("notes"));

    json view = projectJSON(p, true, {true, 5.123456}, std::nullopt, nullptr);
    EXPECT_EQ(view["tempo"], 97.123456) << "tempo is not rounded";
    EXPECT_EQ(view["song_end_beat"], 12.0);
    EXPECT_EQ(view["master"]["volume_db"], -3.3);
    EXPECT_EQ(view["transport"], (json{{"playing", true}, {"beat", 5.1235}}));
    EXPECT_EQ(view["tracks"][1]["midi_out"],
              (json{{"device", "Synth Module"}, {"channel", 3}, {"play_internal", true}, {"connected", false}}))
        << "no hub: never connected";
}

TEST(JSONViews, PatchShowsOnlyWhatSounds) {
    SynthPatch patch;
    patch.engine = EngineKind::fm;
    json quiet = patchJSON(patch);
    EXPECT_EQ(quiet["mod"], json::array()) << "every slot on none: an empty list";
    for (const char* key : {"engine", "filter", "ampEnv", "modEnv", "lfo1", "lfo2", "voice", "fm"}) EXPECT_TRUE(quiet.contains(key)) << key;
    EXPECT_EQ(quiet.size(), 9u) << "no other engine's section";

    patch.mod[1] = {ModSource::lfo1, ModDestination::none, 0.5};
    patch.mod[4] = {ModSource::velocity, ModDestination::cutoff, -0.25};
    EXPECT_EQ(patchJSON(patch)["mod"], (json::array({{{"slot", 4}, {"source", "velocity"}, {"destination", "cutoff"}, {"amount", -0.25}}})));
}

} // namespace
} // namespace velmo
