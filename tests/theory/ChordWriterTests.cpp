// The chord writer's notes, exactly: voicings led or told, the doubled bass, strums and every
// arpeggio order, and the progression text's lengths.
#include "theory/ChordWriter.h"

#include "base/UserError.h"
#include "support/NoteText.h"

#include <gtest/gtest.h>

namespace velmo::MusicTheory {
namespace {

using velmo::testing::pitches;
using velmo::testing::show;

WrittenProgression write(std::string_view text, ChordPlaying playing = {}, double length = 4) {
    ChordEvent defaults;
    defaults.duration = length;
    Rand random = Rand::seeded(1);
    return writeProgression(parseProgression(text, 0, defaults), playing, random);
}

ChordPlaying style(ChordStyle style, double rate = kDefaultArpeggioStep) { return {style, rate}; }

TEST(ChordWriter, VoicingsLedToldAndDoubled) {
    ChordPlaying plain;
    plain.voiceLead = false;
    WrittenProgression w = write("C F", plain);
    EXPECT_EQ(w.voicings, (std::vector<std::string>{"C: C4 E4 G4", "F: F4 A4 C5"}));
    EXPECT_EQ(show(w.notes), show({{60, 0, 4, 0.7}, {64, 0, 4, 0.7}, {67, 0, 4, 0.7},
                                   {65, 4, 4, 0.7}, {69, 4, 4, 0.7}, {72, 4, 4, 0.7}}));

    // Led from C, F takes its second inversion an octave down.
    EXPECT_EQ(write("C F").voicings, (std::vector<std::string>{"C: C4 E4 G4", "F: C4 F4 A4"}));

    // A told inversion is kept, and the next chord is led from it, not from root position.
    ChordEvent first{"C", 0, 4, 4, 1};
    ChordEvent second{"F", 4, 4, 4, std::nullopt};
    Rand random = Rand::seeded(1);
    EXPECT_EQ(writeProgression({first, second}, {}, random).voicings,
              (std::vector<std::string>{"C: E4 G4 C5", "F: F4 A4 C5"}));

    // The bass doubles the root below everything, also below a slash bass, and the voicing text
    // leaves it out.
    ChordPlaying bass;
    bass.bass = true;
    w = write("C/E", bass);
    EXPECT_EQ(w.voicings, std::vector<std::string>{"C/E: E3 C4 E4 G4"});
    EXPECT_EQ(pitches(w.notes), (std::vector<int>{48, 52, 60, 64, 67}));
}

TEST(ChordWriter, ArpeggiosAndStrums) {
    // Four sixteenths over one beat; odd steps at 85 % velocity, each step 90 % long.
    EXPECT_EQ(show(write("C", style(ChordStyle::arpUp), 1).notes),
              show({{60, 0, 0.225, 0.7}, {64, 0.25, 0.225, 0.595}, {67, 0.5, 0.225, 0.7}, {60, 0.75, 0.225, 0.595}}));
    EXPECT_EQ(show(write("C", style(ChordStyle::arpDown, 0.5), 1).notes), show({{67, 0, 0.45, 0.7}, {64, 0.5, 0.45, 0.595}}));
    EXPECT_EQ(pitches(write("Cmaj7", style(ChordStyle::arpUpDown), 2).notes), (std::vector<int>{60, 64, 67, 71, 67, 64, 60, 64}));
    // 0.3 / 0.1 is three steps, not two; a rate of zero cannot divide the chord: one step.
    EXPECT_EQ(pitches(write("C", style(ChordStyle::arpUp, 0.1), 0.3).notes), (std::vector<int>{60, 64, 67}));
    EXPECT_EQ(write("C", style(ChordStyle::arpUp, 0), 1).notes.size(), 1u);

    // Strum: each string later by the rate, shorter by as much, 4 % softer, at least 0.05 beats.
    EXPECT_EQ(show(write("Am7", style(ChordStyle::strum, kDefaultStrumSpread)).notes),
              show({{69, 0, 4, 0.7}, {72, 0.03, 3.97, 0.672}, {76, 0.06, 3.94, 0.644}, {79, 0.09, 3.91, 0.616}}));
    EXPECT_EQ(show(write("Am7", style(ChordStyle::strum, kDefaultStrumSpread), 0.1).notes),
              show({{69, 0, 0.1, 0.7}, {72, 0.03, 0.07, 0.672}, {76, 0.06, 0.05, 0.644}, {79, 0.09, 0.05, 0.616}}));
}

TEST(ChordWriter, ProgressionTextsAndLimits) {
    // "C:2 G:2 Am" after beat 1; a length that is no finite number leaves the default.
    ChordEvent defaults;
    defaults.duration = 3;
    std::vector<std::pair<double, double>> spans;
    for (const ChordEvent& c : parseProgression(" C:2\tG::2 Am C:x E:inf ", 1, defaults)) spans.push_back({c.start, c.duration});
    EXPECT_EQ(spans, (std::vector<std::pair<double, double>>{{1, 2}, {3, 2}, {5, 3}, {8, 3}, {11, 3}}));
    EXPECT_TRUE(parseProgression(" \t ", 0, defaults).empty());

    Rand random = Rand::seeded(1);
    try {
        writeProgression({{"C", 0, 4, 4, std::nullopt}}, style(ChordStyle::arpUp, 1e-6), random);
        ADD_FAILURE() << "no limit";
    } catch (const UserError& error) {
        EXPECT_EQ(error.message(), "The arpeggio of 'C' would take 4000000 steps; the limit is 100000. Use a larger 'rate'.");
    }
}

} // namespace
} // namespace velmo::MusicTheory
