// velmo-mcp: the stdio bridge for MCP clients that start their servers as a child process. It
// reads JSON-RPC messages, one per line, from standard input, posts each to Velmo's endpoint on
// 127.0.0.1 and writes each answer as one line to standard output; it starts Velmo when none
// runs. Standard output carries nothing but JSON-RPC; everything for a person goes to standard
// error.
#include "Bridge.h"
#include "LineReader.h"
#include "StandardOptions.h"
#include "VelmoLauncher.h"
#include "server/VelmoInfo.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>

using namespace velmo;
using namespace velmo::bridge;

namespace {

void printUsage(std::FILE* to) {
    std::fputs("Usage: velmo-mcp [--help] [--version]\n"
               "Connects an MCP client that speaks JSON-RPC over standard input and output to Velmo:\n"
               "each line read is posted to http://127.0.0.1:$VELMO_MCP_PORT/mcp (port 7341 unless\n"
               "VELMO_MCP_PORT says otherwise) and each answer is written back as one line. If nothing\n"
               "listens there, velmo-mcp starts the velmo program beside it (headless when there is no\n"
               "display) and waits up to 10 seconds for it. It ends when standard input closes.\n",
               to);
}

// Writes `text` and a newline; false once the reader has gone (EPIPE) or the write fails.
bool writeLine(const std::string& text) {
    char newline = '\n';
    iovec parts[2] = {{const_cast<char*>(text.data()), text.size()}, {&newline, 1}};
    int count = 2;
    iovec* next = parts;
    while (count > 0) {
        const ssize_t written = ::writev(STDOUT_FILENO, next, count);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        std::size_t done = std::size_t(written);
        while (count > 0 && done >= next->iov_len) {
            done -= next->iov_len;
            ++next;
            --count;
        }
        if (count > 0) {
            next->iov_base = static_cast<char*>(next->iov_base) + done;
            next->iov_len -= done;
        }
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    // The bridge has no options of its own.
    if (argc > 1) return answerStandardOption("velmo-mcp", argv[1], printUsage);
    // A client that closes our standard output ends the bridge through EPIPE, not a signal.
    std::signal(SIGPIPE, SIG_IGN);

    Bridge::Options options;
    options.port = VelmoInfo::port();
    options.velmoPath = velmoBesideSelf();
    options.velmoArguments = launchArguments();
    options.clientOut = STDOUT_FILENO;
    Bridge bridge(options, [](const std::string& message) { std::fprintf(stderr, "velmo-mcp: %s\n", message.c_str()); });

    LineReader input(STDIN_FILENO, Bridge::maxMessageBytes, STDOUT_FILENO);
    while (auto line = input.next()) {
        const auto answer = bridge.answer(*line);
        if (bridge.clientGone() || (answer && !writeLine(*answer))) break;
    }
    return 0;
}
