// What a tool call's arguments hold that the tool will not read, found from the tool's schema:
// keys the schema does not name, and values of a type that the forgiving readers of ToolArgs
// count as absent. The call still succeeds without them; its reply
// says what was ignored and why, so that an agent learns from the reply.
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace velmo {

// One entry per ignored argument, in key order, e.g. "ignored tempo: expected a number",
// "ignored tempo_bpm: unknown argument", "ignored notes[2].vel: unknown argument". Nested
// objects and arrays are followed where the schema describes them.
std::vector<std::string> ignoredArguments(const nlohmann::json& schema, const nlohmann::json& arguments);

} // namespace velmo
