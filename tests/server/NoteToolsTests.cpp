// The note tools driven through the registry on a real Studio: results and note lists after each
// tool, how clips grow, every transform on a small clip, reproducible humanize, and the failures
// an agent meets most, which must leave the song as it was.
#include "ToolTestSupport.h"
#include "base/Rand.h"

#include <algorithm>
#include <cstdint>

using namespace velmo;
using nlohmann::json;
using velmo::testing::expectFields;

namespace {

using NoteTuple = std::tuple<int, double, double, double>;
using NoteTuples = std::vector<NoteTuple>;
const std::string badPitch = "Use MIDI numbers (60) or names like C4, F#3, Bb2.";

// A studio with tracks "Bass" (t1) and "Lead" (t2) and an empty 4-beat clip c3 on the bass.
struct NoteToolsTest : velmo::testing::ToolFixture {
    NoteToolsTest() : ToolFixture(Project("Untitled", 120)) {
        studio.addTrack("Bass", std::nullopt, std::nullopt);
        studio.addTrack("Lead", std::nullopt, std::nullopt);
        studio.addClip(0, 0.0, 4.0, "Riff", {});
    }
    const Clip& clip(const std::string& id) {
        const Clip* c = studio.clip(id);
        EXPECT_NE(c, nullptr) << id;
        return *c;
    }
    // (pitch, start, duration, velocity) of each note, in stored order.
    NoteTuples notes(const std::string& id = "c3") {
        NoteTuples out;
        for (const Note& n : clip(id).notes) out.emplace_back(n.pitch, n.start, n.duration, n.velocity);
        return out;
    }
    void setNotes(const std::string& id, std::vector<Note> list) {
        studio.editNotes(id, std::nullopt, [&](NoteList& n, double) { n = NoteList(list); });
    }
};

} // namespace

TEST_F(NoteToolsTest, AddClipDefaultsAndLengthFromNotes) {
    EXPECT_EQ(result("add_clip", {{"track", "bass"}}), json({{"id", "c4"}, {"name", "Clip 2"}, {"start", 4.0}, {"length", 16.0}, {"end", 20.0}, {"note_count", 0}}));

    // Notes ending at beat 20 set the length to 20; ending at 3, to the four-bar minimum.
    expectFields(result("add_clip", {{"track", 1}, {"notes", {{{"pitch", "C4"}, {"start", 18}, {"duration", 2}}}}}),
                 {{"length", 20.0}, {"pitch_range", "C4\u2013C4"}});
    expectFields(result("add_clip", {{"track", "t2"}, {"notes", {{{"pitch", 60}, {"start", 2.5}}}}}), {{"length", 16.0}, {"start", 20.0}});
    // A given length stands even when notes run past it; strings are numbers, wrong types absent.
    expectFields(result("add_clip", {{"track", "t2"}, {"start", "32"}, {"length", "2"}, {"name", 7}, {"notes", {{{"pitch", 60}, {"start", 5}}}}}),
                 {{"start", 32.0}, {"length", 2.0}, {"name", "Clip 3"}});
    EXPECT_EQ(result("add_clip", {{"track", "Lead"}, {"length", true}})["length"], 16.0) << "a boolean length counts as absent";

    studio.mutate([](Project& p) { p.beatsPerBar = 3; });
    EXPECT_EQ(result("add_clip", {{"track", "t1"}, {"notes", {{{"pitch", 60}, {"start", 12}, {"duration", 1}}}}})["length"], 15.0)
        << "whole 3/4 bars past the four-bar minimum of 12";

    fails("add_clip", {{"track", "Drums"}}, "No track 'Drums'. Tracks: t1 (Bass), t2 (Lead).");
    fails("add_clip", json::object(), "Missing 'track'. Pass a track id, name, or index.");
    fails("add_clip", {{"track", "t1"}, {"notes", {{{"pitch", "H2"}, {"start", 0}}}}}, "Cannot parse pitch 'H2'. " + badPitch);
}

TEST_F(NoteToolsTest, UpdateClipMovesAndResizes) {
    setNotes("c3", {{60, 0, 1, 0.8}});
    EXPECT_EQ(result("update_clip", {{"clip", "c3"}, {"track", "Lead"}, {"start", "8"}, {"length", 0.1}, {"name", "Hook"}}), json({{"id", "c3"}, {"name", "Hook"}, {"start", 8.0}, {"length", 0.25}, {"end", 8.25},
                       {"note_count", 1}, {"pitch_range", "C4\u2013C4"}}));
    EXPECT_TRUE(studio.project().tracks[0].clips.empty());
    EXPECT_EQ(studio.project().tracks[1].clips[0].notes.size(), 1u) << "the notes travel with the clip";

    result("history", {{"action", "undo"}});
    EXPECT_EQ(studio.project().tracks[0].clips[0].id, "c3") << "the move and the resize are one step";
    EXPECT_EQ(clip("c3").length, 4.0);

    expectFields(result("update_clip", {{"clip", "c3"}, {"start", -3}, {"length", "6"}}), {{"start", 0.0}, {"length", 6.0}});

    fails("update_clip", {{"clip", 3}}, "Missing clip.");
    fails("update_clip", {{"clip", "c99"}, {"start", 2}}, "No clip 'c99'. Call get_project to list clip ids.");
    fails("update_clip", {{"clip", "c99"}, {"name", "x"}}, "No clip 'c99'. Call get_project to list clip ids.");
    fails("update_clip", {{"clip", "c3"}, {"track", true}}, "'track' must be a string id/name or an index.");
}

TEST_F(NoteToolsTest, HugeNumbersStayWithinTheSong) {
    const double far = 1e308, farthest = 100000;
    expectFields(result("add_clip", {{"track", "Lead"}, {"start", far}, {"length", far}}), {{"start", farthest}, {"length", farthest}});
    expectFields(result("update_clip", {{"clip", "c4"}, {"start", -far}, {"length", -far}}), {{"start", 0.0}, {"length", 0.25}});
    EXPECT_EQ(result("duplicate_clip", {{"clip", "c4"}, {"start", far}, {"times", 2}})["ends_at_beat"], farthest + 0.25);
    EXPECT_EQ(clip("c6").start, farthest);

    setNotes("c3", {{60, 1, 1, 0.5}});
    expectFields(result("add_notes", {{"clip", "c3"}, {"notes", {{{"pitch", 60}, {"start", far}, {"duration", far}}}}}),
                 {{"clip_length", farthest}});
    EXPECT_EQ(notes().back(), (NoteTuple{60, farthest, farthest, 0.8}));
    result("transform_notes", {{"clip", "c3"}, {"humanize", far}, {"stretch", far}});
    EXPECT_EQ(clip("c3").length, farthest) << "a humanize past 1 moves notes no farther than 1 does";
    for (const Note& n : clip("c3").notes) EXPECT_TRUE(n.start <= farthest && n.duration <= farthest) << n.start;

    EXPECT_EQ(result("set_song", {{"loop_start", far}, {"loop_end", far}})["loop"],
              json({{"enabled", true}, {"start", farthest - 0.25}, {"end", farthest}}));
    EXPECT_EQ(result("get_project")["song_end_beat"], farthest + 0.25) << "the copies end last";
}

TEST_F(NoteToolsTest, DuplicateAndRemoveClip) {
    EXPECT_EQ(result("duplicate_clip", {{"clip", "c3"}}), json({{"clip_ids", {"c4"}}, {"ends_at_beat", 8.0}}));
    EXPECT_EQ(clip("c4").start, 4.0);

    json d = result("duplicate_clip", {{"clip", "c3"}, {"times", "3"}, {"start", 16}, {"track", "Lead"}});
    EXPECT_EQ(d, json({{"clip_ids", {"c5", "c6", "c7"}}, {"ends_at_beat", 28.0}}));
    result("history", {{"action", "undo"}});
    EXPECT_TRUE(studio.project().tracks[1].clips.empty()) << "the copies are one step";

    d = result("duplicate_clip", {{"clip", "c3"}, {"times", 100}, {"start", 100}});
    EXPECT_EQ(d["clip_ids"].size(), 64u);
    EXPECT_EQ(d["ends_at_beat"], 100.0 + 64 * 4);
    d = result("duplicate_clip", {{"clip", "c3"}, {"times", "many"}, {"start", -5}});
    EXPECT_EQ(d["clip_ids"].size(), 1u);
    EXPECT_EQ(clip(d["clip_ids"][0]).start, 0.0);

    fails("duplicate_clip", {{"clip", "c99"}}, "No clip 'c99'.");
    fails("duplicate_clip", {{"clip", 3}}, "No clip ''.");
    fails("duplicate_clip", {{"clip", "c3"}, {"track", "Pads"}}, "No track 'Pads'. Tracks: t1 (Bass), t2 (Lead).");

    EXPECT_EQ(result("remove_clip", {{"clip", "c4"}}), json({{"removed", "c4"}}));
    EXPECT_EQ(studio.clip("c4"), nullptr);
    fails("remove_clip", {{"clip", "c4"}}, "No clip 'c4'. Call get_project to list clip ids.");
    fails("remove_clip", json::object(), "Missing 'clip' id (e.g. \"c4\").");
}

TEST_F(NoteToolsTest, AddNotesParsesSortsAndGrowsTheClip) {
    json r = result("add_notes", {{"clip", "c3"},
                                  {"notes", {{{"pitch", "E4"}, {"start", "1"}},
                                             {{"pitch", "kick"}, {"start", 0}, {"duration", 1}, {"velocity", 5}},
                                             {{"pitch", 67.4}, {"start", 1}, {"duration", "0.25"}, {"velocity", -1}},
                                             {{"pitch", "Bb2"}, {"start", 3.7}, {"velocity", "loud"}}}}});
    EXPECT_EQ(r, json({{"clip", "c3"}, {"added", 4}, {"note_count", 4}, {"clip_length", 4.0}})) << "ends at 4.2: no growth";
    EXPECT_EQ(notes(), (NoteTuples{{36, 0, 1, 1}, {64, 1, 0.5, 0.8}, {67, 1, 0.25, 0}, {46, 3.7, 0.5, 0.8}}));

    // Ending at 4.3 grows the clip to the next whole bar.
    expectFields(result("add_notes", {{"clip", "c3"}, {"notes", {{{"pitch", 60}, {"start", 3.8}}}}}), {{"clip_length", 8.0}, {"note_count", 5}});
    result("history", {{"action", "undo"}});
    EXPECT_EQ(clip("c3").length, 4.0) << "growth and notes are one step";
    EXPECT_EQ(clip("c3").notes.size(), 4u);
    result("history", {{"action", "redo"}});

    r = result("add_notes", {{"clip", "c3"}, {"replace", "yes"}, {"notes", {{{"pitch", "C5"}, {"start", 0.5}}}}});
    EXPECT_EQ(r, json({{"clip", "c3"}, {"added", 1}, {"note_count", 1}, {"clip_length", 8.0}})) << "never shrinks";
    EXPECT_EQ(result("add_notes", {{"clip", "c3"}, {"replace", true}, {"notes", json::array()}})["note_count"], 0);

    const json note = {{"pitch", 60}, {"start", 0}};
    const std::string shape = "'notes' must be an array of {pitch, start, duration?, velocity?}.";
    const std::string noStart = "notes[0] needs a non-negative 'start' (beats).";
    const std::vector<std::pair<json, std::string>> cases{
        {{{"clip", "c3"}, {"notes", note}}, shape},
        {{{"clip", "c3"}}, shape},
        {{{"clip", "c3"}, {"notes", {note, 60}}}, "notes[1] must be an object."},
        {{{"clip", "c3"}, {"notes", {note, {{"start", 1}}}}}, "notes[1] is missing 'pitch'."},
        {{{"clip", "c3"}, {"notes", {{{"pitch", 60}}}}}, noStart},
        {{{"clip", "c3"}, {"notes", {{{"pitch", 60}, {"start", -0.5}}}}}, noStart},
        {{{"clip", "c3"}, {"notes", {{{"pitch", 60}, {"start", 0}, {"duration", 0}}}}}, "notes[0] duration must be > 0."},
        {{{"clip", "c3"}, {"notes", {{{"pitch", "C#x"}, {"start", 0}}}}}, "Cannot parse pitch 'C#x'. " + badPitch},
        // Bad notes are reported before a bad clip.
        {{{"clip", "c99"}, {"notes", {{{"pitch", "Q"}, {"start", 0}}}}}, "Cannot parse pitch 'Q'. " + badPitch},
        {{{"notes", {note}}}, "Missing 'clip' id (e.g. \"c4\")."},
    };
    for (const auto& [arguments, message] : cases) fails("add_notes", arguments, message);
    EXPECT_FALSE(studio.activity().back().ok);
}

TEST_F(NoteToolsTest, RemoveNotesFiltersCombine) {
    const std::vector<Note> four{{36, 0, 1, 0.8}, {60, 0.5, 1, 0.8}, {64, 1, 1, 0.8}, {72, 2, 1, 0.8}};
    setNotes("c3", four);
    EXPECT_EQ(result("remove_notes", {{"clip", "c3"}, {"to", 0}}), json({{"removed", 0}, {"note_count", 4}, {"clip", "c3"}}));

    EXPECT_EQ(result("remove_notes", {{"clip", "c3"}, {"pitch", "E4"}})["removed"], 1);
    EXPECT_EQ(result("remove_notes", {{"clip", "c3"}, {"pitch_min", "C4"}, {"from", "1"}, {"to", 3}})["removed"], 1);
    EXPECT_EQ(notes(), (NoteTuples{{36, 0, 1, 0.8}, {60, 0.5, 1, 0.8}}));
    // A window start of exactly a note's start includes it.
    EXPECT_EQ(result("remove_notes", {{"clip", "c3"}, {"pitch_max", "kick"}, {"from", 0}})["removed"], 1);
    // A filter of the wrong type fails rather than matching every note.
    const std::string pitchType = "Pitch must be a MIDI number or note name like \"C4\".";
    fails("remove_notes", {{"clip", "c3"}, {"pitch", true}}, pitchType);
    fails("remove_notes", {{"clip", "c3"}, {"pitch_min", json::array({60})}}, pitchType);
    fails("transform_notes", {{"clip", "c3"}, {"pitch_max", nullptr}, {"velocity_set", 0.1}}, pitchType);

    setNotes("c3", four);
    EXPECT_EQ(result("remove_notes", {{"clip", "c3"}}), json({{"removed", 4}, {"note_count", 0}, {"clip", "c3"}}));

    setNotes("c3", four);
    fails("remove_notes", {{"clip", "c3"}, {"pitch_max", "X9"}}, "Cannot parse pitch 'X9'. " + badPitch);
    fails("remove_notes", {{"clip", "nope"}, {"pitch", "Y"}}, "Cannot parse pitch 'Y'. " + badPitch);
    fails("remove_notes", {{"clip", "nope"}}, "No clip 'nope'. Call get_project to list clip ids.");
}

TEST_F(NoteToolsTest, TransformPitchTimeAndVelocityOperations) {
    const std::vector<Note> base{{60, 0.1, 0.5, 0.5}, {64, 1.05, 0.5, 0.6}, {67, 2, 1, 0.9}};
    const NoteTuples unchanged{{60, 0.1, 0.5, 0.5}, {64, 1.05, 0.5, 0.6}, {67, 2, 1, 0.9}};
    auto run = [&](json arguments) {
        setNotes("c3", base);
        studio.updateClip("c3", std::nullopt, [](Clip& c) { c.length = 4; });
        arguments["clip"] = "c3";
        return result("transform_notes", arguments);
    };
    // Operations whose whole note list is exact.
    const std::vector<std::pair<json, NoteTuples>> exact{
        {{{"transpose", "2"}, {"octave", -1}}, {{50, 0.1, 0.5, 0.5}, {54, 1.05, 0.5, 0.6}, {57, 2, 1, 0.9}}},
        {{{"stretch", 2}}, {{60, 0.2, 1, 0.5}, {64, 2.1, 1, 0.6}, {67, 4, 2, 0.9}}},
        {{{"stretch", -2}}, unchanged},
        {{{"shift", -0.5}}, {{60, 0, 0.5, 0.5}, {64, 0.55, 0.5, 0.6}, {67, 1.5, 1, 0.9}}},
        {{{"quantize", 0.5}}, {{60, 0, 0.5, 0.5}, {64, 1, 0.5, 0.6}, {67, 2, 1, 0.9}}},
        {{{"velocity_scale", 2}, {"velocity_add", -0.5}}, {{60, 0.1, 0.5, 0.5}, {64, 1.05, 0.5, 0.7}, {67, 2, 1, 1}}},
        {{{"transpose", 200}}, {{127, 0.1, 0.5, 0.5}, {127, 1.05, 0.5, 0.6}, {127, 2, 1, 0.9}}},
        // C minor: E4 (64) snaps down to Eb4 (63) at equal distance; C and G stay.
        {{{"scale", "C minor"}}, {{60, 0.1, 0.5, 0.5}, {63, 1.05, 0.5, 0.6}, {67, 2, 1, 0.9}}},
        // A set velocity discards scale and add; no note falls silent.
        {{{"velocity_set", 0.5}, {"velocity_add", 0.2}, {"velocity_scale", 3}}, {{60, 0.1, 0.5, 0.5}, {64, 1.05, 0.5, 0.5}, {67, 2, 1, 0.5}}},
        {{{"velocity_set", 0}}, {{60, 0.1, 0.5, 0.01}, {64, 1.05, 0.5, 0.01}, {67, 2, 1, 0.01}}},
        // The window is taken before the edit: transposing notes into it does not pull them in.
        {{{"transpose", 7}, {"pitch_min", "E4"}, {"from", "1"}, {"to", 2}}, {{60, 0.1, 0.5, 0.5}, {71, 1.05, 0.5, 0.6}, {67, 2, 1, 0.9}}},
    };
    for (const auto& [arguments, expected] : exact) {
        json r = run(arguments);
        EXPECT_EQ(notes(), expected) << arguments.dump();
        EXPECT_EQ(r["notes_changed"], arguments.contains("pitch_min") ? 1 : 3) << arguments.dump();
    }
    EXPECT_EQ(run({{"stretch", 2}}), json({{"clip", "c3"}, {"notes_changed", 3}, {"note_count", 3}, {"clip_length", 8.0}}))
        << "the last note now ends at 6: the clip grows to whole bars";
    EXPECT_EQ(failure("transform_notes", {{"clip", "c3"}, {"scale", "C blues-ish"}}).rfind("Error: ", 0), 0u);

    run({{"quantize", "0.5"}, {"quantize_strength", 0.5}});
    EXPECT_DOUBLE_EQ(std::get<1>(notes()[0]), 0.05);
    EXPECT_DOUBLE_EQ(std::get<1>(notes()[1]), 1.025);
    run({{"quantize", 0.5}, {"quantize_strength", 7}});
    EXPECT_DOUBLE_EQ(std::get<1>(notes()[1]), 1.0) << "strength clamps to 1";

    // Wrong types are absent: nothing moves, but the floors still apply to the subset.
    setNotes("c3", {{60, 0, 0.001, 0}});
    result("transform_notes", {{"clip", "c3"}, {"transpose", "up"}, {"stretch", true}, {"reverse", json::object()}});
    EXPECT_EQ(notes(), (NoteTuples{{60, 0, 0.01, 0.01}}));
}

TEST_F(NoteToolsTest, TransformLegatoReverseAndEmptySubset) {
    // A chord at 0, a note at 1, and a last note at 2 in a 4-beat clip.
    const std::vector<Note> base{{60, 0, 0.25, 0.8}, {64, 0, 0.5, 0.8}, {67, 1, 0.5, 0.8}, {72, 2, 0.5, 0.8}};
    setNotes("c3", base);
    result("transform_notes", {{"clip", "c3"}, {"legato", "true"}});
    EXPECT_EQ(notes(), (NoteTuples{{60, 0, 1, 0.8}, {64, 0, 1, 0.8}, {67, 1, 1, 0.8}, {72, 2, 2, 0.8}}))
        << "a chord runs together to the next onset; the last note to the clip's end";

    setNotes("c3", base);
    result("transform_notes", {{"clip", "c3"}, {"reverse", 1}});
    // Span 0..2.5: each note's start becomes 0 + (2.5 - its end).
    EXPECT_EQ(notes(), (NoteTuples{{72, 0, 0.5, 0.8}, {67, 1, 0.5, 0.8}, {64, 2, 0.5, 0.8}, {60, 2.25, 0.25, 0.8}}));

    setNotes("c3", {{60, 1.5, 0.5, 0.8}});
    result("transform_notes", {{"clip", "c3"}, {"reverse", true}});
    EXPECT_EQ(notes(), (NoteTuples{{60, 1.5, 0.5, 0.8}})) << "one note reversed stays in place";

    // An empty subset changes nothing, not even a clip its notes already overhang.
    setNotes("c3", {{60, 3.9, 0.3, 0}});
    const Project before = studio.project();
    const std::uint32_t seed = globalSeed.load();
    json r = result("transform_notes", {{"clip", "c3"}, {"pitch_max", 10}, {"humanize", 1}, {"velocity_set", 1}});
    EXPECT_EQ(r, json({{"clip", "c3"}, {"notes_changed", 0}, {"note_count", 1}, {"clip_length", 4.0}}));
    EXPECT_TRUE(studio.project() == before);
    EXPECT_EQ(globalSeed.load(), seed * 1664525u + 1013904223u) << "the seed steps once per call";

    fails("transform_notes", {{"clip", "c99"}, {"transpose", 1}}, "No clip 'c99'.");
    fails("transform_notes", {{"transpose", 1}}, "No clip ''.");
    fails("transform_notes", {{"clip", "c3"}, {"pitch_min", "Z"}}, "Cannot parse pitch 'Z'. " + badPitch);
}

TEST_F(NoteToolsTest, HumanizeIsReproducibleFromTheGlobalSeed) {
    const std::vector<Note> base{{60, 0, 0.5, 0.5}, {64, 1, 0.5, 0.5}, {67, 2, 0.5, 0.5}};
    auto humanized = [&](std::optional<std::uint32_t> seed, json arguments = {{"humanize", "0.5"}}) {
        setNotes("c3", base);
        if (seed) globalSeed.store(*seed);
        arguments["clip"] = "c3";
        result("transform_notes", arguments);
        return notes();
    };

    // One generator made from the seed per call, two draws per note in note order: time, then
    // velocity; the time step is 20 ms in beats.
    globalSeed.store(0x12345678u);
    Rand rand = Rand::make();
    NoteTuples expected;
    for (const Note& n : base) {
        const double start = std::max(n.start + (120 * 0.02 / 60) * 0.5 * rand.bipolar(), 0.0);
        const double velocity = std::clamp(n.velocity + rand.bipolar() * 0.12 * 0.5, 0.01, 1.0);
        expected.emplace_back(n.pitch, start, n.duration, velocity);
    }
    std::sort(expected.begin(), expected.end(), [](const auto& a, const auto& b) { return std::get<1>(a) < std::get<1>(b); });

    const auto first = humanized(0x12345678u);
    ASSERT_EQ(first.size(), expected.size());
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(std::get<0>(first[i]), std::get<0>(expected[i])) << i;
        EXPECT_DOUBLE_EQ(std::get<1>(first[i]), std::get<1>(expected[i])) << i;
        EXPECT_DOUBLE_EQ(std::get<3>(first[i]), std::get<3>(expected[i])) << i;
    }
    EXPECT_EQ(humanized(0x12345678u), first) << "the same seed gives the same humanize";

    // Two calls in a row differ, also with a call that does not humanize in between.
    humanized(0x12345678u, {{"transpose", 0}});
    EXPECT_NE(humanized(std::nullopt), first);
}

TEST_F(NoteToolsTest, PlayNotesAuditionsWithoutTouchingTheSong) {
    studio.mutate([](Project& p) { p.tempo = 90; });
    const Project before = studio.project();
    const std::size_t queued = studio.core().auditionCount();

    json r = result("play_notes", {{"track", "Lead"}, {"notes", {{{"pitch", "C4"}, {"start", 0}}, {{"pitch", "G4"}, {"start", "1"}, {"duration", 2}}}}});
    EXPECT_EQ(r, json({{"playing", 2}, {"seconds", 2.0}})) << "3 beats at 90 BPM";
    studio.core().render(0, nullptr, nullptr, 0); // the audio thread's next callback
    EXPECT_EQ(studio.core().auditionCount(), queued + 2) << "the engine holds both notes while stopped";
    EXPECT_FALSE(studio.live().isPlaying);
    EXPECT_TRUE(studio.project() == before);

    EXPECT_EQ(result("play_notes", {{"track", 0}, {"notes", {{{"pitch", 60}, {"start", 0}, {"duration", 1.0 / 3}}}}})["seconds"], 0.2222);
    EXPECT_EQ(result("play_notes", {{"track", 0}, {"notes", json::array()}}), json({{"playing", 0}, {"seconds", 0}}));

    fails("play_notes", {{"track", 5}, {"notes", json::array()}}, "Track index 5 out of range (0..<2).");
    fails("play_notes", {{"track", 0}, {"notes", {{{"start", 0}}}}}, "notes[0] is missing 'pitch'.");
    studio.undo();
    EXPECT_EQ(studio.project().tempo, 120) << "auditions left no undo step: undo takes the tempo back";
}
