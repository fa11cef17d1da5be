// Note names both ways: MIDI number to "C#4" and text (a number, a note name or a drum word) to a
// MIDI number. Pitch 60 is "C4"; a pitch's octave is floor(pitch / 12) - 1. Stateless: any thread.
#pragma once

#include <nlohmann/json.hpp>

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace velmo::MusicTheory {

// The twelve pitch classes, sharps only, from C.
inline constexpr std::array<std::string_view, 12> pitchClassNames{"C", "C#", "D", "D#", "E", "F",
                                                                  "F#", "G", "G#", "A", "A#", "B"};

// "C4" for 60, "C-1" for 0, "G9" for 127. Any int has a name: -1 is "B-2".
std::string noteName(int pitch);

struct PitchClassParse {
    int pitchClass = 0;     // 0 to 11
    std::string_view rest;  // what follows the accidentals; a view into the parsed text
};

// A letter A-G in either case, then any number of "#", "♯", "b", "♭". A "b" right after the
// letter is always a flat: "Bb" is B flat, "Bbb" is A. Nothing if the text starts otherwise.
std::optional<PitchClassParse> parsePitchClass(std::string_view text);

// A JSON number (rounded, halves away from zero), a decimal text, a drum word ("kick",
// "open hat") or a note name ("C4", "F#-1"), clamped to 0..127. Drum words win over note names,
// so "cb" is the cowbell. The accidental wraps within the octave with no carry: "Cb4" is 71.
// Throws ParamError with the message an agent can correct itself from.
int parsePitch(const nlohmann::json& value);

} // namespace velmo::MusicTheory
