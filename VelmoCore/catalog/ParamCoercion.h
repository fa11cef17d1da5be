// Turning a value from outside (a tool argument, a gesture, a preset edit) into the value a
// parameter row wants: a clamped double, a catalog-spelled option or a boolean, or a ParamError
// whose message says what the row accepts.
#pragma once

#include "catalog/ParamInfo.h"

#include <nlohmann/json.hpp>

namespace velmo {

// By the row's kind:
// - number: a JSON number, a boolean (as 1 or 0) or a text that parses whole as a number;
//   clamped to the range (out of range is no failure) and rounded if whole-numbered. Always
//   returns a floating JSON number.
// - toggle: a boolean; the numbers 0 and 1; a text, true when it lower-cases to "true", "on",
//   "yes" or "1" and false otherwise.
// - choice: a text matching one option regardless of case; returns the option as spelled.
// Throws ParamError for anything else, and for a number that is not finite.
nlohmann::json coerce(const nlohmann::json& value, const ParamInfo& spec);

} // namespace velmo
