#include "theory/Chords.h"

#include "base/UserError.h"
#include "theory/NoteNames.h"
#include "theory/TextScan.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace velmo::MusicTheory {

using namespace detail;

const std::vector<ChordQuality>& chordQualities() {
    // Matched by exact equality with the text after the root, so the order decides only how the
    // failure message lists them.
    static const std::vector<ChordQuality> qualities{
        {"maj13", {0, 4, 7, 11, 14, 21}},
        {"maj9", {0, 4, 7, 11, 14}},
        {"maj7", {0, 4, 7, 11}},
        {"M7", {0, 4, 7, 11}},
        {"Δ7", {0, 4, 7, 11}},
        {"Δ", {0, 4, 7, 11}},
        {"mmaj7", {0, 3, 7, 11}},
        {"m7b5", {0, 3, 6, 10}},
        {"ø7", {0, 3, 6, 10}},
        {"ø", {0, 3, 6, 10}},
        {"m13", {0, 3, 7, 10, 14, 21}},
        {"m11", {0, 3, 7, 10, 14, 17}},
        {"m9", {0, 3, 7, 10, 14}},
        {"m7", {0, 3, 7, 10}},
        {"min7", {0, 3, 7, 10}},
        {"-7", {0, 3, 7, 10}},
        {"m6", {0, 3, 7, 9}},
        {"madd9", {0, 3, 7, 14}},
        {"min", {0, 3, 7}},
        {"m", {0, 3, 7}},
        {"-", {0, 3, 7}},
        {"dim7", {0, 3, 6, 9}},
        {"°7", {0, 3, 6, 9}},
        {"dim", {0, 3, 6}},
        {"°", {0, 3, 6}},
        {"aug7", {0, 4, 8, 10}},
        {"+7", {0, 4, 8, 10}},
        {"aug", {0, 4, 8}},
        {"+", {0, 4, 8}},
        {"7sus4", {0, 5, 7, 10}},
        {"sus2", {0, 2, 7}},
        {"sus4", {0, 5, 7}},
        {"sus", {0, 5, 7}},
        {"7b9", {0, 4, 7, 10, 13}},
        {"7#9", {0, 4, 7, 10, 15}},
        {"7#11", {0, 4, 7, 10, 18}},
        {"13", {0, 4, 7, 10, 14, 21}},
        {"11", {0, 4, 7, 10, 14, 17}},
        {"9", {0, 4, 7, 10, 14}},
        {"7", {0, 4, 7, 10}},
        {"add9", {0, 4, 7, 14}},
        {"6/9", {0, 4, 7, 9, 14}},
        {"69", {0, 4, 7, 9, 14}},
        {"6", {0, 4, 7, 9}},
        {"maj", {0, 4, 7}},
        {"M", {0, 4, 7}},
        {"5", {0, 7}},
        {"", {0, 4, 7}},
    };
    return qualities;
}

bool hasSlashBass(std::string_view symbol) {
    symbol = trimmed(symbol);
    return symbol.find('/') != std::string_view::npos && !symbol.ends_with("6/9");
}

namespace {

const std::string& supportedSuffixes() {
    static const std::string list = [] {
        std::string text;
        for (const auto& quality : chordQualities()) {
            if (!text.empty()) text += ' ';
            text += quality.suffix.empty() ? std::string_view("(major)") : quality.suffix;
        }
        return text;
    }();
    return list;
}

} // namespace

std::vector<int> chordPitches(std::string_view symbolText, int octave, int inversion) {
    const std::string_view symbol = trimmed(symbolText);
    std::string_view chord = symbol;
    std::string_view bass;
    const bool slash = hasSlashBass(symbol);
    if (slash) {
        const auto cut = symbol.rfind('/');
        chord = symbol.substr(0, cut);
        bass = symbol.substr(cut + 1);
    }

    const auto root = parsePitchClass(chord);
    if (!root) throw ParamError("Cannot parse chord '" + std::string(symbol) + "'.");

    const auto& qualities = chordQualities();
    const auto quality = std::find_if(qualities.begin(), qualities.end(),
                                      [&](const ChordQuality& q) { return q.suffix == root->rest; });
    if (quality == qualities.end())
        throw ParamError("Unknown chord quality '" + std::string(root->rest) + "' in '" + std::string(symbol) +
                         "'. Supported: " + supportedSuffixes());

    // Wide arithmetic: an absurd octave must clamp, not overflow.
    const std::int64_t octaveBase = (static_cast<std::int64_t>(octave) + 1) * 12;
    std::vector<std::int64_t> pitches;
    pitches.reserve(quality->offsets.size() + 1);
    for (int offset : quality->offsets) pitches.push_back(octaveBase + root->pitchClass + offset);

    if (inversion > 0) {
        const auto turns = std::min<std::size_t>(pitches.size() - 1, static_cast<std::size_t>(inversion));
        for (std::size_t i = 0; i < turns; ++i) {
            const auto lowest = pitches.front();
            pitches.erase(pitches.begin());
            pitches.push_back(lowest + 12);
        }
    }

    if (slash) {
        const auto bassClass = parsePitchClass(bass);
        if (!bassClass) throw ParamError("Cannot parse bass note in '" + std::string(symbol) + "'.");
        const auto lowest = *std::min_element(pitches.begin(), pitches.end());
        auto bassPitch = octaveBase + bassClass->pitchClass - 12;
        while (bassPitch >= lowest) bassPitch -= 12;
        pitches.insert(pitches.begin(), bassPitch);
    }

    std::vector<int> result;
    result.reserve(pitches.size());
    for (auto pitch : pitches) result.push_back(clampToMIDI(pitch));
    return result;
}

} // namespace velmo::MusicTheory
