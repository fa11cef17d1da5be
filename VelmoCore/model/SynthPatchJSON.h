// The JSON form of a SynthPatch: every field of every record, selected engine or not, so a stored
// patch is always complete. Decoding is strict (see JSONReader) and takes lists at their length.
#pragma once

#include "model/JSONReader.h"
#include "model/SynthPatch.h"

#include <nlohmann/json.hpp>

namespace velmo {

nlohmann::json toJSON(const SynthPatch& patch);

// Throws DecodeError naming the offending key; `path` locates the patch in its document.
SynthPatch synthPatchFromJSON(const nlohmann::json& value, const std::string& path = "");

} // namespace velmo
