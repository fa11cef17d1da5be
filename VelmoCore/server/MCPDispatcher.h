// The JSON-RPC 2.0 side of the agent server: turns the bytes of one request body into the bytes
// of its answer, with the Model Context Protocol's methods. Knows nothing of HTTP.
#pragma once

#include "server/MCPTools.h"

#include <nlohmann/json.hpp>

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace velmo {

class MainQueue;
class Studio;

// `handle` may be called from any thread; all other work, and every completion, happens on the
// main queue.
class MCPDispatcher {
public:
    // Newest first; an unknown version asked for is answered with the first.
    static constexpr std::array<std::string_view, 4> supportedVersions = {"2025-11-25", "2025-06-18", "2025-03-26",
                                                                          "2024-11-05"};

    // The response bytes, or nothing when the transport must answer without a JSON body
    // (notifications, client responses, a batch of only those). Empty bytes mean the response
    // could not be serialised.
    using Completion = std::function<void(std::optional<std::string>)>;

    // Nesting of arrays and objects deeper than this is a parse error: printing an absurdly deep
    // value would exhaust the stack.
    static constexpr int maxNesting = 512;

    MCPDispatcher(Studio& studio, MainQueue& mainQueue, const MCPTools::Factory& tools = &MCPTools::buildTools);
    MCPDispatcher(const MCPDispatcher&) = delete;
    MCPDispatcher& operator=(const MCPDispatcher&) = delete;

    // Any thread. Hops to the main queue, answers the body there (a batch strictly in order)
    // and calls `done` on the main queue.
    void handle(std::string data, Completion done);

    MainQueue& mainQueue() { return mainQueue_; }
    MCPTools& tools() { return tools_; }
    // Main queue only. The `name` of the latest "initialize" that carried a `clientInfo` object.
    const std::optional<std::string>& clientName() const { return clientName_; }

private:
    using MessageCompletion = std::function<void(std::optional<nlohmann::json>)>;

    void handleOnMain(const std::string& data, Completion done);
    void handleBatch(nlohmann::json messages, Completion done);
    void handleMessage(const nlohmann::json& message, MessageCompletion done);
    nlohmann::json initialize(const nlohmann::json& params);
    static nlohmann::json errorResponse(nlohmann::json id, int code, std::string message);
    static nlohmann::json successResponse(nlohmann::json id, nlohmann::json result);
    static std::string serialize(const nlohmann::json& value);

    Studio& studio_;
    MainQueue& mainQueue_;
    MCPTools tools_;
    std::optional<std::string> clientName_;
};

} // namespace velmo
