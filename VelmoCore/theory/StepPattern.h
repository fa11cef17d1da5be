// Drum step strings written as notes: "x...X...o.x." is one step per character, 'x' a hit, 'X'
// an accent, 'o' a ghost, '.' or '-' a rest. A lane is tiled to fill its span, and every second
// step can be swung late. Stateless: any thread.
#pragma once

#include "model/Project.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmo::MusicTheory {

// How the steps of a lane sit in time and how loud they are.
struct StepGrid {
    double start = 0;       // beats: where the first step falls
    double step = 0.25;     // beats per step
    double swing = 0;       // share of a step that every second step comes late, 0 to 0.5
    double velocity = 0.8;  // of a plain hit, 0 to 1
    bool repeat = true;     // tile the lane until `span` is full
    double span = 0;        // beats from `start` that a repeating lane fills at least
};

// Appends the hits of one lane to `notes` and returns how many there were, or nothing when the
// text holds no steps at all. Blanks, "|", tabs and line feeds only separate bars; a character
// beyond ASCII is one rest. Throws a UserError naming `name` for a lane of more than kMaxSteps.
std::optional<std::size_t> writeLane(int note, std::string_view text, const StepGrid& grid, const std::string& name,
                                     std::vector<Note>& notes);

} // namespace velmo::MusicTheory
