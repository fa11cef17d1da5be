// The project file `<name>.velmo.json`: the Project record as JSON, nothing around it, written
// pretty-printed with sorted keys so an unchanged project saves to identical bytes.
#pragma once

#include "model/JSONReader.h"
#include "model/Project.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace velmo {

// The format this build writes, as the file's `version`. A file without the key is version 1.
constexpr int kProjectFileVersion = 1;

nlohmann::json toJSON(const EffectSlot& slot);
nlohmann::json toJSON(const Project& project);

// Strict: throws DecodeError naming the key and its place. `midiOut` absent or null is no route.
Project projectFromJSON(const nlohmann::json& value);

// A project as read from a file, with what its reader should be told: the file came from a newer
// version, or ids had to be made unique.
struct ProjectFile {
    Project project;
    std::vector<std::string> warnings;
};

// The file text of a project, and its reading. decodeProjectFile throws DecodeError, also for
// text that is not JSON; its messages quote the file only in short excerpts, and not at all when
// the text is not JSON. Ids are repaired (Project::repairIds).
std::string encodeProjectFile(const Project& project);
ProjectFile decodeProjectFile(std::string_view text);

// Whether `text` is a project file of any version: a JSON object with the keys every version has.
bool isProjectFileText(std::string_view text);

// The largest project file that is read: far beyond any song, and a bound on memory.
constexpr std::uint64_t kMaxProjectFileBytes = 256ull << 20;

// Reads and decodes the file at `path`. Throws FileAccessError when it cannot be read, is not a
// regular file (a folder, a pipe, a device) or is larger than kMaxProjectFileBytes, and
// DecodeError when it holds no project.
ProjectFile readProjectFile(const std::filesystem::path& path);

// Whether the file at `path` is a project file of any version; false when it cannot be read.
bool isProjectFile(const std::filesystem::path& path);

} // namespace velmo
