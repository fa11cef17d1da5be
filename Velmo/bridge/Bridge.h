// One stdio MCP client's way to Velmo: each line the client writes is posted to Velmo's HTTP
// endpoint and each answer becomes one line back. When nothing listens, Velmo is started; every
// failure becomes a JSON-RPC error that says what failed, on which port, and what to do.
#pragma once

#include "LineReader.h"
#include "VelmoConnection.h"
#include "server/HTTPParser.h"

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmo::bridge {

// The bridge's one thread.
class Bridge {
public:
    // The largest message Velmo takes; a longer line is answered here without reaching it.
    static constexpr std::size_t maxMessageBytes = HTTPParser::maxBodyBytes;

    struct Options {
        std::uint16_t port = 7341;
        std::string velmoPath{};                 // started when nothing listens on the port
        std::vector<std::string> velmoArguments{};
        std::chrono::milliseconds startTimeout{10'000};  // also bounds waiting for one going away
        int clientOut = -1;                      // watched while an answer is awaited
    };
    // Receives one line for a person (standard error), without a newline.
    using Log = std::function<void(const std::string&)>;

    Bridge(Options options, Log log);

    // What to write back for one line from the client, as one line without its newline; nothing
    // for a blank line, a notification, or a batch that holds only notifications.
    std::optional<std::string> answer(const LineReader::Line& line);

    // True once the client stopped reading while an answer was awaited: the bridge should end.
    bool clientGone() const { return clientGone_; }

private:
    std::optional<std::string> reach();
    std::optional<std::string> launch();
    void awaitEndOfStarted();
    std::optional<std::string> relay(std::string_view text, VelmoConnection::Reply reply);
    std::optional<std::string> fail(std::string_view text, const std::string& message);
    std::string velmoCommand() const;

    Options options_;
    Log log_;
    VelmoConnection connection_;
    std::vector<pid_t> started_;  // not yet reaped
    // Velmo answered since the last failure was reported: if it no longer listens, it has gone.
    bool hadVelmo_ = false;
    std::chrono::steady_clock::time_point lastAnswer_;
    bool clientGone_ = false;
};

} // namespace velmo::bridge
