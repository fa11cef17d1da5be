// The chord and drum-pattern tools on a real Studio: how their arguments reach the writers (the
// notes themselves are tests/theory's), randomness from the shared seed, one undo step per
// call, and failures that leave the project as it was.
#include "ToolTestSupport.h"
#include "base/Rand.h"
#include "support/NoteText.h"

#include <cstdint>

using namespace velmo;
using nlohmann::json;
using velmo::testing::expectFields;
using velmo::testing::pitches;
using velmo::testing::show;

namespace {

struct Writers : velmo::testing::ToolFixture {
    std::string clip;

    Writers() : ToolFixture(Project("Untitled", 120)) {
        studio.addTrack("Keys", std::nullopt, std::nullopt);
        clip = studio.addClip(0, 0.0, 16.0, "A", {});
    }
    // Writes into the clip, replacing what was there.
    json write(const std::string& tool, json arguments) {
        arguments["clip"] = clip;
        arguments["replace"] = true;
        return result(tool, std::move(arguments));
    }
    json chords(json arguments) { return write("add_chords", std::move(arguments)); }
    json drums(json arguments) { return write("add_drum_pattern", std::move(arguments)); }
    std::vector<Note> notes() const { return studio.clip(clip)->notes.toVector(); }
};

} // namespace

TEST_F(Writers, ChordArgumentsReachTheWriter) {
    json schemas;
    for (const json& d : tools.definitions()) schemas[d["name"].get<std::string>()] = d["inputSchema"];
    EXPECT_EQ(schemas["add_chords"]["properties"]["progression"]["items"]["type"], json::array({"string", "object"}));
    EXPECT_EQ(schemas["add_chords"]["required"], json::array({"clip", "progression"}));
    EXPECT_EQ(schemas["add_drum_pattern"]["properties"]["pattern"]["additionalProperties"], json({{"type", "string"}}));

    // Defaults: a bar per chord, octave 4, velocity 0.7, led voicings, block style.
    json r = chords({{"progression", "C F"}});
    expectFields(r, {{"voicings", {"C: C4 E4 G4", "F: C4 F4 A4"}}, {"added", 6}, {"note_count", 6}, {"clip", clip}});
    EXPECT_EQ(show({notes()[5]}), show({{69, 4, 4, 0.7}})) << "a bar long, at velocity 0.7";

    // Arguments as texts, a progression start, and objects whose fields override the defaults
    // (velocity clamped) and whose start moves the running position.
    chords({{"progression", json::array({"C:1", {{"symbol", "G"}, {"start", 6}, {"duration", 2}, {"octave", 3},
                                                 {"inversion", 0}, {"velocity", 5}}, "Am:1"})},
            {"start", "1"}, {"bass", "yes"}, {"velocity", 0.5}});
    EXPECT_EQ(show(notes()), show({{48, 1, 1, 0.5}, {60, 1, 1, 0.5}, {64, 1, 1, 0.5}, {67, 1, 1, 0.5},
                                   {43, 6, 2, 1}, {55, 6, 2, 1}, {59, 6, 2, 1}, {62, 6, 2, 1},
                                   {45, 8, 1, 0.5}, {57, 8, 1, 0.5}, {60, 8, 1, 0.5}, {64, 8, 1, 0.5}}));

    EXPECT_EQ(chords({{"progression", "C F"}, {"voice_lead", "no"}})["voicings"], json::array({"C: C4 E4 G4", "F: F4 A4 C5"}));

    // Style words: strum spreads by 0.03 unless told; any unknown word arpeggiates upwards.
    chords({{"progression", "C:1"}, {"style", "strum"}});
    EXPECT_EQ(notes()[1].start, 0.03);
    chords({{"progression", "C:1"}, {"style", "waltz"}, {"rate", "0.5"}});
    EXPECT_EQ(show(notes()), show({{60, 0, 0.45, 0.7}, {64, 0.5, 0.45, 0.595}}));
}

TEST_F(Writers, RandomArpeggiosFollowTheSharedSeed) {
    // One generator made from the shared seed per call, one draw per step into the ascending list.
    const std::uint32_t seed = 0xCAFEBABEu;
    globalSeed = seed;
    Rand rand = Rand::make();
    const std::vector<int> ascending{60, 64, 67, 71};
    std::vector<int> expected;
    for (int step = 0; step < 16; ++step) expected.push_back(ascending[std::uint64_t(rand.unit() * 4) % 4]);

    globalSeed = seed;
    chords({{"progression", "Cmaj7"}, {"style", "arp_random"}});
    EXPECT_EQ(pitches(notes()), expected);

    // A call that draws nothing still moves the seed, so the next random call differs.
    globalSeed = seed;
    chords({{"progression", "C"}});
    chords({{"progression", "Cmaj7"}, {"style", "arp_random"}});
    EXPECT_NE(pitches(notes()), expected);
}

TEST_F(Writers, DrumArgumentsReachTheWriter) {
    studio.updateClip(clip, std::nullopt, [](Clip& c) { c.length = 4; });

    // Lanes in key order; "36" and "kick" are two lanes on one note; a blank lane is no lane.
    json r = drums({{"pattern", {{"kick", "x...x... | x...x..."}, {"snare", "....X..."}, {"hat", "x.o."},
                                 {"36", "..x."}, {"rim", "    "}}}});
    expectFields(r, {{"lanes", {"36→36 (4 hits)", "hat→42 (8 hits)", "kick→36 (4 hits)", "snare→38 (2 hits)"}}, {"added", 18}});
    // A pattern that fits its clip is one undo step.
    const Project written = studio.project();
    studio.undo();
    EXPECT_TRUE(studio.clip(clip)->notes.empty());
    studio.redo();
    EXPECT_TRUE(studio.project() == written);

    // Steps per beat, start, base velocity, swing and repeat, some as texts; the lane tiles
    // only to the clip's end.
    drums({{"pattern", {{"tom_low", "xX"}}}, {"steps_per_beat", "2"}, {"start", 2}, {"velocity", 0.5}, {"swing", 0.2}});
    EXPECT_EQ(show(notes()), show({{41, 2, 0.45, 0.5}, {41, 2.6, 0.45, 0.7}, {41, 3, 0.45, 0.5}, {41, 3.6, 0.45, 0.7}}));
    drums({{"pattern", {{"tom_low", "x"}}}, {"repeat", "false"}});
    EXPECT_EQ(notes().size(), 1u);

    // A pattern longer than the clip is written whole; the clip grows by whole bars.
    EXPECT_EQ(drums({{"pattern", {{"crash", std::string(20, '.') + "x" + std::string(11, '.')}}}})["clip_length"], 8.0);

    // Only blank strings: nothing written, no lanes, and replace empties the clip.
    expectFields(drums({{"pattern", {{"kick", " | "}}}}), {{"lanes", json::array()}, {"note_count", 0}});
    EXPECT_TRUE(notes().empty());
}

TEST_F(Writers, FailuresLeaveTheProjectUnchanged) {
    chords({{"progression", "C"}});
    const json c = clip;

    fails("add_chords", {{"clip", "c99"}, {"progression", "C"}}, "No clip 'c99'.");
    fails("add_chords", {{"clip", 7}, {"progression", "C"}}, "No clip ''.");
    fails("add_chords", {{"clip", c}}, "'progression' must be a string like \"Am F C G\" or an array.");
    fails("add_chords", {{"clip", c}, {"progression", 5}}, "'progression' must be a string like \"Am F C G\" or an array.");
    fails("add_chords", {{"clip", c}, {"progression", " \t "}}, "Empty progression.");
    fails("add_chords", {{"clip", c}, {"progression", json::array({"C", 5})}},
          "Each progression item must be a chord symbol string or {symbol, ...}.");
    fails("add_chords", {{"clip", c}, {"progression", json::array({{{"duration", 2}}})}},
          "Each progression item must be a chord symbol string or {symbol, ...}.");
    // A bad symbol late in the progression: the chords before it are not written either.
    fails("add_chords", {{"clip", c}, {"progression", "Am F Hm"}}, "Cannot parse chord 'Hm'.");

    fails("add_drum_pattern", {{"clip", "nope"}, {"pattern", {{"kick", "x"}}}}, "No clip 'nope'.");
    for (json pattern : {json(), json::object(), json::array({"x"}), json("x...")})
        fails("add_drum_pattern", {{"clip", c}, {"pattern", pattern}}, "'pattern' must map drum names to step strings.");
    fails("add_drum_pattern", {{"clip", c}, {"pattern", {{"kick", "x..."}, {"snare", 4}}}},
          "Pattern for 'snare' must be a string.");
    fails("add_drum_pattern", {{"clip", c}, {"pattern", {{"kick", "x..."}, {"kik", "x..."}}}},
          "Cannot parse pitch 'kik'. Use MIDI numbers (60) or names like C4, F#3, Bb2.");
    studio.updateClip(clip, std::nullopt, [](Clip& clip) { clip.length = 1e5; });
    fails("add_drum_pattern", {{"clip", c}, {"pattern", {{"hat", "x"}}}},
          "The lane 'hat' would take 400000 steps; the limit is 100000. Use repeat=false or a shorter clip.");

    EXPECT_FALSE(studio.activity().back().ok);
}
