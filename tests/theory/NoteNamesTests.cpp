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
    for (auto [pitch, name] : std::vector<std::pair<int, std::string>>{
             {60, "C4"}, {0, "C-1"}, {127, "G9"}, {61, "C#4"}, {59, "B3"}, {-1, "B-2"}, {-12, "C-2"}, {-13, "B-3"}})
        EXPECT_EQ(noteName(pitch), name);
    for (int pitch = 0; pitch <= 127; ++pitch)
        EXPECT_EQ(pitchOf(noteName(pitch).c_str()), pitch) << noteName(pitch);
}

TEST(NoteNames, PitchClassReadsAnyRunOfAccidentals) {
    for (auto [text, pitchClass] : std::vector<std::pair<const char*, int>>{
             {"a", 9}, {"Bb", 10}, {"Bbb", 9}, {"B#", 0}, {"Cb", 11}, {"F##", 7}, {"E♯", 5}, {"D♭", 1},
             {"C#b#b#", 1}, {"", -1}, {"H", -1}, {"#C", -1}}) {
        auto parsed = parsePitchClass(text);
        EXPECT_EQ(parsed ? parsed->pitchClass : -1, pitchClass) << text;
    }
    EXPECT_EQ(parsePitchClass("Ebm7")->rest, "m7");
    EXPECT_EQ(parsePitchClass("G♭-1")->rest, "-1");
}

TEST(NoteNames, ParsesNumbersNamesAndDrumWordsWithClamping) {
    for (auto [value, pitch] : std::vector<std::pair<json, int>>{
             {60, 60}, {60.4, 60}, {60.5, 61}, {-0.5, 0}, {200, 127}, {-5, 0}, {1e300, 127},
             {18446744073709551615ull, 127}})
        EXPECT_EQ(parsePitch(value), pitch) << value.dump();
    // Numeric text, enharmonic spellings; the accidental wraps inside the octave with no carry
    // into the octave number (Cb4, B#3); drum words win over note names (cb, ch, bd).
    for (auto [text, pitch] : std::vector<std::pair<const char*, int>>{
             {"60", 60}, {" +61 ", 61}, {"-3", 0}, {"99999999999999999999999", 127}, {" c#4 ", 61}, {"Db4", 61},
             {"C♯4", 61}, {"D♭4", 61}, {"Bb2", 46}, {"A#2", 46}, {"Bbb3", 57}, {"E#4", 65}, {"Fb4", 64},
             {"C-1", 0}, {"G9", 127}, {"A9", 127}, {"C-5", 0}, {"Cb4", 71}, {"B#3", 48}, {"open hat", 46},
             {"  Open Hat ", 46}, {"KICK", 36}, {"cb", 56}, {"ch", 42}, {"bd", 36}})
        EXPECT_EQ(pitchOf(text), pitch) << "'" << text << "'";
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
    for (auto [word, note] : std::vector<std::pair<const char*, std::optional<int>>>{
             {"hat", 42}, {"pedal_hat", 44}, {"tom_high", 48}, {"cowbell", 56},
             {"Kick", std::nullopt} /* the caller lower-cases */, {"open hat", std::nullopt}})
        EXPECT_EQ(drumNote(word), note) << word;
    EXPECT_EQ(drumLabels().size(), 23u);
    for (auto [note, label] : std::vector<std::pair<int, std::optional<std::string>>>{
             {35, "Kick 2"}, {46, "Open Hat"}, {59, "Ride 2"}, {54, std::nullopt}, {58, std::nullopt}, {60, std::nullopt}})
        EXPECT_EQ(drumDisplayName(note), label) << note;
    for (std::size_t i = 1; i < drumLabels().size(); ++i)
        EXPECT_LT(drumLabels()[i - 1].note, drumLabels()[i].note);
}

} // namespace
} // namespace velmo::MusicTheory
