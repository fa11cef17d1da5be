// The machinery every tool that writes notes shares: reading an agent's note list and putting it
// into a clip, growing the clip by whole bars when the notes run past its end.
#pragma once

#include "model/Project.h"
#include "server/ToolArgs.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace velmo {

class Studio;

// `value` is the `notes` argument (null pointer: absent). Each element needs `pitch` (a MIDI
// number, note name or drum word) and a non-negative `start` in beats; `duration` defaults to
// `defaultDuration` and must be > 0; `velocity` defaults to 0.8 and is clamped to 0..1; start and
// duration are cut to kFarthestBeat. The first bad element fails the whole list with a
// StudioError or ParamError naming its index.
std::vector<Note> parseNotes(const nlohmann::json* value, double defaultDuration);

// Appends `notes` to the clip `clipRef` names (after clearing it when `replace` is set). A clip
// the notes end more than a quarter beat past grows to the next whole bar first, as an undo step
// of its own; it never shrinks. Fails, unchanged, on a missing or unknown clip. Returns `clip`,
// `added`, `note_count` and `clip_length` (unrounded). Main queue only.
nlohmann::json insertNotes(Studio& studio, const nlohmann::json* clipRef, std::vector<Note> notes, bool replace);

// A pitch argument that filters notes (`pitch`, `pitch_min`, `pitch_max`): nothing when absent;
// a value that names no pitch, whatever its type, throws the parser's ParamError.
std::optional<int> pitchArgument(const ToolArgs& arguments, const std::string& key);

// Cuts a note's start and duration to kFarthestBeat, so that no end or sum overflows.
void keepWithinSong(Note& note);

// The smallest whole number of bars (of `beatsPerBar` beats) that holds `end` beats.
double wholeBars(double end, int beatsPerBar);

} // namespace velmo
