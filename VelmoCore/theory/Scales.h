// Scales: "C minor", "F# dorian", "A minor pentatonic" to a root and semitone offsets, and the
// snapping of a pitch to the nearest note of a scale. The table is built on first use; any thread.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velmo::MusicTheory {

struct Scale {
    int root = 0;               // pitch class 0 to 11
    std::vector<int> intervals; // ascending semitones from the root
};

// The 17 scales by lower-case name with "_" between words ("minor_pentatonic").
const std::unordered_map<std::string, std::vector<int>>& scales();

// The scale names in ascending order, as the failure message lists them.
const std::vector<std::string>& scaleNames();

// A root with an empty rest ("C", "F#", "Bb"), blanks, then a scale name in any case with blanks
// or "_" between its words. Throws ParamError naming the expected shape or the known scales.
Scale parseScale(std::string_view text);

// The nearest pitch whose class is in the scale, looking at most 6 semitones away; between two
// equally near notes the lower wins. A pitch with no scale note that near comes back unchanged.
int snap(int pitch, int root, const std::vector<int>& intervals);

} // namespace velmo::MusicTheory
