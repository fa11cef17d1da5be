// The project file `<name>.velmo.json`: the Project record as JSON, nothing around it, written
// pretty-printed with sorted keys so an unchanged project saves to identical bytes.
#pragma once

#include "model/JSONReader.h"
#include "model/Project.h"

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace velmo {

nlohmann::json toJSON(const EffectSlot& slot);
nlohmann::json toJSON(const Project& project);

// Strict: throws DecodeError naming the key and its place. `midiOut` absent or null is no route.
Project projectFromJSON(const nlohmann::json& value);

// The file text of a project, and its reading. decodeProjectFile throws DecodeError, also for
// text that is not JSON.
std::string encodeProjectFile(const Project& project);
Project decodeProjectFile(std::string_view text);

} // namespace velmo
