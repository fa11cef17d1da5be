// The one failure a person or agent reads: a message written for them that lists the valid
// choices, so a model can correct itself from the text alone. Programming faults are not
// UserErrors; they stop the process (base/Precondition.h).
#pragma once

#include <stdexcept>
#include <string>

namespace velmo {

struct UserError : std::runtime_error {
    explicit UserError(const std::string& message) : std::runtime_error(message) {}
    std::string message() const { return what(); }
};

// The names say where a failure was found: a Studio operation, or a parameter path, value or
// piece of music text. Callers catch UserError; both are the same type.
using StudioError = UserError;
using ParamError = UserError;

} // namespace velmo
