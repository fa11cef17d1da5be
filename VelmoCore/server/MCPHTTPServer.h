// The agent server's HTTP endpoint: a small HTTP/1.1 server on the loopback interface that
// carries JSON-RPC on POST /mcp to the dispatcher. All socket work runs on one thread,
// "velmo.mcp.http"; only the JSON-RPC work crosses to the main queue.
#pragma once

#include "server/HTTPMessage.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <variant>

namespace asio {
class io_context;
}

namespace velmo {

class HTTPConnection;
class MCPDispatcher;

// Created, started and stopped on the main queue; its sockets live on the HTTP thread.
class MCPHTTPServer {
public:
    struct Starting {
        bool operator==(const Starting&) const = default;
    };
    struct Listening {
        std::uint16_t port;  // as configured: 0 stays 0 (see boundPort)
        bool operator==(const Listening&) const = default;
    };
    struct Failed {
        std::string message;  // the system's text, e.g. "Address already in use"
        bool operator==(const Failed&) const = default;
    };
    using State = std::variant<Starting, Listening, Failed>;

    // What keeps clients that connect and say nothing from using up the server.
    struct Limits {
        // A connection that goes this long without a complete request is closed.
        std::chrono::milliseconds idleTimeout;
        // At most this many connections are open at once, and never more than half the process's
        // descriptor limit, so that the rest of Velmo always has descriptors. A connection past the
        // cap closes the one idle longest, or itself when every other is answering a request.
        std::size_t maxConnections;
    };
    static constexpr Limits defaultLimits{std::chrono::seconds(60), 1024};

    MCPHTTPServer(std::uint16_t port, MCPDispatcher& dispatcher, Limits limits = defaultLimits);
    // Stops listening, closes every connection and joins the HTTP thread.
    ~MCPHTTPServer();
    MCPHTTPServer(const MCPHTTPServer&) = delete;
    MCPHTTPServer& operator=(const MCPHTTPServer&) = delete;

    // Called on the main queue with each state change. Set before `start`.
    std::function<void(State)> onState;

    // Binds 127.0.0.1 and ::1 (where the system has IPv6) with address reuse and starts serving.
    // The outcome arrives through `onState`. Call once. Raises the process's soft descriptor
    // limit to its hard limit, which sets the connection cap.
    void start();
    // Stops accepting; connections already open finish what they have.
    void stop();

    std::uint16_t port() const { return port_; }
    // Any thread. The port actually bound, which differs from `port` only when that is 0;
    // 0 until listening.
    std::uint16_t boundPort() const { return boundPort_.load(); }

private:
    struct Listener;

    void report(State state);
    void accept(std::shared_ptr<Listener> listener);
    bool makeRoom();
    void route(HTTPRequest request, std::function<void(HTTPResponse)> respond);

    std::uint16_t port_;
    MCPDispatcher& dispatcher_;
    Limits limits_;
    std::size_t connectionCap_ = 0;
    std::shared_ptr<asio::io_context> context_;
    std::list<std::shared_ptr<Listener>> listeners_;
    // HTTP thread only. Weak: a connection lives as long as its operations; the list serves to
    // count, to make room and to close what is still open at shutdown. Closed ones linger in it
    // until room is needed.
    std::list<std::weak_ptr<HTTPConnection>> connections_;
    std::shared_ptr<void> work_;   // keeps the HTTP thread running between connections
    std::shared_ptr<bool> alive_;  // main queue: state reports check it, the server may be gone
    std::atomic<std::uint16_t> boundPort_{0};
    std::thread thread_;
};

// True when a request with this `Origin` value may be served: absent, empty and "null" pass, and
// so does any URL whose host is localhost, 127.0.0.1 or ::1, whatever its port.
bool originAllowed(const std::string* origin);

} // namespace velmo
