// The building blocks of the tools' input schemas. Short names on purpose: a tool's schema reads
// as a table of its arguments. Tool files say `using namespace velmo::schema;`.
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace velmo::schema {

// A string argument restricted to `values`.
nlohmann::json E(std::vector<std::string> values, std::string description);
// An array argument whose elements follow `items`.
nlohmann::json A(nlohmann::json items, std::string description);
// An object with these properties and required names; no other keys allowed.
nlohmann::json O(nlohmann::json properties, std::vector<std::string> required);
// A plain argument: `type` is "string", "number", "integer", "boolean" or "object".
nlohmann::json P(std::string type, std::string description);

// Shared argument forms, built once on first use.
const nlohmann::json& trackRef();
const nlohmann::json& targetRef();
const nlohmann::json& pitchRef();
const nlohmann::json& noteSchema();

} // namespace velmo::schema
