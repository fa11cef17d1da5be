// The words of the agent panel that carry this machine's facts: the server's state with its port
// and tool count, and the three setup snippets with the real endpoint and bridge path.
#pragma once

#include "server/MCPHTTPServer.h"

#include <QString>

#include <cstddef>
#include <cstdint>

namespace velmo {

struct StatusText {
    QString title;
    QString detail;  // empty while starting
};

// `port` is the one in force: the bound port once listening, the configured one otherwise.
StatusText agentStatus(const MCPHTTPServer::State& state, std::uint16_t port, std::size_t toolCount);

QString claudeCodeSnippet(const QString& endpoint);
// The client configuration that starts the stdio bridge, in exactly five lines.
QString stdioConfigSnippet(const QString& bridgePath);

} // namespace velmo
