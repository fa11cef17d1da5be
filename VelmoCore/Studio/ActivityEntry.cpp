#include "Studio/ActivityEntry.h"

#include <cstdio>
#include <random>

namespace velmo {

std::string makeUUID() {
    thread_local std::mt19937_64 engine{std::random_device{}()};
    std::uint64_t hi = engine(), lo = engine();
    hi = (hi & 0xFFFFFFFFFFFF0FFFull) | 0x0000000000004000ull;  // version 4
    lo = (lo & 0x3FFFFFFFFFFFFFFFull) | 0x8000000000000000ull;  // RFC 4122 variant
    char text[37];
    std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%012llX", static_cast<unsigned>(hi >> 32),
                  static_cast<unsigned>((hi >> 16) & 0xFFFF), static_cast<unsigned>(hi & 0xFFFF),
                  static_cast<unsigned>(lo >> 48), static_cast<unsigned long long>(lo & 0xFFFFFFFFFFFFull));
    return text;
}

} // namespace velmo
