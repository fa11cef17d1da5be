#include "theory/NoteNames.h"

#include "base/UserError.h"
#include "model/Unicode.h"
#include "theory/DrumMap.h"
#include "theory/TextScan.h"

#include <cmath>

namespace velmo::MusicTheory {

using namespace detail;

namespace {

// Natural pitch class of an upper-case letter, or -1.
int letterClass(char upper) {
    switch (upper) {
    case 'C': return 0;
    case 'D': return 2;
    case 'E': return 4;
    case 'F': return 5;
    case 'G': return 7;
    case 'A': return 9;
    case 'B': return 11;
    default: return -1;
    }
}

constexpr std::string_view kSharpSign = "\u266F";  // ♯
constexpr std::string_view kFlatSign = "\u266D";   // ♭

} // namespace

std::string noteName(int pitch) {
    // Floor division, so that -1 lies in octave -2 like the other notes below C-1.
    const auto wide = static_cast<std::int64_t>(pitch);
    const std::int64_t octave = (wide - pitchClassOf(wide)) / 12 - 1;
    return std::string(pitchClassNames[static_cast<std::size_t>(pitchClassOf(wide))]) + std::to_string(octave);
}

std::optional<PitchClassParse> parsePitchClass(std::string_view text) {
    if (text.empty()) return std::nullopt;
    char first = text.front();
    if (first >= 'a' && first <= 'z') first = static_cast<char>(first - 'a' + 'A');
    const int natural = letterClass(first);
    if (natural < 0) return std::nullopt;

    int pitchClass = natural;
    std::string_view rest = text.substr(1);
    for (;;) {
        if (!rest.empty() && rest.front() == '#') {
            pitchClass += 1;
            rest.remove_prefix(1);
        } else if (!rest.empty() && rest.front() == 'b') {
            pitchClass -= 1;
            rest.remove_prefix(1);
        } else if (rest.starts_with(kSharpSign)) {
            pitchClass += 1;
            rest.remove_prefix(kSharpSign.size());
        } else if (rest.starts_with(kFlatSign)) {
            pitchClass -= 1;
            rest.remove_prefix(kFlatSign.size());
        } else {
            break;
        }
        pitchClass = pitchClassOf(pitchClass);  // keeps any run of accidentals in range
    }
    return PitchClassParse{pitchClass, rest};
}

int parsePitch(const nlohmann::json& value) {
    static const std::string kTypeMessage = "Pitch must be a MIDI number or note name like \"C4\".";

    if (value.is_number()) {  // nlohmann keeps booleans apart from numbers
        const double number = value.get<double>();
        if (std::isnan(number)) throw ParamError(kTypeMessage);
        const double rounded = std::round(number);  // halves away from zero
        return static_cast<int>(rounded < 0 ? 0 : rounded > 127 ? 127 : rounded);
    }
    if (!value.is_string()) throw ParamError(kTypeMessage);

    const auto& original = value.get_ref<const std::string&>();
    const std::string_view text = trimmed(original);
    if (auto number = decimalInteger(text)) return clampToMIDI(*number);

    if (auto drum = drumNote(blanksToUnderscores(lowercased(text)))) return *drum;

    if (auto parsed = parsePitchClass(text)) {
        if (auto octave = decimalInteger(parsed->rest))
            return clampToMIDI((*octave + 1) * 12 + parsed->pitchClass);
    }
    throw ParamError("Cannot parse pitch '" + original + "'. Use MIDI numbers (60) or names like C4, F#3, Bb2.");
}

} // namespace velmo::MusicTheory
