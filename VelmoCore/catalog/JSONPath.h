// Reading and writing inside a JSON tree by a list of path components. A component addresses an
// object key, or an array element by its 0-based decimal index. This is how parameter paths such
// as "fm.ops.1.ratio" reach a patch's JSON form without any per-field code.
#pragma once

#include <nlohmann/json.hpp>

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velmo::JSONPath {

// "fm.ops.1.ratio" -> {"fm", "ops", "1", "ratio"}; empty components ("a..b", ".a") are dropped.
std::vector<std::string> components(std::string_view dottedPath);

// The value at `path`, or nullptr when nothing is there. An empty path yields the tree itself.
// The pointer refers into `tree`.
const nlohmann::json* get(std::span<const std::string> path, const nlohmann::json& tree);

// `tree` with `value` stored at `path`. Missing object keys along the way are created as objects;
// an array index outside the array, or a step into a number, text or boolean, leaves the tree
// unchanged.
nlohmann::json set(nlohmann::json value, std::span<const std::string> path, nlohmann::json tree);

} // namespace velmo::JSONPath
