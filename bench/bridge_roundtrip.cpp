// What the stdio bridge adds to a round trip: `ping` to the real server (in this process, on
// loopback) straight over HTTP with the bridge's own client, then through a velmo-mcp child
// process over pipes, one line at a time as a stdio MCP client sends it. Prints the median and
// the 99th percentile of both and their difference. Target: the bridge adds under 0.5 ms.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "VelmoConnection.h"
#include "server/MCPDispatcher.h"
#include "server/MCPHTTPServer.h"

#include <spawn.h>
#include <sys/wait.h>
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

constexpr int kRoundTrips = 20000;
const std::string kPing = R"({"jsonrpc":"2.0","id":1,"method":"ping"})";

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bridge_roundtrip: %s\n", what);
    std::exit(1);
}

struct Figures {
    double median, p99;
};

Figures measure(const std::function<void()>& roundTrip) {
    for (int i = 0; i < kRoundTrips / 10; ++i) roundTrip();  // warm-up
    std::vector<double> micros;
    micros.reserve(kRoundTrips);
    for (int i = 0; i < kRoundTrips; ++i) {
        const auto start = Clock::now();
        roundTrip();
        micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    std::sort(micros.begin(), micros.end());
    return {micros[micros.size() / 2], micros[micros.size() * 99 / 100]};
}

// velmo-mcp as a stdio client runs it: its standard input and output are pipes of ours.
class BridgeProcess {
public:
    explicit BridgeProcess(std::uint16_t port) {
        int in[2], out[2];
        if (::pipe(in) != 0 || ::pipe(out) != 0) fail("pipe");
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, in[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&files, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclosefrom_np(&files, 3);
        ::setenv("VELMO_MCP_PORT", std::to_string(port).c_str(), 1);
        char* argv[] = {const_cast<char*>(VELMO_MCP_PATH), nullptr};
        if (posix_spawn(&pid_, VELMO_MCP_PATH, &files, nullptr, argv, environ) != 0) fail("cannot start " VELMO_MCP_PATH);
        posix_spawn_file_actions_destroy(&files);
        ::close(in[0]);
        ::close(out[1]);
        toBridge_ = in[1];
        fromBridge_ = out[0];
    }
    ~BridgeProcess() {
        ::close(toBridge_);
        int status;
        ::waitpid(pid_, &status, 0);
        ::close(fromBridge_);
    }

    void roundTrip(const std::string& line) {
        if (::write(toBridge_, line.data(), line.size()) != ssize_t(line.size())) fail("write to the bridge");
        for (;;) {
            if (const std::size_t end = pending_.find('\n'); end != std::string::npos) {
                if (pending_.compare(0, end, R"({"id":1,"jsonrpc":"2.0","result":{}})") != 0) fail(pending_.c_str());
                pending_.erase(0, end + 1);
                return;
            }
            char buffer[4096];
            const ssize_t count = ::read(fromBridge_, buffer, sizeof buffer);
            if (count <= 0) fail("the bridge closed its output");
            pending_.append(buffer, std::size_t(count));
        }
    }

private:
    pid_t pid_ = -1;
    int toBridge_ = -1, fromBridge_ = -1;
    std::string pending_;
};

} // namespace

int main() {
    HeadlessMainQueue mainQueue;
    Studio studio(Project("Untitled", 120));
    MCPDispatcher dispatcher(studio, mainQueue);
    MCPHTTPServer server(0, dispatcher);
    server.start();
    if (server.boundPort() == 0) fail("listen");
    std::thread mainThread([&] { mainQueue.run(); });

    bridge::VelmoConnection direct(server.boundPort());
    if (!std::holds_alternative<std::monostate>(direct.open(std::chrono::seconds(5)))) fail("connect");
    const Figures http = measure([&] {
        auto result = direct.post(kPing);
        if (!std::holds_alternative<bridge::VelmoConnection::Reply>(result)) fail("post");
    });
    Figures bridged;
    {
        BridgeProcess bridge(server.boundPort());
        bridged = measure([&] { bridge.roundTrip(kPing + "\n"); });
    }
    std::printf("ping over HTTP               %6d round trips   median %7.1f us   p99 %7.1f us\n", kRoundTrips, http.median, http.p99);
    std::printf("ping through velmo-mcp       %6d round trips   median %7.1f us   p99 %7.1f us\n", kRoundTrips, bridged.median, bridged.p99);
    std::printf("added by the bridge                              median %7.1f us   p99 %7.1f us\n",
                bridged.median - http.median, bridged.p99 - http.p99);

    mainQueue.stop();
    mainThread.join();
    return 0;
}
