#include "theory/Scales.h"

#include "base/UserError.h"
#include "model/Unicode.h"
#include "theory/NoteNames.h"
#include "theory/TextScan.h"

#include <algorithm>
#include <array>

namespace velmo::MusicTheory {

using namespace detail;

const std::unordered_map<std::string, std::vector<int>>& scales() {
    static const std::unordered_map<std::string, std::vector<int>> table{
        {"major", {0, 2, 4, 5, 7, 9, 11}},
        {"ionian", {0, 2, 4, 5, 7, 9, 11}},
        {"minor", {0, 2, 3, 5, 7, 8, 10}},
        {"aeolian", {0, 2, 3, 5, 7, 8, 10}},
        {"natural_minor", {0, 2, 3, 5, 7, 8, 10}},
        {"harmonic_minor", {0, 2, 3, 5, 7, 8, 11}},
        {"melodic_minor", {0, 2, 3, 5, 7, 9, 11}},
        {"dorian", {0, 2, 3, 5, 7, 9, 10}},
        {"phrygian", {0, 1, 3, 5, 7, 8, 10}},
        {"lydian", {0, 2, 4, 6, 7, 9, 11}},
        {"mixolydian", {0, 2, 4, 5, 7, 9, 10}},
        {"locrian", {0, 1, 3, 5, 6, 8, 10}},
        {"major_pentatonic", {0, 2, 4, 7, 9}},
        {"minor_pentatonic", {0, 3, 5, 7, 10}},
        {"blues", {0, 3, 5, 6, 7, 10}},
        {"whole_tone", {0, 2, 4, 6, 8, 10}},
        {"chromatic", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
    };
    return table;
}

const std::vector<std::string>& scaleNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list;
        for (const auto& entry : scales()) list.push_back(entry.first);
        std::sort(list.begin(), list.end());
        return list;
    }();
    return names;
}

Scale parseScale(std::string_view text) {
    // Split at the first run of blanks: the root, then the whole rest as the scale's name, so a
    // name may itself hold blanks ("minor pentatonic"). Surrounding blanks are dropped.
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    std::size_t cut = 0;
    while (cut < text.size() && !isBlank(text[cut])) ++cut;
    const std::string_view rootPart = text.substr(0, cut);
    std::string_view namePart = text.substr(cut);
    while (!namePart.empty() && isBlank(namePart.front())) namePart.remove_prefix(1);

    const auto root = parsePitchClass(rootPart);
    if (rootPart.empty() || namePart.empty() || !root || !root->rest.empty())
        throw ParamError("Scale must look like \"C minor\" or \"F# dorian\".");

    const auto& table = scales();
    const auto found = table.find(blanksToUnderscores(lowercased(namePart)));
    if (found == table.end()) {
        std::string known;
        for (const auto& name : scaleNames()) {
            if (!known.empty()) known += ", ";
            known += name;
        }
        throw ParamError("Unknown scale '" + std::string(namePart) + "'. Known: " + known + ".");
    }
    return Scale{root->pitchClass, found->second};
}

int snap(int pitch, int root, const std::vector<int>& intervals) {
    std::array<bool, 12> allowed{};
    for (int offset : intervals) allowed[static_cast<std::size_t>(pitchClassOf(std::int64_t{offset} + root))] = true;
    for (int distance = 0; distance <= 6; ++distance) {
        for (std::int64_t candidate : {std::int64_t{pitch} - distance, std::int64_t{pitch} + distance})
            if (allowed[static_cast<std::size_t>(pitchClassOf(candidate))]) return static_cast<int>(candidate);
    }
    return pitch;
}

} // namespace velmo::MusicTheory
