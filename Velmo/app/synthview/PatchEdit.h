// The one road from a synth control to the song, and back: a control writes its parameter path
// through Studio::setSynth, so the value is clamped, undoable and heard at once, and reads its
// value from the patch's JSON tree by the same path.
#pragma once

#include "Studio/Studio.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace velmo {

// Sets `path` to `value` on the track with id `trackID` (an id, since agents reorder tracks), as
// one undo step per `coalesce` key. A track that has gone meanwhile, or a value refused, changes
// nothing: the control shows the song.
void setPatchParam(Studio& studio, const std::string& trackID, const std::string& path, nlohmann::json value,
                   std::optional<std::string> coalesce);

// The value at dotted `path` in a patch's JSON tree, or nullptr.
const nlohmann::json* lookup(const std::string& path, const nlohmann::json& tree);

} // namespace velmo
