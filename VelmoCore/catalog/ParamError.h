// The failure of parameter paths, values and music-theory parsing: the sibling of StudioError,
// with one message written for the reader.
#pragma once

#include <stdexcept>
#include <string>

namespace velmo {

struct ParamError : std::runtime_error {
    explicit ParamError(const std::string& message) : std::runtime_error(message) {}
    std::string message() const { return what(); }
};

} // namespace velmo
