// Voice leading: the inversion and octave of a chord that moves least from the chord before it,
// so that a progression glides instead of jumping in root position. Stateless: any thread.
#pragma once

#include <string_view>
#include <vector>

namespace velmo::MusicTheory {

// The voicing of `symbol` near `octave` closest to `previous`; with no previous chord, plain
// chordPitches(symbol, octave, 0). Every rotation of the chord is tried an octave down and in
// place; the cost is the distance between the means plus a quarter of the distance between the
// lowest notes, and the first candidate of least cost wins (lower rotation first, the octave down
// before in place). The result is sorted ascending; a slash bass stays fixed in front of it.
// Candidates are not clamped to 0..127. Throws ParamError as chordPitches does.
std::vector<int> voiceLead(std::string_view symbol, int octave, const std::vector<int>& previous);

} // namespace velmo::MusicTheory
