// The one failure a person or agent reads: a message written for them that lists the valid
// choices, so a model can correct itself from the text alone. Programming faults are not
// UserErrors; they stop the process (base/Precondition.h).
#pragma once

#include <stdexcept>
#include <string>

namespace velmo {

// What a failed lookup was looking for, when the valid names are too many for the message. The
// core does not know who reads it; the agent server adds which tool lists them.
enum class NotFound { none, clip, synthParameter };

struct UserError : std::runtime_error {
    explicit UserError(const std::string& message, NotFound notFound = NotFound::none)
        : std::runtime_error(message), notFound(notFound) {}
    std::string message() const { return what(); }

    NotFound notFound;
};

// The names say where a failure was found: a Studio operation, or a parameter path, value or
// piece of music text. Callers catch UserError; both are the same type.
using StudioError = UserError;
using ParamError = UserError;

} // namespace velmo
