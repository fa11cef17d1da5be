// The reading of a mix measurement for an agent that cannot hear: levels rounded for reading,
// per-track figures with the tracks' names, and plain-language warnings. The analysis tool, the
// export tool and the command line all reply with this object.
#pragma once

#include "engine/MixAnalysis.h"
#include "model/Project.h"

#include <nlohmann/json.hpp>

namespace velmo {

// `project` names the tracks (a track id it lacks gets an empty name). Keys: seconds, peak_dbfs,
// rms_dbfs, clipped_samples_before_limiter, limiter_max_reduction_db, bands_rms_db, tracks,
// notes. Never fails.
nlohmann::json analysisJSON(const MixAnalysis& analysis, const Project& project);

} // namespace velmo
