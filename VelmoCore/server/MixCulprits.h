// Who causes what a mix report warns about: for the limiter working, a heavy low end, muddy low
// mids or a harsh top, the tracks ranked by their share of the peaks or of the band's energy, each with one
// concrete next step an agent can take with a real tool, parameter path and value.
#pragma once

#include "engine/MixAnalysis.h"
#include "model/Project.h"

#include <nlohmann/json.hpp>

namespace velmo {

// One object per problem that fires, in the order of the warnings: `problem` ("limiter",
// "low_end", "muddy", "harsh") and `tracks`, at most three, largest share first. A track object has `id`,
// `name`, `share` (0 to 1), `next_step` (one line for a reader) and `call` (`tool` and
// `arguments`, ready to send). `project` is the one that was measured. An empty list when nothing
// fires. Never fails.
nlohmann::json culpritsJSON(const MixAnalysis& analysis, const Project& project);

} // namespace velmo
