// The drum map: the words an agent may use for General MIDI drum notes ("kick", "hh", "open_hat")
// and the labels the editors show beside a drum track's rows. Built once on first use; any thread.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace velmo::MusicTheory {

struct DrumWord {
    std::string_view word;  // lower case, words joined by "_"
    int note = 0;           // General MIDI
};

// All 37 drum words, in the order of the reference table.
const std::vector<DrumWord>& drumWords();

// The note of a drum word, by exact match: the caller lower-cases and turns blanks into "_".
std::optional<int> drumNote(std::string_view word);

struct DrumLabel {
    int note = 0;
    std::string_view label;
};

// The 23 labelled notes from 35 to 59, ascending. Notes 54 and 58 have none.
const std::vector<DrumLabel>& drumLabels();

// "Kick" for 36, "Open Hat" for 46; nothing for a note without a label.
std::optional<std::string_view> drumDisplayName(int note);

} // namespace velmo::MusicTheory
