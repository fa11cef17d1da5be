// The one user-facing failure of Studio operations. Its message is written for the agent or
// person who reads it and lists the valid choices, so a model can correct itself from the text.
#pragma once

#include <stdexcept>
#include <string>

namespace velmo {

struct StudioError : std::runtime_error {
    explicit StudioError(const std::string& message) : std::runtime_error(message) {}
    std::string message() const { return what(); }
};

} // namespace velmo
