#include "theory/Chords.h"
#include "theory/Voicing.h"

#include "ErrorText.h"

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace velmo::MusicTheory {
namespace {

using velmo::testing::paramErrorOf;
using Pitches = std::vector<int>;

// Every quality in table order, aliases that share intervals on one row (the order is also
// the one the "Supported:" list below spells out).
const std::vector<std::pair<std::string, Pitches>> kQualities{
    {"maj13", {0, 4, 7, 11, 14, 21}}, {"maj9", {0, 4, 7, 11, 14}}, {"maj7 M7 Δ7 Δ", {0, 4, 7, 11}},
    {"mmaj7", {0, 3, 7, 11}}, {"m7b5 ø7 ø", {0, 3, 6, 10}}, {"m13", {0, 3, 7, 10, 14, 21}},
    {"m11", {0, 3, 7, 10, 14, 17}}, {"m9", {0, 3, 7, 10, 14}}, {"m7 min7 -7", {0, 3, 7, 10}}, {"m6", {0, 3, 7, 9}},
    {"madd9", {0, 3, 7, 14}}, {"min m -", {0, 3, 7}}, {"dim7 °7", {0, 3, 6, 9}}, {"dim °", {0, 3, 6}},
    {"aug7 +7", {0, 4, 8, 10}}, {"aug +", {0, 4, 8}}, {"7sus4", {0, 5, 7, 10}}, {"sus2", {0, 2, 7}},
    {"sus4 sus", {0, 5, 7}}, {"7b9", {0, 4, 7, 10, 13}}, {"7#9", {0, 4, 7, 10, 15}}, {"7#11", {0, 4, 7, 10, 18}},
    {"13", {0, 4, 7, 10, 14, 21}}, {"11", {0, 4, 7, 10, 14, 17}}, {"9", {0, 4, 7, 10, 14}}, {"7", {0, 4, 7, 10}},
    {"add9", {0, 4, 7, 14}}, {"6/9 69", {0, 4, 7, 9, 14}}, {"6", {0, 4, 7, 9}}, {"maj M", {0, 4, 7}},
    {"5", {0, 7}}, {"", {0, 4, 7}},
};

TEST(Chords, EveryQualityGivesItsExactPitches) {
    std::size_t row = 0;
    for (const auto& [aliases, intervals] : kQualities) {
        std::istringstream words(aliases);
        std::vector<std::string> suffixes{std::istream_iterator<std::string>(words), {}};
        if (suffixes.empty()) suffixes.push_back("");
        for (const std::string& suffix : suffixes) {
            ASSERT_LT(row, chordQualities().size());
            EXPECT_EQ(chordQualities()[row++].suffix, suffix) << "row " << row;
            // D at octave 3 is 50; Eb at octave 5 is 75.
            for (auto [root, base] : {std::pair<std::string, int>{"D", 50}, {"Eb", 75}}) {
                Pitches expected;
                for (int interval : intervals) expected.push_back(std::min(base + interval, 127));
                EXPECT_EQ(chordPitches(root + suffix, root == "D" ? 3 : 5, 0), expected) << root + suffix;
            }
        }
    }
    EXPECT_EQ(row, chordQualities().size());
}

TEST(Chords, InversionsSlashBassAndClamping) {
    // Inversions rotate at most one fewer than the notes; a slash bass goes below the chord, and
    // text after its pitch class is ignored; pitches clamp to the MIDI range.
    struct Case { const char* symbol; int octave, inversion; Pitches pitches; };
    for (const Case& c : std::vector<Case>{
             {"Am7", 4, 0, {69, 72, 76, 79}}, {"Am7", 4, 1, {72, 76, 79, 81}}, {"Am7", 4, 3, {79, 81, 84, 88}},
             {"C", 4, 9, {67, 72, 76}}, {"C", 4, -2, {60, 64, 67}}, {"  Dbm7 ", 4, 0, {61, 64, 68, 71}},
             {"Cb5", 4, 0, {71, 78}}, {"C/E", 4, 0, {52, 60, 64, 67}}, {"C/G", 4, 0, {55, 60, 64, 67}},
             {"C/C", 4, 0, {48, 60, 64, 67}}, {"C/E", 4, 2, {52, 67, 72, 76}}, {"C/G7", 4, 0, {55, 60, 64, 67}},
             {"C6/9", 4, 0, {60, 64, 67, 69, 74}}, {"C6/9/E", 4, 0, {52, 60, 64, 67, 69, 74}},
             {"G", 9, 0, {127, 127, 127}}, {"C/E", -1, 0, {0, 0, 4, 7}}, {"C", 2000000000, 0, {127, 127, 127}},
             {"C", -2000000000, 0, {0, 0, 0}}})
        EXPECT_EQ(chordPitches(c.symbol, c.octave, c.inversion), c.pitches)
            << c.symbol << " octave " << c.octave << " inversion " << c.inversion;
    EXPECT_TRUE(hasSlashBass("Am/G"));
    EXPECT_FALSE(hasSlashBass("F6/9 "));
}

TEST(Chords, FailuresNameTheSymbolAndTheChoices) {
    EXPECT_EQ(paramErrorOf([] { chordPitches("Xm7", 4, 0); }), "Cannot parse chord 'Xm7'.");
    EXPECT_EQ(paramErrorOf([] { chordPitches("", 4, 0); }), "Cannot parse chord ''.");
    EXPECT_EQ(paramErrorOf([] { chordPitches("/E", 4, 0); }), "Cannot parse chord '/E'.");
    EXPECT_EQ(paramErrorOf([] { chordPitches("C/X", 4, 0); }), "Cannot parse bass note in 'C/X'.");
    EXPECT_EQ(paramErrorOf([] { chordPitches("C/", 4, 0); }), "Cannot parse bass note in 'C/'.");
    EXPECT_EQ(paramErrorOf([] { chordPitches("Cmaj8", 4, 0); }),
              "Unknown chord quality 'maj8' in 'Cmaj8'. Supported: maj13 maj9 maj7 M7 Δ7 Δ mmaj7 m7b5 ø7 ø "
              "m13 m11 m9 m7 min7 -7 m6 madd9 min m - dim7 °7 dim ° aug7 +7 aug + 7sus4 sus2 sus4 sus 7b9 "
              "7#9 7#11 13 11 9 7 add9 6/9 69 6 maj M 5 (major)");
    EXPECT_TRUE(paramErrorOf([] { chordPitches("Cm6/9", 4, 0); })
                    .starts_with("Unknown chord quality 'm6/9' in 'Cm6/9'. Supported: maj13 "));
}

TEST(Voicing, LeadsEachChordToTheNearestInversion) {
    EXPECT_EQ(voiceLead("F", 4, {60, 64, 67}), (Pitches{60, 65, 69}));
    EXPECT_EQ(voiceLead("G", 4, {60, 65, 69}), (Pitches{59, 62, 67}));
    EXPECT_EQ(voiceLead("C", 4, {60, 64, 67}), (Pitches{60, 64, 67}));
    // The slash bass stays put below; only the upper notes move.
    EXPECT_EQ(voiceLead("G/B", 4, {60, 64, 67}), (Pitches{59, 59, 62, 67}));
    // A tie goes to the earlier candidate: root position an octave down comes first.
    EXPECT_EQ(voiceLead("C", 4, {50, 54, 57}), (Pitches{48, 52, 55}));
    EXPECT_EQ(voiceLead("C/E", 4, {}), chordPitches("C/E", 4, 0));
    EXPECT_EQ(paramErrorOf([] { voiceLead("Q", 4, {60}); }), "Cannot parse chord 'Q'.");
}

} // namespace
} // namespace velmo::MusicTheory
