// Reading a tool call's arguments the forgiving way agents need: numbers may come as strings,
// booleans as words, and a value of the wrong JSON type counts as absent rather than failing.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace velmo {

// The argument object of one tool call. Main queue only.
class ToolArgs {
public:
    // `object` is the call's arguments; anything but a JSON object reads as no arguments.
    explicit ToolArgs(nlohmann::json object);

    const nlohmann::json& json() const { return object_; }

    // The raw value under `key`, or null when absent.
    const nlohmann::json* value(const std::string& key) const;

    // A JSON number, or a string that parseNumber reads whole ("1.5", "-2e3", "+4", "0x10";
    // not " 1", "", "1.5x"). Non-finite values count as absent, so no tool ever stores an
    // infinity or NaN into the song.
    std::optional<double> num(const std::string& key) const;

    // A JSON boolean, or a number that is exactly 0 or 1. A string is true when lower-cased it
    // is "true", "yes", "on" or "1", and false for any other string. (Not `bool`: that word is
    // taken in C++.)
    std::optional<bool> boolean(const std::string& key) const;

    // The value if it is a JSON string.
    std::optional<std::string> string(const std::string& key) const;

    // `num` rounded to nearest, halves away from zero, saturated to the 64-bit range.
    std::optional<std::int64_t> integer(const std::string& key) const;

private:
    nlohmann::json object_;
};

} // namespace velmo
