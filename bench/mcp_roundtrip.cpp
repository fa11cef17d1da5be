// Round trips of JSON-RPC requests over one keep-alive loopback connection to the real server
// (HTTP thread, hop to the main queue, dispatcher, hop back): `ping` and `tools/call history`;
// then `ping` through a velmo-mcp child process over pipes, one line at a time as a stdio MCP
// client sends it. Prints the median and the 99th percentile. Targets: median under 0.2 ms for
// `ping`; the bridge adds under 0.5 ms to it.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "server/MCPDispatcher.h"
#include "server/MCPHTTPServer.h"

#include <arpa/inet.h>
#include <spawn.h>
#include <sys/wait.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

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

// velmo-mcp as a stdio client runs it: its standard input and output are pipes of ours.
class Bridge {
public:
    explicit Bridge(std::uint16_t port) {
        int in[2], out[2];
        if (::pipe(in) != 0 || ::pipe(out) != 0) fail("pipe");
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, in[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&files, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclosefrom_np(&files, 3);
        ::setenv("VELMO_MCP_PORT", std::to_string(port).c_str(), 1);
        char* argv[] = {const_cast<char*>(VELMO_MCP_PATH), nullptr};
        if (posix_spawn(&pid_, VELMO_MCP_PATH, &files, nullptr, argv, environ) != 0) fail("spawn velmo-mcp");
        posix_spawn_file_actions_destroy(&files);
        ::close(in[0]);
        ::close(out[1]);
        toBridge_ = in[1];
        fromBridge_ = out[0];
    }
    ~Bridge() {
        ::close(toBridge_);  // the bridge ends when its input closes
        int status;
        ::waitpid(pid_, &status, 0);
        ::close(fromBridge_);
    }

    // Writes one line and reads one line back; returns whether it is the answer to `ping`.
    bool roundTrip(const std::string& line) {
        if (::write(toBridge_, line.data(), line.size()) != ssize_t(line.size())) fail("write to velmo-mcp");
        std::size_t end;
        while ((end = pending_.find('\n')) == std::string::npos) {
            char buffer[4096];
            const ssize_t count = ::read(fromBridge_, buffer, sizeof buffer);
            if (count <= 0) fail("read from velmo-mcp");
            pending_.append(buffer, std::size_t(count));
        }
        const bool pong = pending_.compare(0, end, R"({"id":1,"jsonrpc":"2.0","result":{}})") == 0;
        pending_.erase(0, end + 1);
        return pong;
    }

private:
    pid_t pid_ = -1;
    int toBridge_ = -1, fromBridge_ = -1;
    std::string pending_;
};

// Runs `roundTrip` `count` times after a warm-up and prints the median and the 99th percentile.
void measure(const char* name, int count, const std::function<bool()>& roundTrip) {
    for (int i = 0; i < count / 10; ++i) roundTrip();
    std::vector<double> micros;
    micros.reserve(std::size_t(count));
    for (int i = 0; i < count; ++i) {
        const auto start = Clock::now();
        if (!roundTrip()) fail(name);
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
    const std::string ping = R"({"jsonrpc":"2.0","id":1,"method":"ping"})";
    {
        Connection connection(server.boundPort());
        const std::string pingRequest = post(ping);
        const std::string historyRequest = post(R"({"jsonrpc":"2.0","id":2,"method":"tools/call",
            "params":{"name":"history","arguments":{"action":"undo"}}})");
        measure("ping", 20000, [&] { return connection.roundTrip(pingRequest) == 200; });
        measure("tools/call history", 20000, [&] { return connection.roundTrip(historyRequest) == 200; });
    }
    {
        Bridge bridge(server.boundPort());
        const std::string line = ping + "\n";
        measure("ping through velmo-mcp", 20000, [&] { return bridge.roundTrip(line); });
    }
    mainQueue.stop();
    mainThread.join();
    return 0;
}
