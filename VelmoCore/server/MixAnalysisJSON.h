// The reading of a mix measurement for an agent that cannot hear: levels rounded for reading,
// per-track figures with the tracks' names, and plain-language warnings. The analysis tool, the
// export tool and the command line all reply with this object.
#pragma once

#include "engine/MixAnalysis.h"
#include "model/Project.h"

#include <nlohmann/json.hpp>

namespace velmo {

// The level most streaming services play music at; mixes far from it are turned up or down.
constexpr double defaultTargetLufs = -14;
constexpr double quietestTargetLufs = -60; // no delivery format asks for less
constexpr double loudestTargetLufs = 0;

// `project` is the one measured: it names the tracks (a track id it lacks gets an empty name) and
// gives the volumes that next steps start from. Keys: seconds, peak_dbfs, rms_dbfs,
// clipped_samples_before_limiter, limiter_max_reduction_db, bands_rms_db, tracks (each with its
// loudness), notes, loudness, culprits. A note warns when the integrated loudness is more than
// 2 LU from `targetLufs`. Never fails.
nlohmann::json analysisJSON(const MixAnalysis& analysis, const Project& project, double targetLufs = defaultTargetLufs);

} // namespace velmo
