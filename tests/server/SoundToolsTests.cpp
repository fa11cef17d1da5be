// The sound tools through MCPTools::call on a real Studio: their results, the clamping they
// promise, the error texts an agent reads most, and that a failing call changes nothing.
#include "ToolTestSupport.h"
#include "catalog/EffectCatalog.h"
#include "catalog/Presets.h"
#include "catalog/SynthCatalog.h"
#include "support/MemoryMIDIPlatform.h"

using namespace velmo;
using nlohmann::json;
using velmo::testing::expectFields;

namespace {

struct SoundTools : velmo::testing::ToolFixture {
    SoundTools() : ToolFixture(Project("Untitled", 120)) {}
};

} // namespace

TEST_F(SoundTools, TracksAreMadeClampedMovedCopiedAndRemoved) {
    EXPECT_EQ(result("add_track", {{"preset", "acid bass"}, {"volume_db", 20}, {"pan", "-3"}}),
              json({{"track_id", "t1"}, {"name", "Acid Bass"}, {"engine", "analog"}, {"index", 0}}));
    EXPECT_EQ(studio.project().tracks[0].volumeDb, 6);
    EXPECT_EQ(studio.project().tracks[0].pan, -1);
    EXPECT_EQ(result("add_track", {{"engine", "drums"}})["name"], "Drums");
    EXPECT_EQ(result("add_track", {{"name", "Keys"}, {"engine", 7}})["engine"], "analog") << "a number is no engine";

    fails("add_track", {{"engine", "Drums"}}, "Unknown engine 'Drums'.");
    const std::string unknown = failure("add_track", {{"preset", "Acid"}});
    EXPECT_TRUE(unknown.starts_with("Error: Unknown preset 'Acid'. Presets: Init Saw, Fat Bass, Acid Bass, ") &&
                unknown.ends_with(", 909 Kit, Lo-Fi Kit.")) << unknown;
    fails("update_track", {{"track", "Bass"}, {"mute", true}}, "No track 'Bass'. Tracks: t1 (Acid Bass), t2 (Drums), t3 (Keys).");
    fails("remove_track", {{"track", 3}}, "Track index 3 out of range (0..<3).");
    fails("duplicate_track", json::object(), "Missing 'track'. Pass a track id, name, or index.");

    json view = result("update_track", {{"track", "acid BASS"}, {"volume_db", -100}, {"pan", "0.25"}, {"mute", "yes"},
                                        {"solo", true}, {"color", 9}, {"name", "Bass"}, {"index", 99}});
    EXPECT_EQ(view["index"], 2) << "an index past the end moves the track last";
    expectFields(view, {{"name", "Bass"}, {"volume_db", -60}, {"pan", 0.25}, {"mute", true}, {"solo", true},
                        {"midi_out", nullptr}, {"clips", json::array()}});
    EXPECT_EQ(studio.project().tracks[2].colorIndex, 1);
    result("update_track", {{"track", "t1"}, {"color", -1}});
    EXPECT_EQ(studio.project().tracks[2].colorIndex, 7);

    EXPECT_EQ(result("duplicate_track", {{"track", "Bass"}}), json({{"track_id", "t4"}}));
    EXPECT_EQ(studio.project().tracks[3].name, "Bass copy");

    EXPECT_EQ(result("unmute_all"),
              json::parse(R"({"tracks":[{"name":"Drums","mute":false,"solo":false},
                  {"name":"Keys","mute":false,"solo":false},{"name":"Bass","mute":false,"solo":false},
                  {"name":"Bass copy","mute":false,"solo":false}]})"));
    EXPECT_EQ(result("remove_track", {{"track", "0"}}), json({{"removed", "Drums"}, {"tracks_left", 3}}));

    json presets = result("list_presets");
    ASSERT_EQ(presets.size(), Presets::all().size());
    EXPECT_EQ(presets[0], json({{"name", "Init Saw"}, {"engine", "analog"}, {"category", "Lead"}}));
    EXPECT_EQ(presets[28], json({{"name", "808 Kit"}, {"engine", "drums"}, {"category", "Drums"}}));
}

TEST_F(SoundTools, SetSynthReportsWhatWasAppliedAndFailsWhole) {
    result("add_track", {{"name", "Lead"}});
    json applied = result("set_synth", {{"track", "Lead"}, {"preset", "warm_pad"},
                                        {"params", {{"filter.cutoff", 1}, {"filter", {{"resonance", 7}}}, {"voice.polyphony", "3.6"},
                                                    {"analog.osc1.wave", "SAW"}, {"lfo1.sync", "yes"},
                                                    {"additive.harmonics", {0.5, 2}}}}});
    EXPECT_EQ(applied, json::parse(R"({"track":"t1","engine":"analog","applied":{
        "filter.cutoff":20.0,"filter.resonance":1.0,"voice.polyphony":4.0,"analog.osc1.wave":"saw","lfo1.sync":true,
        "additive.harmonics.0":0.5,"additive.harmonics.1":1.0}})"));
    EXPECT_EQ(studio.project().tracks[0].patch.filter.cutoff, 20);

    result("set_synth", {{"track", 0}, {"engine", "fm"}});
    EXPECT_EQ(studio.project().tracks[0].patch.engine, EngineKind::fm);
    EXPECT_EQ(studio.project().tracks[0].patch.filter.cutoff, 20) << "switching engine keeps the rest";

    // Preset, engine and params are one edit: a bad path keeps the old preset and engine too.
    fails("set_synth", {{"track", "t1"}, {"preset", "FM Bell"}, {"engine", "pluck"}, {"params", {{"filter.cutof", 9}}}},
          "Unknown synth parameter 'filter.cutof'. Call describe_synth for the full list.");
    fails("set_synth", {{"track", "t1"}, {"params", {{"analog.osc2.wave", "sawtooth"}}}},
          "'analog.osc2.wave' must be one of: sine, triangle, saw, square, pulse, noise.");
    fails("set_synth", {{"track", "t1"}, {"params", {{"filter.type", 2}}}},
          "'filter.type' must be one of: off, lowpass12, lowpass24, ladder, highpass12, bandpass, notch.");
    fails("set_synth", {{"track", "t1"}, {"params", {{"filter.cutoff", "bright"}}}},
          "'filter.cutoff' expects a number between 20.0 and 20000.0.");
    fails("set_synth", {{"track", "t1"}, {"preset", "Warm"}}, Presets::unknownPresetMessage("Warm"));
    fails("set_synth", {{"track", "t1"}, {"engine", "FM"}}, "Unknown engine 'FM'.");
    fails("set_synth", {{"track", "t9"}, {"engine", "fm"}}, "No track 't9'. Tracks: t1 (Lead).");
}

TEST_F(SoundTools, EffectsOnTracksAndTheMasterBus) {
    result("add_track", {{"name", "Bass"}});

    fails("add_effect", {{"kind", "eq"}}, "Missing 'track'. Pass a track id, name, or index.");  // no target is no master
    json added = result("add_effect", {{"target", "MASTER"}, {"kind", "reverb"}, {"params", {{"mix", 2}}}});
    EXPECT_EQ(added["effect_id"], "fx2");
    EXPECT_EQ(added["chain"][0]["params"]["mix"], 1) << "clamped to the range";
    EXPECT_EQ(studio.project().masterEffects.size(), 1u);
    added = result("add_effect", {{"target", "master"}, {"kind", "eq"}, {"position", "0"}});
    EXPECT_EQ(added["chain"][0]["kind"], "eq");
    EXPECT_EQ(added["chain"][1]["kind"], "reverb");
    EXPECT_TRUE(studio.project().tracks[0].effects.empty());

    added = result("add_effect", {{"target", "bass"}, {"kind", "delay"}, {"params", {{"time", "0.5"}}}});
    EXPECT_EQ(added["chain"], json::parse(R"([{"id":"fx4","kind":"delay","enabled":true,
        "params":{"time":0.5,"feedback":0.4,"tone":0.6,"pingpong":1.0,"mix":0.3}}])"));

    fails("add_effect", {{"target", "Bass"}, {"kind", "Reverb"}},
          "kind must be one of: drive, bitcrush, chorus, phaser, delay, reverb, eq, compressor, autofilter.");
    fails("add_effect", {{"target", "master"}, {"kind", "reverb"}, {"params", {{"wet", 0.5}}}},
          "Effect 'reverb' has no parameter 'wet'. Valid: size, damping, width, mix");
    fails("add_effect", {{"target", "Lead"}, {"kind", "reverb"}}, "No track 'Lead'. Tracks: t1 (Bass).");
    fails("update_effect", {{"target", "Bass"}, {"effect", "reverb"}, {"enabled", false}},
          "No effect 'reverb' on Bass. Effects: 0: fx4 delay.");
    fails("remove_effect", {{"target", "master"}, {"effect", 5}}, "No effect '5' on master. Effects: 0: fx3 eq, 1: fx2 reverb.");
    fails("update_effect", {{"target", "Bass"}, {"effect", "delay"}, {"params", {{"mix", "lots"}}}},
          "Effect parameter 'mix' expects a number.");

    EXPECT_EQ(result("update_effect", {{"target", 0}, {"effect", "Delay"}, {"params", {{"feedback", 3}}},
                                       {"enabled", "false"}}),
              json::parse(R"({"id":"fx4","kind":"delay","enabled":false,
                  "params":{"time":0.5,"feedback":0.95,"tone":0.6,"pingpong":1.0,"mix":0.3}})"));
    EXPECT_EQ(result("remove_effect", {{"target", "Master"}, {"effect", "fx3"}})["chain"].size(), 1u);
    EXPECT_EQ(studio.project().masterEffects[0].id, "fx2");
}

TEST_F(SoundTools, DescribeSynthListsEveryCatalogEntry) {
    const std::string text = reply("describe_synth")["content"][0]["text"];
    EXPECT_EQ(text.rfind("# Velmo synth reference\n\n## Engines\n- analog: Virtual-analog subtractive: 2 band-limited", 0), 0u);

    // Every parameter and effect kind is listed; the exact lines below pin the formats.
    for (const auto& row : SynthCatalog::params()) EXPECT_NE(text.find("\n- " + row.path + ": "), std::string::npos) << row.path;
    for (EffectKind kind : allCases<EffectKind>())
        EXPECT_NE(text.find("\n- " + std::string(toString(kind)) + ": " + std::string(EffectCatalog::summary(kind)) + ". Params: "),
                  std::string::npos) << toString(kind);

    for (const char* line :
         {"\n- filter.cutoff: number 20..20000 Hz (log)\n", "\n- analog.osc1.octave: integer -3..3\n",
          "\n- fm.ops.0.attack: number 0.0005..10 s (log)\n",
          "\n- analog.osc1.wave: one of sine, triangle, saw, square, pulse, noise\n",
          "\n- lfo1.retrigger: boolean - Restart phase on each note\n",
          "\n- additive.harmonics.15: number 0..1 - Level of partial 16\n",
          "\nMod sources: none, lfo1, lfo2, modEnv, ampEnv, velocity, keytrack, random\nMod destinations: none, pitch, "
          "cutoff, resonance, volume, pan, pulseWidth, wavetablePosition, fmAmount, osc2Pitch, noise, lfo1Rate, "
          "lfo2Rate. wavetablePosition also drives additive brightness.\n",
          "\n## Effects (add_effect / update_effect params)\n- drive: Tube-style tanh saturation with tone control. "
          "Params: drive 0..1 (default 0.3); tone 0..1 (default 0.7); level -24..12 dB (default 0); mix 0..1 (default 1)\n",
          "time 0.0625..4 beats (default 0.75) [Delay time in beats (0.75 = dotted eighth)]",
          "\n- drums: 808 Kit, 909 Kit, Lo-Fi Kit\n", "\n## Drum map (drums engine)\n- 35 Kick 2\n- 36 Kick: kick, bd, bass_drum\n",
          "\n- 46 Open Hat: open_hat, ohh, oh\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line;

    const std::string drums = reply("describe_synth", {{"engine", "drums"}})["content"][0]["text"];
    EXPECT_EQ(drums.find("- analog."), std::string::npos);
    EXPECT_NE(drums.find("- drums.kickTune: number 30..120 Hz\n"), std::string::npos);
    for (const auto& row : SynthCatalog::params())
        EXPECT_TRUE(row.engine || drums.find("- " + row.path + ": ") != std::string::npos) << row.path;
    EXPECT_EQ(reply("describe_synth", {{"engine", "Drums"}})["content"][0]["text"], text)
        << "an engine that is no raw name counts as absent";
}

TEST_F(SoundTools, MIDIRoutingWithAndWithoutAHub) {
    result("add_track", {{"name", "Bass"}});
    fails("list_midi_devices", json::object(), "MIDI is not available in this session.");
    fails("set_midi_output", {{"track", "Bass"}, {"device", "moog"}}, "MIDI is not available in this session.");
    EXPECT_EQ(result("set_midi_output", {{"track", "Bass"}, {"device", "None"}}),
              json({{"track", "t1"}, {"midi_out", nullptr}}));

    auto platform = std::make_shared<MemoryMIDIPlatform>();
    platform->addDestination("Moog Sub 37");
    platform->addSource("Keystation");
    ASSERT_TRUE(studio.startMIDI(platform, [&](std::function<void()> task) { queue.post(std::move(task)); }));

    fails("set_midi_output", {{"track", "Bass"}}, "Missing device.");
    fails("set_midi_output", {{"track", "Bass"}, {"device", "prophet"}},
          "No MIDI output matching 'prophet'. Available: Velmo Virtual Out, Moog Sub 37");
    EXPECT_EQ(result("set_midi_output", {{"track", 0}, {"device", "sub 3"}, {"channel", 20}, {"play_internal", "on"}}),
              json::parse(R"({"track":"t1","midi_out":{"device":"Moog Sub 37","channel":16,"play_internal":true,
                  "connected":true}})"));
    EXPECT_EQ(result("list_midi_devices"),
              json::parse(R"({"outputs":[{"name":"Velmo Virtual Out","virtual":true},{"name":"Moog Sub 37","virtual":false}],
                  "inputs":["Keystation"],
                  "routes":[{"track":"t1","name":"Bass","device":"Moog Sub 37","channel":16,"play_internal":true,
                             "connected":true}]})"));
    result("set_midi_output", {{"track", "Bass"}, {"device", "NONE"}});
    EXPECT_FALSE(studio.project().tracks[0].midiOut.has_value());
}
