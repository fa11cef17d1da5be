#include "model/ProjectJSON.h"
#include "model/SynthPatchJSON.h"

#include <gtest/gtest.h>

#include <functional>

namespace velmo {
namespace {

using json = nlohmann::json;

Project richProject() {
    Project p("Night Drive", 104.5);
    p.loopEnabled = false;
    p.loopEnd = 32;
    p.masterVolumeDb = -1.5;
    p.masterEffects.push_back(EffectSlot{p.makeId("fx"), EffectKind::compressor, true, {{"ratio", 3.0}}});

    Track bass(p.makeId("t"), "Bass", 2, SynthPatch());
    bass.patch.engine = EngineKind::fm;
    bass.patch.fm.ops.pop_back();
    bass.patch.mod[0] = {ModSource::lfo1, ModDestination::wavetablePosition, 0.25};
    bass.patch.lfo2.sync = true;
    bass.volumeDb = -3;
    bass.pan = -0.25;
    bass.solo = true;
    bass.effects.push_back(EffectSlot{p.makeId("fx"), EffectKind::delay, false, {}});
    bass.midiOut = MIDIRoute{"Synth Module", 3, true};
    std::string clipId = p.makeId("c");
    bass.clips.push_back(Clip{clipId, "Riff", 4, 8, NoteList{{36, 0, 0.5, 0.9}, {43, 0.5, 0.25, 0.7}}});
    p.tracks.push_back(bass);

    Track lead(p.makeId("t"), "Lead \u266B", 5, SynthPatch());
    lead.patch.additive.harmonics = {1, 0, 0.5};
    p.tracks.push_back(lead);
    return p;
}

TEST(ProjectFile, RoundTripsEveryField) {
    Project p = richProject();
    std::string text = encodeProjectFile(p);
    Project back = decodeProjectFile(text).project;
    EXPECT_EQ(back, p);
    EXPECT_EQ(encodeProjectFile(back), text) << "saving an unchanged project gives identical bytes";
}

TEST(ProjectFile, WritesSortedPrettyKeysAndOmitsAbsentRoutes) {
    std::string text = encodeProjectFile(richProject());
    EXPECT_NE(text.find("\n  \"beatUnit\": 4,\n  \"beatsPerBar\": 4,"), std::string::npos) << text.substr(0, 200);
    json doc = json::parse(text);
    EXPECT_TRUE(doc["tracks"][0].contains("midiOut"));
    EXPECT_FALSE(doc["tracks"][1].contains("midiOut"));
    EXPECT_EQ(doc["tracks"][0]["patch"]["mod"][0]["destination"], "wavetablePosition");
    EXPECT_EQ(doc["tracks"][0]["patch"]["fm"]["ops"].size(), 3u) << "lists are written at their length";
}

// Applies `edit` to the encoded rich project and decodes the result.
Project decodeEdited(const std::function<void(json&)>& edit) {
    json doc = toJSON(richProject());
    edit(doc);
    return decodeProjectFile(doc.dump()).project;
}

std::string decodeError(const std::function<void(json&)>& edit) {
    try {
        decodeEdited(edit);
    } catch (const DecodeError& e) {
        return e.what();
    }
    return "(decoded without error)";
}

TEST(ProjectFile, RejectsWithTheOffendingKeyAndPlace) {
    EXPECT_EQ(decodeError([](json& d) { d.erase("nextId"); }), "Missing key \"nextId\" at the top level");
    EXPECT_EQ(decodeError([](json& d) { d["tracks"][0]["patch"].erase("voice"); }),
              "Missing key \"voice\" in tracks[0].patch");
    EXPECT_EQ(decodeError([](json& d) { d["tracks"][0]["patch"]["filter"].erase("velocity"); }),
              "Missing key \"velocity\" in tracks[0].patch.filter");
    EXPECT_EQ(decodeError([](json& d) { d["tracks"][0]["clips"][0]["notes"][1]["pitch"] = 60.5; }),
              "Key \"pitch\" in tracks[0].clips[0].notes[1] must be a whole number, not 60.5");
    EXPECT_EQ(decodeError([](json& d) { d["tempo"] = "fast"; }),
              "Key \"tempo\" at the top level must be a number, found a string");
    EXPECT_EQ(decodeError([](json& d) { d["tracks"][1]["mute"] = 0; }),
              "Key \"mute\" in tracks[1] must be a boolean, found a number");
    EXPECT_EQ(decodeError([](json& d) { d["masterEffects"][0]["kind"] = "flanger"; }),
              "Unknown value \"flanger\" for key \"kind\" in masterEffects[0]; expected one of: drive, bitcrush, "
              "chorus, phaser, delay, reverb, eq, compressor, autofilter");
    EXPECT_EQ(decodeError([](json& d) { d["tracks"][0]["patch"]["mod"][0]["destination"] = "wavetableposition"; }),
              "Unknown value \"wavetableposition\" for key \"destination\" in tracks[0].patch.mod[0]; expected one "
              "of: none, pitch, cutoff, resonance, volume, pan, pulseWidth, wavetablePosition, fmAmount, "
              "osc2Pitch, noise, lfo1Rate, lfo2Rate");
    EXPECT_EQ(decodeError([](json& d) { d["tracks"][0]["midiOut"].erase("channel"); }),
              "Missing key \"channel\" in tracks[0].midiOut");
    EXPECT_EQ(decodeError([](json& d) { d["tracks"] = json::object(); }),
              "Key \"tracks\" at the top level must be an array, found an object");
    EXPECT_EQ(decodeError([](json& d) { d["tracks"][0]["effects"][0]["params"]["time"] = "long"; }),
              "Parameter \"time\" in tracks[0].effects[0].params must be a number, found a string");
    EXPECT_EQ(decodeError([](json& d) { d = json::array(); }), "Expected an object at the top level, found an array");

    // Text from the file is quoted only in short excerpts, and not at all when it is not JSON.
    EXPECT_EQ(decodeError([](json& d) { d["masterEffects"][0]["kind"] = std::string(100, 'k'); }),
              "Unknown value \"" + std::string(40, 'k') + "…\" for key \"kind\" in masterEffects[0]; expected one of: "
              "drive, bitcrush, chorus, phaser, delay, reverb, eq, compressor, autofilter");
    for (const auto& [text, message] : std::vector<std::pair<std::string, std::string>>{
             {"{\"name\": ", "Not valid JSON text (line 1, column 10)"},
             {"", "Not valid JSON text (line 1, column 1)"},
             {"{\"tempo\": 1e400}", "Not valid JSON text: a number is too large"},
             {"user=root\npassword=hunter2 and more secrets\n", "Not valid JSON text (line 1, column 1)"},
             {"{\n  \"name\": \"ok\",\n  \"tempo\": \"\xff\xfe secret\"}", "Not valid JSON text (line 3, column 13)"}}) {
        try {
            decodeProjectFile(text);
            ADD_FAILURE() << "decoded: " << text;
        } catch (const DecodeError& e) {
            EXPECT_EQ(std::string(e.what()), message) << text;
        }
    }
}

TEST(ProjectFile, CarriesAVersionAndRepairsIds) {
    EXPECT_EQ(json::parse(encodeProjectFile(richProject()))["version"], 1);

    // richProject's ids: fx1 (master), t2, fx3, c4, t5; nextId 6.
    struct Case {
        std::function<void(json&)> edit;
        std::vector<std::string> warnings;
        std::function<void(Project&)> expected;  // applied to richProject()
    };
    const std::string newer = "This file was written by a newer Velmo (file version 2; this one reads version 1). "
                              "Anything this version does not know was left out and is lost if you save over it.";
    const std::vector<Case> cases{
        {[](json& d) { d.erase("version"); }, {}, [](Project&) {}},
        {[](json& d) { d["version"] = 2; d["futureKey"] = {1, 2}; }, {newer}, [](Project&) {}},
        {[](json& d) { d["nextId"] = -3; }, {}, [](Project&) {}},
        {[](json& d) { d["tracks"][1]["id"] = "t2"; d["tracks"][0]["clips"][0]["id"] = "fx1"; d["nextId"] = 9; },
         {"Ids in use twice were made unique: 2 tracks, clips or effects have a new id."},
         [](Project& p) {
             p.tracks.mut(0).clips.mut(0).id = "c9";
             p.tracks.mut(1).id = "t10";
             p.nextId = 11;
         }},
        {[](json& d) { d["tracks"][0]["effects"][0]["id"] = "t99"; d["tracks"][1]["id"] = "t99"; },
         {"Ids in use twice were made unique: 1 track, clip or effect has a new id."},
         [](Project& p) {
             p.tracks.mut(0).effects.mut(0).id = "t99";
             p.tracks.mut(1).id = "t100";
             p.nextId = 101;
         }},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        json doc = toJSON(richProject());
        cases[i].edit(doc);
        ProjectFile file = decodeProjectFile(doc.dump());
        Project expected = richProject();
        cases[i].expected(expected);
        EXPECT_EQ(file.project, expected) << "case " << i;
        EXPECT_EQ(file.warnings, cases[i].warnings) << "case " << i;
    }
    EXPECT_EQ(decodeError([](json& d) { d["version"] = 3; d.erase("loopEnd"); }),
              "Missing key \"loopEnd\" at the top level (the file is from a newer Velmo: version 3)");
}

TEST(ProjectFile, AcceptsWhatIsOnlyUnusual) {
    // A whole number written as a float is still an integer.
    EXPECT_EQ(decodeEdited([](json& d) { d["beatsPerBar"] = 7.0; }).beatsPerBar, 7);

    // A null route is no route, like a missing key.
    Project nullRoute = decodeEdited([](json& d) { d["tracks"][0]["midiOut"] = nullptr; });
    EXPECT_FALSE(nullRoute.tracks[0].midiOut.has_value());

    // Unknown keys are ignored at every level and gone on the next save.
    Project extra = decodeEdited([](json& d) {
        d["comment"] = "hi";
        d["tracks"][0]["color"] = "red";
        d["tracks"][0]["patch"]["filter"]["slope"] = 4;
        d["tracks"][0]["clips"][0]["notes"][0]["tie"] = true;
    });
    EXPECT_EQ(extra, richProject());
    EXPECT_EQ(encodeProjectFile(extra).find("slope"), std::string::npos);

    // Odd values stand as written, lists at their length.
    Project odd = decodeEdited([](json& d) {
        d["tracks"][0]["clips"][0]["notes"][0]["velocity"] = 7.5;
        d["tracks"][0]["patch"]["mod"] = json::array();
    });
    EXPECT_EQ(odd.tracks[0].clips[0].notes[0].velocity, 7.5);
    EXPECT_TRUE(odd.tracks[0].patch.mod.empty());
}

TEST(SynthPatch, DefaultsAndEnumerationTables) {
    SynthPatch p;
    EXPECT_EQ(p.engine, EngineKind::analog);
    EXPECT_EQ(p.analog.osc2, (AnalogOsc{OscWave::saw, 0, 0, 7, 0.5, 0}));
    EXPECT_EQ(p.fm.ops[1], (FMOperator{2.0, 0.0, 0.45, 0.002, 0.8, 0.4, 0.4, 0.5}));
    EXPECT_EQ(p.additive.harmonics.size(), 16u);
    EXPECT_EQ(p.additive.harmonics[15], 0.0625);
    EXPECT_EQ(p.modEnv, (EnvelopeParams{0.005, 0.4, 0.0, 0.4}));
    EXPECT_EQ(p.lfo2, LFOParams(LFOShape::triangle, 0.3));
    EXPECT_EQ(p.mod.size(), static_cast<size_t>(SynthPatch::modSlotCount));
    EXPECT_EQ(p.voice.polyphony, 8.0);
    EXPECT_FALSE(fromString<EngineKind>("Analog").has_value()) << "wire strings are case-sensitive";
    EXPECT_EQ(label(EngineKind::fm), "FM");
}

} // namespace
} // namespace velmo
