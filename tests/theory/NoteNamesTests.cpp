#include "theory/DrumMap.h"
#include "theory/NoteNames.h"

#include "ErrorText.h"

#include <gtest/gtest.h>

namespace velmo::MusicTheory {
namespace {

using nlohmann::json;
using velmo::testing::paramErrorOf;

int pitchOf(const char* text) {
    return parsePitch(json(text));
}

TEST(NoteNames, NamesTheOctaveByFloorDivision) {
    EXPECT_EQ(noteName(60), "C4");
    EXPECT_EQ(noteName(0), "C-1");
    EXPECT_EQ(noteName(127), "G9");
    EXPECT_EQ(noteName(61), "C#4");
    EXPECT_EQ(noteName(59), "B3");
    EXPECT_EQ(noteName(-1), "B-2");
    EXPECT_EQ(noteName(-12), "C-2");
    EXPECT_EQ(noteName(-13), "B-3");
}

TEST(NoteNames, EveryMIDINoteNameReadsBackToItsNumber) {
    for (int pitch = 0; pitch <= 127; ++pitch)
        EXPECT_EQ(pitchOf(noteName(pitch).c_str()), pitch) << noteName(pitch);
}

TEST(NoteNames, PitchClassReadsAnyRunOfAccidentals) {
    auto classOf = [](const char* text) {
        auto parsed = parsePitchClass(text);
        return parsed ? parsed->pitchClass : -1;
    };
    EXPECT_EQ(classOf("a"), 9);
    EXPECT_EQ(classOf("Bb"), 10);
    EXPECT_EQ(classOf("Bbb"), 9);
    EXPECT_EQ(classOf("B#"), 0);
    EXPECT_EQ(classOf("Cb"), 11);
    EXPECT_EQ(classOf("F##"), 7);
    EXPECT_EQ(classOf("E♯"), 5);
    EXPECT_EQ(classOf("D♭"), 1);
    EXPECT_EQ(classOf("C#b#b#"), 1);
    EXPECT_EQ(classOf(""), -1);
    EXPECT_EQ(classOf("H"), -1);
    EXPECT_EQ(classOf("#C"), -1);
    EXPECT_EQ(parsePitchClass("Ebm7")->rest, "m7");
    EXPECT_EQ(parsePitchClass("G♭-1")->rest, "-1");
}

TEST(NoteNames, ParsesNumbersAndNumericTextWithClamping) {
    EXPECT_EQ(parsePitch(json(60)), 60);
    EXPECT_EQ(parsePitch(json(60.4)), 60);
    EXPECT_EQ(parsePitch(json(60.5)), 61);
    EXPECT_EQ(parsePitch(json(-0.5)), 0);
    EXPECT_EQ(parsePitch(json(200)), 127);
    EXPECT_EQ(parsePitch(json(-5)), 0);
    EXPECT_EQ(parsePitch(json(1e300)), 127);
    EXPECT_EQ(parsePitch(json(18446744073709551615ull)), 127);
    EXPECT_EQ(pitchOf("60"), 60);
    EXPECT_EQ(pitchOf(" +61 "), 61);
    EXPECT_EQ(pitchOf("-3"), 0);
    EXPECT_EQ(pitchOf("99999999999999999999999"), 127);
}

TEST(NoteNames, ParsesNoteNamesAndEnharmonicSpellings) {
    EXPECT_EQ(pitchOf(" c#4 "), 61);
    EXPECT_EQ(pitchOf("Db4"), 61);
    EXPECT_EQ(pitchOf("C♯4"), 61);
    EXPECT_EQ(pitchOf("D♭4"), 61);
    EXPECT_EQ(pitchOf("Bb2"), 46);
    EXPECT_EQ(pitchOf("A#2"), 46);
    EXPECT_EQ(pitchOf("Bbb3"), 57);
    EXPECT_EQ(pitchOf("E#4"), 65);
    EXPECT_EQ(pitchOf("Fb4"), 64);
    EXPECT_EQ(pitchOf("C-1"), 0);
    EXPECT_EQ(pitchOf("G9"), 127);
    EXPECT_EQ(pitchOf("A9"), 127);
    EXPECT_EQ(pitchOf("C-5"), 0);
    // The accidental wraps inside the octave, with no carry into the octave number.
    EXPECT_EQ(pitchOf("Cb4"), 71);
    EXPECT_EQ(pitchOf("B#3"), 48);
}

TEST(NoteNames, DrumWordsWinOverNoteNames) {
    EXPECT_EQ(pitchOf("open hat"), 46);
    EXPECT_EQ(pitchOf("  Open Hat "), 46);
    EXPECT_EQ(pitchOf("KICK"), 36);
    EXPECT_EQ(pitchOf("cb"), 56);
    EXPECT_EQ(pitchOf("ch"), 42);
    EXPECT_EQ(pitchOf("bd"), 36);
    for (const auto& entry : drumWords())
        EXPECT_EQ(pitchOf(std::string(entry.word).c_str()), entry.note) << entry.word;
}

TEST(NoteNames, FailuresExplainWhatIsAccepted) {
    const std::string typeMessage = "Pitch must be a MIDI number or note name like \"C4\".";
    EXPECT_EQ(paramErrorOf([] { parsePitch(json(true)); }), typeMessage);
    EXPECT_EQ(paramErrorOf([] { parsePitch(json(nullptr)); }), typeMessage);
    EXPECT_EQ(paramErrorOf([] { parsePitch(json::array({60})); }), typeMessage);
    EXPECT_EQ(paramErrorOf([] { parsePitch(json::object()); }), typeMessage);

    const std::string hint = "'. Use MIDI numbers (60) or names like C4, F#3, Bb2.";
    for (const char* text : {"C", " H4 ", "", "C4.5", "C#", "4C", "kick drum", "60.5", "C 4"})
        EXPECT_EQ(paramErrorOf([&] { pitchOf(text); }), "Cannot parse pitch '" + std::string(text) + hint);
}

TEST(DrumMap, WordsAndLabelsMatchGeneralMIDI) {
    EXPECT_EQ(drumWords().size(), 37u);
    EXPECT_EQ(drumNote("hat"), 42);
    EXPECT_EQ(drumNote("pedal_hat"), 44);
    EXPECT_EQ(drumNote("tom_high"), 48);
    EXPECT_EQ(drumNote("cowbell"), 56);
    EXPECT_EQ(drumNote("Kick"), std::nullopt);  // the caller lower-cases
    EXPECT_EQ(drumNote("open hat"), std::nullopt);

    EXPECT_EQ(drumLabels().size(), 23u);
    EXPECT_EQ(drumDisplayName(35), "Kick 2");
    EXPECT_EQ(drumDisplayName(46), "Open Hat");
    EXPECT_EQ(drumDisplayName(59), "Ride 2");
    EXPECT_EQ(drumDisplayName(54), std::nullopt);
    EXPECT_EQ(drumDisplayName(58), std::nullopt);
    EXPECT_EQ(drumDisplayName(60), std::nullopt);
    for (std::size_t i = 1; i < drumLabels().size(); ++i)
        EXPECT_LT(drumLabels()[i - 1].note, drumLabels()[i].note);
}

} // namespace
} // namespace velmo::MusicTheory
