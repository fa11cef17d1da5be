#include "server/VelmoInfo.h"

#include <cstdlib>

namespace velmo::VelmoInfo {

std::uint16_t portFromText(std::optional<std::string_view> value) {
    if (!value || value->empty()) return defaultPort;
    std::string_view text = *value;
    bool negative = false;
    if (text.front() == '+' || text.front() == '-') {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty()) return defaultPort;
    std::uint32_t number = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return defaultPort;
        number = number * 10 + std::uint32_t(c - '0');
        if (number > 65535) return defaultPort;
    }
    // A negative number fits an unsigned port only when it is zero.
    if (negative && number != 0) return defaultPort;
    return std::uint16_t(number);
}

std::uint16_t port() {
    const char* value = std::getenv("VELMO_MCP_PORT");
    return portFromText(value ? std::optional<std::string_view>(value) : std::nullopt);
}

} // namespace velmo::VelmoInfo
