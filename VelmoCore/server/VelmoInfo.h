// The server's identity and where it listens: the version it reports and the TCP port, which
// the environment variable VELMO_MCP_PORT may change.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace velmo::VelmoInfo {

inline constexpr std::string_view version = "1.0.0";
inline constexpr std::uint16_t defaultPort = 7341;

// The port named by `value` (the text of VELMO_MCP_PORT): decimal digits with at most one
// leading "+" or "-", fitting 0...65535 ("-0" is 0). Anything else, also an absent or empty
// value, gives `defaultPort` without a message. 0 passes as it is.
std::uint16_t portFromText(std::optional<std::string_view> value);

// The port to listen on, from VELMO_MCP_PORT.
std::uint16_t port();

} // namespace velmo::VelmoInfo
