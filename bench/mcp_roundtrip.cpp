// Round trips of JSON-RPC requests over one keep-alive loopback connection to the real server
// (HTTP thread, hop to the main queue, dispatcher, hop back): `ping` and `tools/call history`.
// Prints the median and the 99th percentile. Target: median under 0.2 ms for `ping`.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "server/MCPDispatcher.h"
#include "server/MCPHTTPServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

using namespace velmo;
using Clock = std::chrono::steady_clock;

namespace {

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

class Connection {
public:
    explicit Connection(std::uint16_t port) {
        fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
        int one = 1;
        ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) fail("connect");
    }
    ~Connection() { ::close(fd_); }

    // Sends `request` and reads one whole response; returns its status.
    int roundTrip(const std::string& request) {
        if (::send(fd_, request.data(), request.size(), MSG_NOSIGNAL) != ssize_t(request.size())) fail("send");
        std::size_t headEnd;
        while ((headEnd = pending_.find("\r\n\r\n")) == std::string::npos) fill();
        const std::size_t lengthAt = pending_.find("Content-Length: ");
        const std::size_t length = std::strtoul(pending_.c_str() + lengthAt + 16, nullptr, 10);
        while (pending_.size() < headEnd + 4 + length) fill();
        const int status = std::atoi(pending_.c_str() + 9);
        pending_.erase(0, headEnd + 4 + length);
        return status;
    }

private:
    void fill() {
        char buffer[65536];
        ssize_t count = ::recv(fd_, buffer, sizeof buffer, 0);
        if (count <= 0) fail("recv");
        pending_.append(buffer, std::size_t(count));
    }
    int fd_;
    std::string pending_;
};

std::string post(const std::string& body) {
    return "POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

void measure(Connection& connection, const char* name, const std::string& body, int count) {
    const std::string request = post(body);
    for (int i = 0; i < count / 10; ++i) connection.roundTrip(request);  // warm-up
    std::vector<double> micros;
    micros.reserve(std::size_t(count));
    for (int i = 0; i < count; ++i) {
        const auto start = Clock::now();
        if (connection.roundTrip(request) != 200) fail(name);
        micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    std::sort(micros.begin(), micros.end());
    std::printf("%-28s %6d round trips   median %7.1f us   p99 %7.1f us\n", name, count, micros[micros.size() / 2],
                micros[micros.size() * 99 / 100]);
}

} // namespace

int main() {
    HeadlessMainQueue mainQueue;
    Studio studio(Project("Untitled", 120));
    MCPDispatcher dispatcher(studio, mainQueue);
    MCPHTTPServer server(0, dispatcher);
    server.start();
    if (server.boundPort() == 0) fail("listen");
    std::thread mainThread([&] { mainQueue.run(); });
    {
        Connection connection(server.boundPort());
        measure(connection, "ping", R"({"jsonrpc":"2.0","id":1,"method":"ping"})", 20000);
        measure(connection, "tools/call history", R"({"jsonrpc":"2.0","id":2,"method":"tools/call",
            "params":{"name":"history","arguments":{"action":"undo"}}})", 20000);
    }
    mainQueue.stop();
    mainThread.join();
    return 0;
}
