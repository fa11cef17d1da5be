// One table per enumeration maps each case to its wire string. The same table serves
// `allCases`, printing and parsing, so the three can never disagree.
//
// An enumeration joins by specialising EnumNames with its strings in case order:
//   template <> struct EnumNames<VoiceMode> { static constexpr std::array names{"poly", ...}; };
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace velmo {

template <class E>
struct EnumNames;

template <class E>
constexpr std::size_t caseCount() {
    return EnumNames<E>::names.size();
}

// Every case in table order.
template <class E>
constexpr std::array<E, caseCount<E>()> allCases() {
    std::array<E, caseCount<E>()> cases{};
    for (std::size_t i = 0; i < cases.size(); ++i) cases[i] = static_cast<E>(i);
    return cases;
}

template <class E>
constexpr std::string_view toString(E value) {
    return EnumNames<E>::names[static_cast<std::size_t>(value)];
}

// Exact, case-sensitive; nothing for any text that is not in the table.
template <class E>
constexpr std::optional<E> fromString(std::string_view text) {
    const auto& names = EnumNames<E>::names;
    for (std::size_t i = 0; i < names.size(); ++i)
        if (names[i] == text) return static_cast<E>(i);
    return std::nullopt;
}

// The strings joined with a separator, for messages that list the valid choices.
template <class E>
std::string joinedNames(std::string_view separator = ", ") {
    std::string out;
    for (auto name : EnumNames<E>::names) {
        if (!out.empty()) out += separator;
        out += name;
    }
    return out;
}

} // namespace velmo
