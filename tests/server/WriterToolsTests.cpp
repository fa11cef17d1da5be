// The chord and drum-pattern writers driven through the registry on a real Studio: exact notes of
// voicings, styles and step strings, reproducible randomness from the shared seed, and failures
// that leave the project as it was.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "server/MCPTools.h"
#include "synth/Rand.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

using namespace velmo;
using nlohmann::json;

namespace {

struct Writers : ::testing::Test {
    HeadlessMainQueue queue;
    Studio studio{Project("Untitled", 120)};
    MCPTools tools{studio, queue};
    std::string clip;

    void SetUp() override {
        studio.addTrack("Keys", std::nullopt, std::nullopt);
        clip = studio.addClip(0, 0.0, 16.0, "A", {});
    }

    json reply(const std::string& name, json arguments) {
        json r;
        tools.call(name, std::move(arguments), [&](json answer) { r = std::move(answer); });
        return r;
    }

    // The result object of a call that must succeed.
    json ok(const std::string& name, json arguments) {
        json r = reply(name, std::move(arguments));
        const std::string text = r["content"][0]["text"];
        EXPECT_FALSE(r["isError"].get<bool>()) << text;
        return r["isError"].get<bool>() ? json() : json::parse(text);
    }

    // A call that must fail with `message` and leave the project exactly as it was.
    void fails(const std::string& name, json arguments, const std::string& message) {
        const Project before = studio.project();
        json r = reply(name, arguments);
        EXPECT_TRUE(r["isError"].get<bool>()) << arguments.dump();
        EXPECT_EQ(r["content"][0]["text"], "Error: " + message) << arguments.dump();
        EXPECT_TRUE(studio.project() == before) << "the project changed on " << arguments.dump();
    }

    json chords(json arguments) {
        arguments["clip"] = clip;
        arguments["replace"] = true;
        return ok("add_chords", std::move(arguments));
    }

    json drums(json arguments) {
        arguments["clip"] = clip;
        arguments["replace"] = true;
        return ok("add_drum_pattern", std::move(arguments));
    }

    std::vector<Note> notes() const { return studio.clip(clip)->notes.toVector(); }
};

std::string show(const std::vector<Note>& notes) {
    std::ostringstream out;
    for (const Note& n : notes) out << "\n  " << n.pitch << " @" << n.start << " len " << n.duration << " vel " << n.velocity;
    return out.str();
}

// Notes compared in stored order, times and velocities to 1e-9.
void expectNotes(const std::vector<Note>& actual, const std::vector<Note>& expected) {
    bool same = actual.size() == expected.size();
    for (std::size_t i = 0; same && i < actual.size(); ++i) {
        same = actual[i].pitch == expected[i].pitch && std::abs(actual[i].start - expected[i].start) < 1e-9 &&
               std::abs(actual[i].duration - expected[i].duration) < 1e-9 &&
               std::abs(actual[i].velocity - expected[i].velocity) < 1e-9;
    }
    EXPECT_TRUE(same) << "actual:" << show(actual) << "\nexpected:" << show(expected);
}

std::vector<int> pitches(const std::vector<Note>& notes) {
    std::vector<int> list;
    for (const Note& n : notes) list.push_back(n.pitch);
    return list;
}

} // namespace

TEST_F(Writers, ProgressionsWithAndWithoutVoiceLeading) {
    const json definitions = tools.definitions();
    auto schemaOf = [&](const std::string& name) {
        for (const json& d : definitions)
            if (d["name"] == name) return d["inputSchema"];
        return json();
    };
    EXPECT_EQ(schemaOf("add_chords")["properties"]["progression"]["items"]["type"], json::array({"string", "object"}));
    EXPECT_EQ(schemaOf("add_chords")["required"], json::array({"clip", "progression"}));
    EXPECT_EQ(schemaOf("add_drum_pattern")["properties"]["pattern"]["additionalProperties"], json({{"type", "string"}}));

    json result = chords({{"progression", "C F"}, {"voice_lead", false}});
    EXPECT_EQ(result["voicings"], json::array({"C: C4 E4 G4", "F: F4 A4 C5"}));
    expectNotes(notes(), {{60, 0, 4, 0.7}, {64, 0, 4, 0.7}, {67, 0, 4, 0.7},
                          {65, 4, 4, 0.7}, {69, 4, 4, 0.7}, {72, 4, 4, 0.7}});
    EXPECT_EQ(result["added"], 6);
    EXPECT_EQ(result["note_count"], 6);
    EXPECT_EQ(result["clip"], clip);

    // Led from C, F takes its second inversion an octave down: 60 65 69.
    result = chords({{"progression", "C F"}});
    EXPECT_EQ(result["voicings"], json::array({"C: C4 E4 G4", "F: C4 F4 A4"}));
    EXPECT_EQ(pitches(notes()), (std::vector<int>{60, 64, 67, 60, 65, 69}));

    // From a high first chord the search climbs instead: F over A, in place.
    EXPECT_EQ(chords({{"progression", "Am F"}})["voicings"], json::array({"Am: A4 C5 E5", "F: A4 C5 F5"}));

    // A told inversion is kept, and the next chord is led from it, not from root position.
    result = chords({{"progression", json::array({{{"symbol", "C"}, {"inversion", 1}}, "F"})}});
    EXPECT_EQ(result["voicings"], json::array({"C: E4 G4 C5", "F: F4 A4 C5"}));

    // Lengths and starts: "C:2 G:2 Am" after beat 1; a length that is no number is the default;
    // an object's start moves the running position.
    chords({{"progression", "C:2 G:2 Am C:x"}, {"start", 1}, {"beats_per_chord", "3"}, {"voice_lead", false}});
    std::vector<std::pair<double, double>> spans;
    for (const Note& n : notes())
        if (spans.empty() || spans.back().first != n.start) spans.push_back({n.start, n.duration});
    EXPECT_EQ(spans, (std::vector<std::pair<double, double>>{{1, 2}, {3, 2}, {5, 3}, {8, 3}}));

    result = chords({{"progression", json::array({"C:1", {{"symbol", "G"}, {"start", 6}, {"duration", 2}, {"octave", 3},
                                                           {"inversion", 0}, {"velocity", 5}}, "Am:1"})}});
    expectNotes(notes(), {{60, 0, 1, 0.7}, {64, 0, 1, 0.7}, {67, 0, 1, 0.7},
                          {55, 6, 2, 1}, {59, 6, 2, 1}, {62, 6, 2, 1},
                          // Am led down from G3, starting where G ended.
                          {57, 8, 1, 0.7}, {60, 8, 1, 0.7}, {64, 8, 1, 0.7}});

    // The bass option doubles the root below everything, also below a slash bass, and the
    // voicing text leaves it out.
    result = chords({{"progression", "C/E"}, {"bass", "yes"}, {"velocity", 0.5}});
    EXPECT_EQ(result["voicings"], json::array({"C/E: E3 C4 E4 G4"}));
    EXPECT_EQ(pitches(notes()), (std::vector<int>{48, 52, 60, 64, 67}));
}

TEST_F(Writers, ArpeggioModesAndStrums) {
    // Four sixteenths over one beat; odd steps at 85 % velocity, each step 90 % long.
    chords({{"progression", "C:1"}, {"style", "arp_up"}});
    expectNotes(notes(), {{60, 0, 0.225, 0.7}, {64, 0.25, 0.225, 0.595}, {67, 0.5, 0.225, 0.7}, {60, 0.75, 0.225, 0.595}});

    chords({{"progression", "C:1"}, {"style", "arp_down"}, {"rate", 0.5}});
    expectNotes(notes(), {{67, 0, 0.45, 0.7}, {64, 0.5, 0.45, 0.595}});

    chords({{"progression", "Cmaj7:2"}, {"style", "arp_updown"}});
    EXPECT_EQ(pitches(notes()), (std::vector<int>{60, 64, 67, 71, 67, 64, 60, 64}));

    // An unknown style is an upward arpeggio; 0.3 / 0.1 is three steps, not two.
    chords({{"progression", "C:0.3"}, {"style", "waltz"}, {"rate", 0.1}});
    EXPECT_EQ(pitches(notes()), (std::vector<int>{60, 64, 67}));

    // A rate of zero cannot divide the chord: one step.
    chords({{"progression", "C:1"}, {"style", "arp_up"}, {"rate", 0}});
    EXPECT_EQ(notes().size(), 1u);

    // Strum: each string later by the rate, shorter by as much, 4 % softer.
    chords({{"progression", "Am7"}, {"style", "strum"}});
    expectNotes(notes(), {{69, 0, 4, 0.7}, {72, 0.03, 3.97, 0.672}, {76, 0.06, 3.94, 0.644}, {79, 0.09, 3.91, 0.616}});
    // A strum longer than the chord keeps every note at least 0.05 beats.
    chords({{"progression", "Am7:0.1"}, {"style", "strum"}});
    expectNotes(notes(), {{69, 0, 0.1, 0.7}, {72, 0.03, 0.07, 0.672}, {76, 0.06, 0.05, 0.644}, {79, 0.09, 0.05, 0.616}});
}

TEST_F(Writers, RandomArpeggiosFollowTheSharedSeed) {
    const std::uint32_t seed = 0xCAFEBABEu;
    // One LCG step of the shared seed per call, low bit set, then one xorshift draw per step.
    std::uint32_t x = (seed * 1664525u + 1013904223u) | 1u;
    const std::vector<int> ascending{60, 64, 67, 71};
    std::vector<int> expected;
    for (int step = 0; step < 16; ++step) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        expected.push_back(ascending[std::uint64_t(double(x) / 4294967296.0 * 4) % 4]);
    }

    globalSeed = seed;
    chords({{"progression", "Cmaj7"}, {"style", "arp_random"}});
    const std::vector<Note> first = notes();
    EXPECT_EQ(pitches(first), expected);

    globalSeed = seed;
    chords({{"progression", "Cmaj7"}, {"style", "arp_random"}});
    expectNotes(notes(), first);

    // A call that draws nothing still moves the seed, so the next random call differs.
    globalSeed = seed;
    chords({{"progression", "C"}});
    chords({{"progression", "Cmaj7"}, {"style", "arp_random"}});
    EXPECT_NE(pitches(notes()), expected);
}

TEST_F(Writers, DrumLanesStepsAndVelocities) {
    studio.updateClip(clip, std::nullopt, [](Clip& c) { c.length = 4; });

    // Lanes in key order; "36" and "kick" are two lanes on one note; short strings tile the bar.
    json result = drums({{"pattern", {{"kick", "x...x... | x...x..."}, {"snare", "....X..."}, {"hat", "x.o."},
                                      {"36", "..x."}, {"rim", "    "}}}});
    EXPECT_EQ(result["lanes"], json::array({"36→36 (4 hits)", "hat→42 (8 hits)", "kick→36 (4 hits)", "snare→38 (2 hits)"}));
    EXPECT_EQ(result["added"], 18);
    // A pattern that fits its clip is one undo step.
    const Project written = studio.project();
    studio.undo();
    EXPECT_TRUE(studio.clip(clip)->notes.empty());
    studio.redo();
    EXPECT_TRUE(studio.project() == written);
    std::vector<Note> expected;
    for (int beat = 0; beat < 4; ++beat) {
        const double b = beat;
        expected.push_back({36, b, 0.225, 0.8});                     // kick
        if (beat % 2 == 1) expected.push_back({38, b, 0.225, 1.0});  // accent: 0.8 + 0.2
        expected.push_back({42, b, 0.225, 0.8});                     // hat
        expected.push_back({36, b + 0.5, 0.225, 0.8});   // "36"
        expected.push_back({42, b + 0.5, 0.225, 0.4});   // ghost
    }
    expectNotes(notes(), expected);

    // Every step character, at 8ths from beat 1 and a base of 0.9: accents stop at 1.
    drums({{"pattern", {{"tom_low", "XA!x1*og-.?"}}}, {"steps_per_beat", 2}, {"start", 1}, {"velocity", 0.9},
           {"repeat", false}});
    std::vector<Note> marks;
    const double velocities[] = {1, 1, 1, 0.9, 0.9, 0.9, 0.45, 0.45};
    for (int i = 0; i < 8; ++i) marks.push_back({41, 1 + 0.5 * i, 0.45, velocities[i]});
    expectNotes(notes(), marks);

    // Triplets written once although the clip is longer.
    drums({{"pattern", {{"cowbell", "x x x | x x x"}}}, {"steps_per_beat", 3}, {"repeat", "false"}});
    std::vector<Note> triplets;
    for (int i = 0; i < 6; ++i) triplets.push_back({56, i / 3.0, 0.3, 0.8});
    expectNotes(notes(), triplets);

    studio.updateClip(clip, std::nullopt, [](Clip& c) { c.length = 4; });
    // Swing delays odd steps, counted across tiles: a three-step tile puts hits on 0, 3, 6, 9...
    drums({{"pattern", {{"hat", "x.."}}}, {"swing", 0.15}});
    std::vector<Note> swung;
    for (int i = 0; i < 16; i += 3) swung.push_back({42, 0.25 * i + (i % 2 ? 0.0375 : 0), 0.225, 0.8});
    expectNotes(notes(), swung);

    // A pattern longer than the clip is written whole; the clip grows by whole bars.
    result = drums({{"pattern", {{"crash", std::string(20, '.') + "x" + std::string(11, '.')}}}});
    EXPECT_EQ(result["clip_length"], 8.0);
    expectNotes(notes(), {{49, 5, 0.225, 0.8}});

    // Only blank strings: nothing written, no lanes, and replace empties the clip.
    result = drums({{"pattern", {{"kick", " | "}}}});
    EXPECT_EQ(result["lanes"], json::array());
    EXPECT_EQ(result["note_count"], 0);
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
    const json unknown = reply("add_chords", {{"clip", c}, {"progression", "Am Cxyz"}});
    EXPECT_EQ(unknown["content"][0]["text"].get<std::string>().rfind(
                  "Error: Unknown chord quality 'xyz' in 'Cxyz'. Supported: maj13 maj9 maj7 M7", 0), 0u);
    fails("add_chords", {{"clip", c}, {"progression", "C/H"}}, "Cannot parse bass note in 'C/H'.");
    fails("add_chords", {{"clip", c}, {"progression", "C"}, {"style", "arp_up"}, {"rate", 1e-6}},
          "The arpeggio of 'C' would take 4000000 steps; the limit is 100000. Use a larger 'rate'.");

    fails("add_drum_pattern", {{"clip", "nope"}, {"pattern", {{"kick", "x"}}}}, "No clip 'nope'.");
    for (json pattern : {json(), json::object(), json::array({"x"}), json("x...")})
        fails("add_drum_pattern", {{"clip", c}, {"pattern", pattern}}, "'pattern' must map drum names to step strings.");
    fails("add_drum_pattern", {{"clip", c}, {"pattern", {{"kick", "x..."}, {"snare", 4}}}},
          "Pattern for 'snare' must be a string.");
    fails("add_drum_pattern", {{"clip", c}, {"pattern", {{"kick", "x..."}, {"kik", "x..."}}}},
          "Cannot parse pitch 'kik'. Use MIDI numbers (60) or names like C4, F#3, Bb2.");
    studio.updateClip(clip, std::nullopt, [](Clip& clip) { clip.length = 1e6; });
    fails("add_drum_pattern", {{"clip", c}, {"pattern", {{"hat", "x"}}}},
          "The lane 'hat' would take 4000000 steps; the limit is 100000. Use repeat=false or a shorter clip.");

    EXPECT_FALSE(studio.activity().back().ok);
}
