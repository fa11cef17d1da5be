// velmo: the studio program. With a display it opens the window; with --headless, or when no
// display can be opened, it runs the same Studio on the demo song and the agent server on the
// loopback interface without one, until Ctrl-C or SIGTERM. `velmo render` and `velmo analyze`
// render a project file offline instead.
#include "RenderCommand.h"
#include "RunWindow.h"
#include "StandardOptions.h"
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "base/UserError.h"
#include "engine/AudioBackend.h"
#include "midi/AlsaMIDIPlatform.h"
#include "server/MCPDispatcher.h"
#include "server/MCPHTTPServer.h"
#include "server/VelmoInfo.h"

#include <asio/signal_set.hpp>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

using namespace velmo;

namespace {

void printUsage(std::FILE* to) {
    std::fputs("Usage: velmo [--headless] [--audio jack|pulse|alsa|none] [--help] [--version]\n"
               "       velmo render FILE [-o OUT.wav] [--start BEAT] [--end BEAT] [--tail SECONDS]\n"
               "                         [--target-lufs LUFS]\n"
               "       velmo analyze FILE [--target-lufs LUFS]\n"
               "Runs the Velmo synthesizer studio and its MCP server for AI agents on\n"
               "http://127.0.0.1:7341/mcp (set VELMO_MCP_PORT to use another port), or renders\n"
               "a .velmo.json project offline and prints its mix analysis as JSON.\n"
               "--target-lufs sets the loudness the analysis holds the mix to, -60 to 0 LUFS\n"
               "(default -14, the common streaming level).\n"
               "--audio (or VELMO_AUDIO) chooses the sound back end; without it Velmo takes the\n"
               "first of JACK, PulseAudio and ALSA that plays. 'none' runs without sound.\n",
               to);
}

// The one host of the process, for the window and headless alike: on the chosen back end, or the
// first that plays, and said plainly when none does.
std::unique_ptr<AudioHost> makeHost(std::optional<AudioBackend> backend) {
    auto host = std::make_unique<AudioHost>(makeAudioDevice(backend, "Velmo"));
    if (backend != AudioBackend::none && host->lastError())
        std::fprintf(stderr,
                     "velmo: no sound: %s\n"
                     "Velmo goes on silently (the transport and MIDI out keep time) and tries the device "
                     "again every 2 s.\n",
                     host->lastError()->c_str());
    return host;
}

} // namespace

int main(int argc, char** argv) {
    if (int status = runRenderCommand(argc, argv); status >= 0) return status;
    bool headless = false;
    std::optional<AudioBackend> backend;
    try {
        if (const char* chosen = std::getenv("VELMO_AUDIO"); chosen && *chosen) backend = parseAudioBackend(chosen);
    } catch (const UserError& e) {
        std::fprintf(stderr, "velmo: VELMO_AUDIO: %s\n", e.what());
        return 2;
    }
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--headless") == 0) {
            headless = true;
            continue;
        }
        if (std::strcmp(argv[i], "--audio") == 0) {
            try {
                backend = parseAudioBackend(i + 1 < argc ? argv[++i] : "");
            } catch (const UserError& e) {
                std::fprintf(stderr, "velmo: --audio: %s\n", e.what());
                return 2;
            }
            continue;
        }
        return answerStandardOption("velmo", argv[i], printUsage);
    }
    // A client that disappears mid-response must not end the process.
    std::signal(SIGPIPE, SIG_IGN);
    if (!headless && displayAvailable()) return runWindow(argc, argv, makeHost(backend));

    HeadlessMainQueue mainQueue;
    Studio studio(Studio::demoProject(), makeHost(backend), mainQueue);
    // Without a sequencer there is no hub, and the MIDI tools say so.
    studio.startMIDI(std::make_shared<AlsaMIDIPlatform>(), [&](std::function<void()> task) { mainQueue.post(std::move(task)); });
    MCPDispatcher dispatcher(studio, mainQueue);
    MCPHTTPServer server(VelmoInfo::port(), dispatcher);

    int exitCode = 0;
    server.onState = [&](const MCPHTTPServer::State& state) {
        if (std::holds_alternative<MCPHTTPServer::Listening>(state)) {
            std::printf("Velmo MCP server listening on http://127.0.0.1:%u/mcp\n", unsigned(server.boundPort()));
            std::fflush(stdout);
        } else if (auto* failed = std::get_if<MCPHTTPServer::Failed>(&state)) {
            std::fprintf(stderr,
                         "velmo: cannot listen on port %u: %s\n"
                         "Another program (perhaps another Velmo) may be using it. Set VELMO_MCP_PORT to choose "
                         "another port, e.g. VELMO_MCP_PORT=7342 velmo --headless\n",
                         unsigned(server.port()), failed->message.c_str());
            exitCode = 1;
            mainQueue.stop();
        }
    };

    asio::signal_set signals(mainQueue.context(), SIGINT, SIGTERM);
    signals.async_wait([&](const std::error_code& error, int) {
        if (error) return;
        std::puts("Velmo stopped.");
        mainQueue.stop();
    });

    server.start();
    mainQueue.run();
    return exitCode;
}
