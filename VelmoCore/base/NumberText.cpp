#include "base/NumberText.h"

#include <charconv>
#include <cmath>

namespace velmo {

std::string shortestText(double value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";

    // Room for the longest shortest-round-trip form: 17 digits, sign, point and up to 16 zeros
    // before the first digit (fixed form is used only from 1e-4 up to below 1e16).
    char buffer[64];
    const double magnitude = std::fabs(value);
    const bool fixed = magnitude == 0.0 || (magnitude >= 1e-4 && magnitude < 1e16);
    auto format = fixed ? std::chars_format::fixed : std::chars_format::scientific;
    auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value, format);
    std::string text(buffer, error == std::errc{} ? end : buffer);
    if (fixed && text.find('.') == std::string::npos) text += ".0";
    return text;
}

} // namespace velmo
