// Before and after: two measurements of a song, an earlier state from its history and the song as
// it is, and what changed between them, so an agent can tell whether its last edits helped.
#pragma once

#include "engine/MixAnalysis.h"
#include "model/Project.h"

#include <nlohmann/json.hpp>

namespace velmo {

// `before` and `now` with the projects they measured. Keys: `before`, the whole report of the
// earlier state (analysisJSON with `targetLufs`); `changes`, each now minus before, rounded to one
// place: peak_dbfs, rms_dbfs, clipped_samples_before_limiter, limiter_max_reduction_db,
// bands_rms_db, loudness, tracks (by id: the levels and integrated loudness, or `change` "added" or
// "removed"), notes_appeared and notes_gone (warnings of a kind the other side lacks). A level
// that is silence on exactly one side has a change of null. Never fails.
nlohmann::json comparisonJSON(const MixAnalysis& before, const Project& beforeProject, const MixAnalysis& now,
                              const Project& nowProject, double targetLufs);

} // namespace velmo
