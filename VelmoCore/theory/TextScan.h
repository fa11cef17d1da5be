// Small text scanners shared by the music-theory parsers: trimming, blanks, and decimal integers
// that saturate instead of overflowing (the callers clamp to the MIDI range afterwards).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmo::MusicTheory::detail {

inline bool isWhiteSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// A blank separates words inside a name: "open hat", "minor pentatonic".
inline bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

inline std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isWhiteSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && isWhiteSpace(text.back())) text.remove_suffix(1);
    return text;
}

inline std::string blanksToUnderscores(std::string text) {
    for (char& c : text)
        if (isBlank(c)) c = '_';
    return text;
}

// An optional sign and at least one ASCII digit, nothing else. Magnitudes beyond 2^40 saturate,
// which is far outside anything that survives a clamp to 0..127 but cannot overflow when
// multiplied by 12.
inline std::optional<std::int64_t> decimalInteger(std::string_view text) {
    constexpr std::int64_t limit = std::int64_t{1} << 40;
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty()) return std::nullopt;
    std::int64_t value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        value = value * 10 + (c - '0');
        if (value > limit) value = limit;
    }
    return negative ? -value : value;
}

inline int clampToMIDI(std::int64_t pitch) {
    return static_cast<int>(pitch < 0 ? 0 : pitch > 127 ? 127 : pitch);
}

// The true modulus: -1 is class 11.
inline int pitchClassOf(std::int64_t pitch) {
    return static_cast<int>(((pitch % 12) + 12) % 12);
}

} // namespace velmo::MusicTheory::detail
