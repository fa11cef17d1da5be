#include "base/NumberText.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

namespace velmo {

namespace {

// An exponent's digits with their sign, saturated: the caller only needs which way it points.
std::int64_t exponentOf(std::string_view text) {
    const bool negative = !text.empty() && text.front() == '-';
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
    std::int64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range) value = std::numeric_limits<std::int32_t>::max();
    return negative ? -value : value;
}

// from_chars leaves the value alone when a text lies beyond the range of a double, so the side
// it lies on is read from the text: the power of its first significant digit plus its exponent.
// Such a text is hundreds of powers away from 1, so a rough power is enough.
bool overflows(std::string_view digits, bool hex) {
    const std::size_t exponentAt = std::min(digits.find_first_of(hex ? "pP" : "eE"), digits.size());
    const std::string_view mantissa = digits.substr(0, exponentAt);
    const auto point = static_cast<std::int64_t>(std::min(mantissa.find('.'), mantissa.size()));
    const std::size_t first = mantissa.find_first_not_of("0.");
    if (first == std::string_view::npos) return false;
    // Digits before the point count up from 1; digits after it count down from 0.
    const std::int64_t order = static_cast<std::int64_t>(first) < point ? point - static_cast<std::int64_t>(first)
                                                                         : point + 1 - static_cast<std::int64_t>(first);
    const std::int64_t exponent = exponentAt < digits.size() ? exponentOf(digits.substr(exponentAt + 1)) : 0;
    return (hex ? 4 : 1) * order + exponent > 0;
}

} // namespace

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

std::optional<double> parseNumber(std::string_view text) {
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (hex) text.remove_prefix(2);
    // from_chars takes a sign of its own and, in hex, words like "inf": neither may follow here.
    if (text.empty() || text.front() == '+' || text.front() == '-') return std::nullopt;
    if (hex && !std::isxdigit(static_cast<unsigned char>(text.front())) && text.front() != '.') return std::nullopt;

    double value = 0;
    const auto format = hex ? std::chars_format::hex : std::chars_format::general;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, format);
    if (end != text.data() + text.size()) return std::nullopt;
    if (error == std::errc::result_out_of_range)
        value = overflows(text, hex) ? std::numeric_limits<double>::infinity() : 0.0;
    else if (error != std::errc{})
        return std::nullopt;
    return negative ? -value : value;
}

} // namespace velmo
