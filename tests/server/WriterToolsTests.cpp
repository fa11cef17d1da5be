// The chord and drum-pattern writers driven through the registry on a real Studio: exact notes of
// voicings, styles and step strings, reproducible randomness from the shared seed, and failures
// that leave the project as it was.
#include "ToolTestSupport.h"
#include "base/Rand.h"

#include <cstdint>
#include <iomanip>
#include <sstream>

using namespace velmo;
using nlohmann::json;
using velmo::testing::expectFields;

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

// Notes in stored order, one a line, times and velocities to twelve significant digits.
std::string show(const std::vector<Note>& notes) {
    std::ostringstream out;
    out << std::setprecision(12);
    for (const Note& n : notes) out << "\n  " << n.pitch << " @" << n.start << " len " << n.duration << " vel " << n.velocity;
    return out.str();
}

std::vector<int> pitches(const std::vector<Note>& notes) {
    std::vector<int> list;
    for (const Note& n : notes) list.push_back(n.pitch);
    return list;
}

} // namespace

TEST_F(Writers, ProgressionsWithAndWithoutVoiceLeading) {
    json schemas;
    for (const json& d : tools.definitions()) schemas[d["name"].get<std::string>()] = d["inputSchema"];
    EXPECT_EQ(schemas["add_chords"]["properties"]["progression"]["items"]["type"], json::array({"string", "object"}));
    EXPECT_EQ(schemas["add_chords"]["required"], json::array({"clip", "progression"}));
    EXPECT_EQ(schemas["add_drum_pattern"]["properties"]["pattern"]["additionalProperties"], json({{"type", "string"}}));

    json r = chords({{"progression", "C F"}, {"voice_lead", false}});
    expectFields(r, {{"voicings", {"C: C4 E4 G4", "F: F4 A4 C5"}}, {"added", 6}, {"note_count", 6}, {"clip", clip}});
    EXPECT_EQ(show(notes()), show({{60, 0, 4, 0.7}, {64, 0, 4, 0.7}, {67, 0, 4, 0.7},
                          {65, 4, 4, 0.7}, {69, 4, 4, 0.7}, {72, 4, 4, 0.7}}));

    // Led from C, F takes its second inversion an octave down: 60 65 69.
    EXPECT_EQ(chords({{"progression", "C F"}})["voicings"], json::array({"C: C4 E4 G4", "F: C4 F4 A4"}));
    EXPECT_EQ(pitches(notes()), (std::vector<int>{60, 64, 67, 60, 65, 69}));

    // A told inversion is kept, and the next chord is led from it, not from root position.
    EXPECT_EQ(chords({{"progression", json::array({{{"symbol", "C"}, {"inversion", 1}}, "F"})}})["voicings"],
              json::array({"C: E4 G4 C5", "F: F4 A4 C5"}));

    // Lengths and starts: "C:2 G:2 Am" after beat 1; a length that is no number is the default;
    // an object's start moves the running position.
    chords({{"progression", "C:2 G:2 Am C:x"}, {"start", 1}, {"beats_per_chord", "3"}, {"voice_lead", false}});
    std::vector<std::pair<double, double>> spans;
    for (const Note& n : notes())
        if (spans.empty() || spans.back().first != n.start) spans.push_back({n.start, n.duration});
    EXPECT_EQ(spans, (std::vector<std::pair<double, double>>{{1, 2}, {3, 2}, {5, 3}, {8, 3}}));

    r = chords({{"progression", json::array({"C:1", {{"symbol", "G"}, {"start", 6}, {"duration", 2}, {"octave", 3},
                                                           {"inversion", 0}, {"velocity", 5}}, "Am:1"})}});
    EXPECT_EQ(show(notes()), show({{60, 0, 1, 0.7}, {64, 0, 1, 0.7}, {67, 0, 1, 0.7},
                          {55, 6, 2, 1}, {59, 6, 2, 1}, {62, 6, 2, 1},
                          // Am led down from G3, starting where G ended.
                          {57, 8, 1, 0.7}, {60, 8, 1, 0.7}, {64, 8, 1, 0.7}}));

    // The bass option doubles the root below everything, also below a slash bass, and the
    // voicing text leaves it out.
    EXPECT_EQ(chords({{"progression", "C/E"}, {"bass", "yes"}, {"velocity", 0.5}})["voicings"], json::array({"C/E: E3 C4 E4 G4"}));
    EXPECT_EQ(pitches(notes()), (std::vector<int>{48, 52, 60, 64, 67}));
}

TEST_F(Writers, ArpeggioModesAndStrums) {
    // Four sixteenths over one beat; odd steps at 85 % velocity, each step 90 % long.
    chords({{"progression", "C:1"}, {"style", "arp_up"}});
    EXPECT_EQ(show(notes()), show({{60, 0, 0.225, 0.7}, {64, 0.25, 0.225, 0.595}, {67, 0.5, 0.225, 0.7}, {60, 0.75, 0.225, 0.595}}));

    chords({{"progression", "C:1"}, {"style", "arp_down"}, {"rate", 0.5}});
    EXPECT_EQ(show(notes()), show({{67, 0, 0.45, 0.7}, {64, 0.5, 0.45, 0.595}}));

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
    EXPECT_EQ(show(notes()), show({{69, 0, 4, 0.7}, {72, 0.03, 3.97, 0.672}, {76, 0.06, 3.94, 0.644}, {79, 0.09, 3.91, 0.616}}));
    // A strum longer than the chord keeps every note at least 0.05 beats.
    chords({{"progression", "Am7:0.1"}, {"style", "strum"}});
    EXPECT_EQ(show(notes()), show({{69, 0, 0.1, 0.7}, {72, 0.03, 0.07, 0.672}, {76, 0.06, 0.05, 0.644}, {79, 0.09, 0.05, 0.616}}));
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
    const std::vector<Note> first = notes();
    EXPECT_EQ(pitches(first), expected);
    globalSeed = seed;
    chords({{"progression", "Cmaj7"}, {"style", "arp_random"}});
    EXPECT_EQ(show(notes()), show(first));

    // A call that draws nothing still moves the seed, so the next random call differs.
    globalSeed = seed;
    chords({{"progression", "C"}});
    chords({{"progression", "Cmaj7"}, {"style", "arp_random"}});
    EXPECT_NE(pitches(notes()), expected);
}

TEST_F(Writers, DrumLanesStepsAndVelocities) {
    studio.updateClip(clip, std::nullopt, [](Clip& c) { c.length = 4; });

    // Lanes in key order; "36" and "kick" are two lanes on one note; short strings tile the bar.
    json r = drums({{"pattern", {{"kick", "x...x... | x...x..."}, {"snare", "....X..."}, {"hat", "x.o."},
                                      {"36", "..x."}, {"rim", "    "}}}});
    expectFields(r, {{"lanes", {"36→36 (4 hits)", "hat→42 (8 hits)", "kick→36 (4 hits)", "snare→38 (2 hits)"}}, {"added", 18}});
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
    EXPECT_EQ(show(notes()), show(expected));

    // Every step character, at 8ths from beat 1 and a base of 0.9: accents stop at 1.
    drums({{"pattern", {{"tom_low", "XA!x1*og-.?"}}}, {"steps_per_beat", 2}, {"start", 1}, {"velocity", 0.9},
           {"repeat", false}});
    std::vector<Note> marks;
    const double velocities[] = {1, 1, 1, 0.9, 0.9, 0.9, 0.45, 0.45};
    for (int i = 0; i < 8; ++i) marks.push_back({41, 1 + 0.5 * i, 0.45, velocities[i]});
    EXPECT_EQ(show(notes()), show(marks));

    // Triplets written once although the clip is longer.
    drums({{"pattern", {{"cowbell", "x x x | x x x"}}}, {"steps_per_beat", 3}, {"repeat", "false"}});
    std::vector<Note> triplets;
    for (int i = 0; i < 6; ++i) triplets.push_back({56, i / 3.0, 0.3, 0.8});
    EXPECT_EQ(show(notes()), show(triplets));

    studio.updateClip(clip, std::nullopt, [](Clip& c) { c.length = 4; });
    // Swing delays odd steps, counted across tiles: a three-step tile puts hits on 0, 3, 6, 9...
    drums({{"pattern", {{"hat", "x.."}}}, {"swing", 0.15}});
    std::vector<Note> swung;
    for (int i = 0; i < 16; i += 3) swung.push_back({42, 0.25 * i + (i % 2 ? 0.0375 : 0), 0.225, 0.8});
    EXPECT_EQ(show(notes()), show(swung));

    // A pattern longer than the clip is written whole; the clip grows by whole bars.
    EXPECT_EQ(drums({{"pattern", {{"crash", std::string(20, '.') + "x" + std::string(11, '.')}}}})["clip_length"], 8.0);
    EXPECT_EQ(show(notes()), show({{49, 5, 0.225, 0.8}}));

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
    EXPECT_TRUE(failure("add_chords", {{"clip", c}, {"progression", "Am Cxyz"}})
                    .starts_with("Error: Unknown chord quality 'xyz' in 'Cxyz'. Supported: maj13 maj9 maj7 M7"));
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
