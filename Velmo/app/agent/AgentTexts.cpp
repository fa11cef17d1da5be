#include "agent/AgentTexts.h"

#include <nlohmann/json.hpp>

namespace velmo {

StatusText agentStatus(const MCPHTTPServer::State& state, std::uint16_t port, std::size_t toolCount) {
    const QString portText = QString::number(port);
    if (std::holds_alternative<MCPHTTPServer::Listening>(state))
        return {"Ready for agents", "Port " + portText + " · " + QString::number(toolCount) + " tools"};
    if (const auto* failed = std::get_if<MCPHTTPServer::Failed>(&state))
        return {"The MCP server couldn't start", QString::fromStdString(failed->message) +
                                                     ". Another app may be using port " + portText +
                                                     "; set VELMO_MCP_PORT to use a different one."};
    return {"Starting the MCP server", {}};
}

QString claudeCodeSnippet(const QString& endpoint) {
    return "claude mcp add --transport http --scope user velmo " + endpoint;
}

QString stdioConfigSnippet(const QString& bridgePath) {
    // The path is a JSON string: quotes and backslashes in it are escaped.
    const QString command = QString::fromStdString(nlohmann::json(bridgePath.toStdString()).dump());
    return "{\n  \"mcpServers\": {\n    \"velmo\": { \"command\": " + command + " }\n  }\n}";
}

} // namespace velmo
