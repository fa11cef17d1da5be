// The sound tools through MCPTools::call on a real Studio: their results, the clamping they
// promise, the error texts an agent reads most, and that a failing call changes nothing.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "catalog/EffectCatalog.h"
#include "catalog/Presets.h"
#include "catalog/SynthCatalog.h"
#include "midi/MemoryMIDIPlatform.h"
#include "server/MCPTools.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace velmo;
using nlohmann::json;

namespace {

struct Rig {
    HeadlessMainQueue queue;
    Studio studio{Project("Untitled", 120)};
    MCPTools tools{studio, queue};

    json reply(const std::string& name, json arguments = json::object()) {
        json out;
        tools.call(name, std::move(arguments), [&](json r) { out = std::move(r); });
        return out;
    }
    // The parsed result of a call that must succeed.
    json ok(const std::string& name, json arguments = json::object()) {
        json r = reply(name, arguments);
        EXPECT_EQ(r["isError"], false) << name << " " << arguments.dump() << ": " << r["content"][0]["text"];
        return json::parse(r["content"][0]["text"].get<std::string>(), nullptr, false);
    }
    // A call that must fail with exactly `message` and leave the project as it was.
    void fails(const std::string& name, json arguments, const std::string& message) {
        const Project before = studio.project();
        json r = reply(name, arguments);
        EXPECT_EQ(r["isError"], true) << name << " " << arguments.dump();
        EXPECT_EQ(r["content"][0]["text"], "Error: " + message) << name << " " << arguments.dump();
        EXPECT_TRUE(studio.project() == before) << name << " " << arguments.dump() << " changed the project";
    }
};

} // namespace

TEST(SoundTools, AddEffectDescribesTheKinds) {
    Rig rig;
    const auto names = rig.tools.toolNames();
    const auto at = std::find(names.begin(), names.end(), "add_effect") - names.begin();
    ASSERT_LT(at, static_cast<std::ptrdiff_t>(names.size()));
    EXPECT_EQ(rig.tools.definitions()[at]["description"],
              "Insert an effect on a track or the master bus. Kinds: drive, bitcrush, chorus, phaser, delay, reverb, "
              "eq, compressor, autofilter. See describe_synth for each kind's params.");
}

TEST(SoundTools, TracksAreMadeClampedMovedCopiedAndRemoved) {
    Rig rig;
    EXPECT_EQ(rig.ok("add_track", {{"preset", "acid bass"}, {"volume_db", 20}, {"pan", "-3"}}),
              json({{"track_id", "t1"}, {"name", "Acid Bass"}, {"engine", "analog"}, {"index", 0}}));
    EXPECT_EQ(rig.studio.project().tracks[0].volumeDb, 6);
    EXPECT_EQ(rig.studio.project().tracks[0].pan, -1);
    EXPECT_EQ(rig.ok("add_track", {{"engine", "drums"}})["name"], "Drums");
    EXPECT_EQ(rig.ok("add_track", {{"name", "Keys"}, {"engine", 7}})["engine"], "analog") << "a number is no engine";

    rig.fails("add_track", {{"engine", "Drums"}}, "Unknown engine 'Drums'.");
    rig.fails("add_track", {{"preset", "Acid"}}, Presets::unknownPresetMessage("Acid"));
    const std::string unknown = Presets::unknownPresetMessage("Acid");
    EXPECT_EQ(unknown.rfind("Unknown preset 'Acid'. Presets: Init Saw, Fat Bass, Acid Bass, ", 0), 0u) << unknown;
    EXPECT_TRUE(unknown.ends_with(", 909 Kit, Lo-Fi Kit.")) << unknown;
    rig.fails("update_track", {{"track", "Bass"}, {"mute", true}},
              "No track 'Bass'. Tracks: t1 (Acid Bass), t2 (Drums), t3 (Keys).");
    rig.fails("remove_track", {{"track", 3}}, "Track index 3 out of range (0..<3).");
    rig.fails("duplicate_track", json::object(), "Missing 'track'. Pass a track id, name, or index.");

    json view = rig.ok("update_track", {{"track", "acid BASS"}, {"volume_db", -100}, {"pan", "0.25"}, {"mute", "yes"},
                                        {"solo", true}, {"color", 9}, {"name", "Bass"}, {"index", 99}});
    EXPECT_EQ(view["index"], 2) << "an index past the end moves the track last";
    EXPECT_EQ(view["name"], "Bass");
    EXPECT_EQ(view["volume_db"], -60);
    EXPECT_EQ(view["pan"], 0.25);
    EXPECT_EQ(view["midi_out"], nullptr);
    EXPECT_EQ(view["clips"], json::array());
    EXPECT_EQ(rig.studio.project().tracks[2].colorIndex, 1);
    rig.ok("update_track", {{"track", "t1"}, {"color", -1}});
    EXPECT_EQ(rig.studio.project().tracks[2].colorIndex, 7);

    EXPECT_EQ(rig.ok("duplicate_track", {{"track", "Bass"}}), json({{"track_id", "t4"}}));
    EXPECT_EQ(rig.studio.project().tracks[3].name, "Bass copy");

    EXPECT_EQ(rig.ok("unmute_all"),
              json::parse(R"({"tracks":[{"name":"Drums","mute":false,"solo":false},
                  {"name":"Keys","mute":false,"solo":false},{"name":"Bass","mute":false,"solo":false},
                  {"name":"Bass copy","mute":false,"solo":false}]})"));
    EXPECT_EQ(rig.ok("remove_track", {{"track", "0"}}), json({{"removed", "Drums"}, {"tracks_left", 3}}));

    json presets = rig.ok("list_presets");
    ASSERT_EQ(presets.size(), Presets::all().size());
    EXPECT_EQ(presets[0], json({{"name", "Init Saw"}, {"engine", "analog"}, {"category", "Lead"}}));
    EXPECT_EQ(presets[28], json({{"name", "808 Kit"}, {"engine", "drums"}, {"category", "Drums"}}));
}

TEST(SoundTools, SetSynthReportsWhatWasAppliedAndFailsWhole) {
    Rig rig;
    rig.ok("add_track", {{"name", "Lead"}});
    json result = rig.ok("set_synth", {{"track", "Lead"},
                                       {"preset", "warm_pad"},
                                       {"params", {{"filter.cutoff", 1},
                                                   {"filter", {{"resonance", 7}}},
                                                   {"voice.polyphony", "3.6"},
                                                   {"analog.osc1.wave", "SAW"},
                                                   {"lfo1.sync", "yes"},
                                                   {"additive.harmonics", {0.5, 2}}}}});
    EXPECT_EQ(result, json::parse(R"({"track":"t1","engine":"analog","applied":{
        "filter.cutoff":20.0,"filter.resonance":1.0,"voice.polyphony":4.0,"analog.osc1.wave":"saw","lfo1.sync":true,
        "additive.harmonics.0":0.5,"additive.harmonics.1":1.0}})"));
    EXPECT_EQ(rig.studio.project().tracks[0].patch.filter.cutoff, 20);

    rig.ok("set_synth", {{"track", 0}, {"engine", "fm"}});
    EXPECT_EQ(rig.studio.project().tracks[0].patch.engine, EngineKind::fm);
    EXPECT_EQ(rig.studio.project().tracks[0].patch.filter.cutoff, 20) << "switching engine keeps the rest";

    // Preset, engine and params are one edit: a bad path keeps the old preset and engine too.
    rig.fails("set_synth", {{"track", "t1"}, {"preset", "FM Bell"}, {"engine", "pluck"}, {"params", {{"filter.cutof", 9}}}},
              "Unknown synth parameter 'filter.cutof'. Call describe_synth for the full list.");
    rig.fails("set_synth", {{"track", "t1"}, {"params", {{"analog.osc2.wave", "sawtooth"}}}},
              "'analog.osc2.wave' must be one of: sine, triangle, saw, square, pulse, noise.");
    rig.fails("set_synth", {{"track", "t1"}, {"params", {{"filter.type", 2}}}},
              "'filter.type' must be one of: off, lowpass12, lowpass24, ladder, highpass12, bandpass, notch.");
    rig.fails("set_synth", {{"track", "t1"}, {"params", {{"filter.cutoff", "bright"}}}},
              "'filter.cutoff' expects a number between 20.0 and 20000.0.");
    rig.fails("set_synth", {{"track", "t1"}, {"preset", "Warm"}}, Presets::unknownPresetMessage("Warm"));
    rig.fails("set_synth", {{"track", "t1"}, {"engine", "FM"}}, "Unknown engine 'FM'.");
    rig.fails("set_synth", {{"track", "t9"}, {"engine", "fm"}}, "No track 't9'. Tracks: t1 (Lead).");
}

TEST(SoundTools, EffectsOnTracksAndTheMasterBus) {
    Rig rig;
    rig.ok("add_track", {{"name", "Bass"}});

    EXPECT_THROW(rig.tools.effectTarget(nullptr), StudioError) << "no target is no master";
    const json master = "MaStEr";
    EXPECT_EQ(rig.tools.effectTarget(&master), std::nullopt);
    const json zero = 0;
    EXPECT_EQ(rig.tools.effectTarget(&zero), 0u);

    json added = rig.ok("add_effect", {{"target", "MASTER"}, {"kind", "reverb"}, {"params", {{"mix", 2}}}});
    EXPECT_EQ(added["effect_id"], "fx2");
    EXPECT_EQ(added["chain"][0]["params"]["mix"], 1) << "clamped to the range";
    EXPECT_EQ(rig.studio.project().masterEffects.size(), 1u);
    added = rig.ok("add_effect", {{"target", "master"}, {"kind", "eq"}, {"position", "0"}});
    EXPECT_EQ(added["chain"][0]["kind"], "eq");
    EXPECT_EQ(added["chain"][1]["kind"], "reverb");
    EXPECT_TRUE(rig.studio.project().tracks[0].effects.empty());

    added = rig.ok("add_effect", {{"target", "bass"}, {"kind", "delay"}, {"params", {{"time", "0.5"}}}});
    EXPECT_EQ(added["chain"], json::parse(R"([{"id":"fx4","kind":"delay","enabled":true,
        "params":{"time":0.5,"feedback":0.4,"tone":0.6,"pingpong":1.0,"mix":0.3}}])"));

    rig.fails("add_effect", {{"target", "Bass"}, {"kind", "Reverb"}},
              "kind must be one of: drive, bitcrush, chorus, phaser, delay, reverb, eq, compressor, autofilter.");
    rig.fails("add_effect", {{"target", "master"}, {"kind", "reverb"}, {"params", {{"wet", 0.5}}}},
              "Effect 'reverb' has no parameter 'wet'. Valid: size, damping, width, mix");
    rig.fails("add_effect", {{"target", "Lead"}, {"kind", "reverb"}}, "No track 'Lead'. Tracks: t1 (Bass).");
    rig.fails("update_effect", {{"target", "Bass"}, {"effect", "reverb"}, {"enabled", false}},
              "No effect 'reverb' on Bass. Effects: 0: fx4 delay.");
    rig.fails("remove_effect", {{"target", "master"}, {"effect", 5}},
              "No effect '5' on master. Effects: 0: fx3 eq, 1: fx2 reverb.");
    rig.fails("update_effect", {{"target", "Bass"}, {"effect", "delay"}, {"params", {{"mix", "lots"}}}},
              "Effect parameter 'mix' expects a number.");

    EXPECT_EQ(rig.ok("update_effect", {{"target", "t1"}, {"effect", "Delay"}, {"params", {{"feedback", 3}}},
                                       {"enabled", "false"}}),
              json::parse(R"({"id":"fx4","kind":"delay","enabled":false,
                  "params":{"time":0.5,"feedback":0.95,"tone":0.6,"pingpong":1.0,"mix":0.3}})"));
    EXPECT_EQ(rig.ok("remove_effect", {{"target", "Master"}, {"effect", "fx3"}})["chain"].size(), 1u);
    EXPECT_EQ(rig.studio.project().masterEffects[0].id, "fx2");
}

TEST(SoundTools, DescribeSynthListsEveryCatalogEntry) {
    Rig rig;
    json r = rig.reply("describe_synth");
    ASSERT_EQ(r["isError"], false);
    const std::string text = r["content"][0]["text"];
    EXPECT_EQ(text, MCPTools::describe(std::nullopt)) << "returned verbatim";
    EXPECT_EQ(text.rfind("# Velmo synth reference\n\n## Engines\n- analog: Virtual-analog subtractive: 2 band-limited", 0), 0u);

    for (const auto& row : SynthCatalog::params())
        EXPECT_NE(text.find("- " + row.path + ": "), std::string::npos) << row.path;
    for (EffectKind kind : allCases<EffectKind>()) {
        const std::string line = "- " + std::string(toString(kind)) + ": " + std::string(EffectCatalog::summary(kind)) + ". Params: ";
        EXPECT_NE(text.find(line), std::string::npos) << line;
        for (const auto& spec : EffectCatalog::specs(kind))
            EXPECT_NE(text.find(std::string(spec.name) + " "), std::string::npos) << spec.name;
    }
    for (const auto& preset : Presets::all()) EXPECT_NE(text.find(preset.name), std::string::npos) << preset.name;

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

    const std::string drums = rig.reply("describe_synth", {{"engine", "drums"}})["content"][0]["text"];
    EXPECT_EQ(drums.find("- analog."), std::string::npos);
    EXPECT_NE(drums.find("- drums.kickTune: number 30..120 Hz\n"), std::string::npos);
    for (const auto& row : SynthCatalog::params())
        if (!row.engine) {
            EXPECT_NE(drums.find("- " + row.path + ": "), std::string::npos) << row.path;
        }
    EXPECT_EQ(rig.reply("describe_synth", {{"engine", "Drums"}})["content"][0]["text"], text)
        << "an engine that is no raw name counts as absent";
}

TEST(SoundTools, MIDIRoutingWithAndWithoutAHub) {
    Rig rig;
    rig.ok("add_track", {{"name", "Bass"}});
    rig.fails("list_midi_devices", json::object(), "MIDI is not available in this session.");
    rig.fails("set_midi_output", {{"track", "Bass"}, {"device", "moog"}}, "MIDI is not available in this session.");
    EXPECT_EQ(rig.ok("set_midi_output", {{"track", "Bass"}, {"device", "None"}}),
              json({{"track", "t1"}, {"midi_out", nullptr}}));

    auto platform = std::make_shared<MemoryMIDIPlatform>();
    platform->addDestination("Moog Sub 37");
    platform->addSource("Keystation");
    ASSERT_TRUE(rig.studio.startMIDI(platform, [&](std::function<void()> task) { rig.queue.post(std::move(task)); }));

    rig.fails("set_midi_output", {{"track", "Bass"}}, "Missing device.");
    rig.fails("set_midi_output", {{"track", "Bass"}, {"device", "prophet"}},
              "No MIDI output matching 'prophet'. Available: Velmo Virtual Out, Moog Sub 37");
    EXPECT_EQ(rig.ok("set_midi_output", {{"track", 0}, {"device", "sub 3"}, {"channel", 20}, {"play_internal", "on"}}),
              json::parse(R"({"track":"t1","midi_out":{"device":"Moog Sub 37","channel":16,"play_internal":true,
                  "connected":true}})"));
    EXPECT_EQ(rig.ok("list_midi_devices"),
              json::parse(R"({"outputs":[{"name":"Velmo Virtual Out","virtual":true},{"name":"Moog Sub 37","virtual":false}],
                  "inputs":["Keystation"],
                  "routes":[{"track":"t1","name":"Bass","device":"Moog Sub 37","channel":16,"play_internal":true,
                             "connected":true}]})"));
    rig.ok("set_midi_output", {{"track", "Bass"}, {"device", "NONE"}});
    EXPECT_FALSE(rig.studio.project().tracks[0].midiOut.has_value());
}
