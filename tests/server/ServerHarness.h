// Test harness for the agent server: a Studio on a main queue run by its own thread, the
// dispatcher and the HTTP server on a free loopback port, and a blocking socket client that
// reads HTTP responses by their Content-Length.
#pragma once

#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "server/MCPDispatcher.h"
#include "server/MCPHTTPServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

namespace velmo::testing {

// Runs `body` on the main queue and waits for its result.
template <class Body>
auto onMain(MainQueue& queue, Body body) {
    std::promise<decltype(body())> promise;
    auto future = promise.get_future();
    queue.post([&] {
        if constexpr (std::is_void_v<decltype(body())>) {
            body();
            promise.set_value();
        } else {
            promise.set_value(body());
        }
    });
    return future.get();
}

struct ServerHarness {
    HeadlessMainQueue mainQueue;
    Studio studio{Project("Untitled", 120)};
    MCPDispatcher dispatcher;
    MCPHTTPServer server;
    std::thread mainThread;

    explicit ServerHarness(const MCPTools::Factory& tools = &MCPTools::buildTools)
        : dispatcher(studio, mainQueue, tools), server(0, dispatcher) {
        server.start();
        if (server.boundPort() == 0) throw std::runtime_error("server did not start");
        mainThread = std::thread([this] { mainQueue.run(); });
    }
    ~ServerHarness() {
        mainQueue.stop();
        mainThread.join();
    }
    std::uint16_t port() const { return server.boundPort(); }
};

struct Response {
    int status = 0;
    std::map<std::string, std::string> headers;  // names lower-cased
    std::string body;
};

// One blocking TCP connection to 127.0.0.1 (or ::1), with a 5 s receive timeout so that a
// missing response fails the test instead of hanging it.
class Client {
public:
    // With `connectNow` false the socket exists (its descriptor is taken) but connects only on
    // `connect()`.
    explicit Client(std::uint16_t port, bool v6 = false, bool connectNow = true) : port_(port), v6_(v6) {
        fd_ = ::socket(v6 ? AF_INET6 : AF_INET, SOCK_STREAM, 0);
        if (fd_ < 0) throw std::runtime_error("socket failed");
        timeval timeout{5, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
        int one = 1;
        ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        if (connectNow) connect();
    }
    bool connect() { return connected_ = connectTo(port_, v6_); }
    ~Client() {
        if (fd_ >= 0) ::close(fd_);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool connected() const { return connected_; }
    int fd() const { return fd_; }

    void send(std::string_view bytes) {
        while (!bytes.empty()) {
            ssize_t sent = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0) throw std::runtime_error("send failed");
            bytes.remove_prefix(std::size_t(sent));
        }
    }
    void halfClose() { ::shutdown(fd_, SHUT_WR); }

    // True when bytes (or the end of the stream) arrive within `milliseconds`.
    bool readable(int milliseconds) {
        if (!pending_.empty()) return true;
        pollfd entry{fd_, POLLIN, 0};
        return ::poll(&entry, 1, milliseconds) > 0;
    }

    // The next response, or nothing when the stream ends or times out first.
    std::optional<Response> receive() {
        std::size_t headEnd;
        while ((headEnd = pending_.find("\r\n\r\n")) == std::string::npos)
            if (!fill()) return std::nullopt;
        Response response;
        std::string head = pending_.substr(0, headEnd);
        pending_.erase(0, headEnd + 4);
        std::size_t lineEnd = head.find("\r\n");
        std::string statusLine = head.substr(0, lineEnd);
        response.status = std::stoi(statusLine.substr(9, 3));
        response.headers["(status line)"] = statusLine;
        while (lineEnd != std::string::npos) {
            std::size_t next = head.find("\r\n", lineEnd + 2);
            std::string line = head.substr(lineEnd + 2, next == std::string::npos ? std::string::npos : next - lineEnd - 2);
            std::size_t colon = line.find(": ");
            std::string name = line.substr(0, colon);
            for (char& c : name) c = char(std::tolower(static_cast<unsigned char>(c)));
            response.headers[name] = line.substr(colon + 2);
            lineEnd = next;
        }
        std::size_t length = std::stoul(response.headers.at("content-length"));
        while (pending_.size() < length)
            if (!fill()) return std::nullopt;
        response.body = pending_.substr(0, length);
        pending_.erase(0, length);
        return response;
    }

    // True when the server closed the connection (end of stream) with nothing more to read.
    bool closedByServer() {
        char byte;
        return pending_.empty() && ::recv(fd_, &byte, 1, 0) == 0;
    }

private:
    bool connectTo(std::uint16_t port, bool v6) {
        if (v6) {
            sockaddr_in6 address{};
            address.sin6_family = AF_INET6;
            address.sin6_port = htons(port);
            address.sin6_addr = in6addr_loopback;
            return ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    bool fill() {
        char buffer[65536];
        ssize_t count = ::recv(fd_, buffer, sizeof buffer, 0);
        if (count <= 0) return false;
        pending_.append(buffer, std::size_t(count));
        return true;
    }

    std::uint16_t port_;
    bool v6_;
    int fd_ = -1;
    bool connected_ = false;
    std::string pending_;
};

// A POST /mcp request carrying `body`, with optional extra header lines (each ending in CRLF).
inline std::string post(const std::string& body, const std::string& extraHeaders = "") {
    return "POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n" + extraHeaders +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

} // namespace velmo::testing
