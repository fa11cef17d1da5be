// One blocking HTTP exchange with a server on 127.0.0.1, as an agent's client makes it: the
// request goes out with "Connection: close" and the whole response is read back.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>

namespace velmo {

inline std::string httpExchange(std::uint16_t port, const std::string& head, const std::string& body = {}) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return {};
    timeval timeout{10, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string response;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        const std::string request = head + "\r\nHost: 127.0.0.1\r\nConnection: close\r\nContent-Length: " +
                                    std::to_string(body.size()) + "\r\n\r\n" + body;
        if (::send(fd, request.data(), request.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(request.size())) {
            char buffer[4096];
            for (ssize_t n; (n = ::recv(fd, buffer, sizeof buffer, 0)) > 0;) response.append(buffer, static_cast<std::size_t>(n));
        }
    }
    ::close(fd);
    return response;
}

// A tools/call of `tool` with `arguments` (JSON text) on POST /mcp.
inline std::string callTool(std::uint16_t port, const std::string& tool, const std::string& arguments) {
    return httpExchange(port, "POST /mcp HTTP/1.1\r\nContent-Type: application/json",
                        R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":")" + tool +
                            R"(","arguments":)" + arguments + "}}");
}

} // namespace velmo
