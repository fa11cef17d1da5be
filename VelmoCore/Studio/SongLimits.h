// Bringing a song read from a file within the ranges its tools keep: a hand-edited or hostile
// file may hold a clip 1e308 beats long, a tempo of 1e9 or a filter cutoff far past the catalog,
// which would make lengths unprintable and the song unplayable. Main queue, like the Studio.
#pragma once

#include "model/ProjectJSON.h"

namespace velmo {

// Clamps every number of the file's song to the range a tool would have left it in (positions
// and lengths to kFarthestBeat, tempo, levels and pan to the song's ranges, synth and effect
// parameters to the catalog's), and puts clips and notes back in order. When a value changed,
// a warning says how many did; the order does not count.
void keepWithinLimits(ProjectFile& file);

} // namespace velmo
