// VELMO_SNAPSHOT with the real program: in Qt's offscreen platform, and in a real X server
// (xvfb-run) while the agent server answers. Each writes a PNG of the whole window that is at
// least the window's minimum size and shows more than a blank surface.
#include "Loopback.h"

#include <QDir>
#include <QImage>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace velmo {
namespace {

// A program in a process group of its own, its standard output on a pipe; ended with the group.
struct Program {
    pid_t pid = -1;
    int output = -1;
    std::string seen;

    Program(std::vector<std::string> argv, std::vector<std::pair<std::string, std::string>> environment,
            std::vector<std::string> unset = {}) {
        int pipeEnds[2];
        if (::pipe(pipeEnds) != 0) return;
        pid = ::fork();
        if (pid == 0) {
            ::setpgid(0, 0);
            ::dup2(pipeEnds[1], STDOUT_FILENO);
            ::close(pipeEnds[0]);
            for (const auto& name : unset) ::unsetenv(name.c_str());
            for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
            std::vector<char*> args;
            for (auto& a : argv) args.push_back(a.data());
            args.push_back(nullptr);
            ::execvp(args[0], args.data());
            ::_exit(127);
        }
        ::close(pipeEnds[1]);
        output = pipeEnds[0];
    }

    ~Program() {
        if (pid > 0) {
            ::kill(-pid, SIGTERM);
            ::waitpid(pid, nullptr, 0);
        }
        if (output >= 0) ::close(output);
    }

    // The port of the "listening on http://127.0.0.1:PORT/mcp" line, waiting up to `seconds`.
    int port(int seconds) {
        const std::regex listening("listening on http://127\\.0\\.0\\.1:([0-9]+)/mcp");
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        std::smatch match;
        while (!std::regex_search(seen, match, listening) && std::chrono::steady_clock::now() < until) {
            pollfd ready{output, POLLIN, 0};
            if (::poll(&ready, 1, 100) <= 0) continue;
            char buffer[512];
            const ssize_t n = ::read(output, buffer, sizeof buffer);
            if (n <= 0) break;
            seen.append(buffer, static_cast<std::size_t>(n));
        }
        return std::regex_search(seen, match, listening) ? std::stoi(match[1]) : 0;
    }
};

// Waits up to `seconds` for a PNG at `path` and reads it.
QImage awaitImage(const QString& path, int seconds) {
    QImage image;
    for (int i = 0; i < seconds * 10 && image.isNull(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (QFile::exists(path)) image.load(path);
    }
    return image;
}

// The window's surfaces, text, notes and controls give many colours; a blank grab gives one.
int distinctColours(const QImage& image) {
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 4)
        for (int x = 0; x < image.width(); x += 4) colours.insert(image.pixel(x, y));
    return static_cast<int>(colours.size());
}

void expectWindowImage(const QImage& image, const std::string& where, int scale = 1) {
    ASSERT_FALSE(image.isNull()) << where << ": no snapshot written";
    EXPECT_GE(image.width(), 1100 * scale) << where;
    EXPECT_GE(image.height(), 720 * scale) << where;
    EXPECT_GT(distinctColours(image), 50) << where;
}

TEST(Snapshot, OffscreenWindowDrawsEachTabToAPNG) {
    // Each tab in one appearance or the other, one of them at a device pixel ratio of 2, where the
    // picture holds twice the pixels each way. The programs run side by side.
    struct Case {
        const char* tab;
        const char* appearance;
        int scale;
    } cases[] = {{"Notes", "light", 1}, {"Synth", "dark", 1}, {"Effects", "light", 1}, {"Agent", "dark", 2}};
    QTemporaryDir folder;
    std::vector<std::unique_ptr<Program>> programs;
    for (const Case& c : cases) {
        const std::string name = std::string(c.tab) + "-" + c.appearance;
        programs.push_back(std::make_unique<Program>(
            std::vector<std::string>{VELMO_PROGRAM},
            std::vector<std::pair<std::string, std::string>>{
                {"QT_QPA_PLATFORM", "offscreen"}, {"VELMO_MCP_PORT", "0"}, {"VELMO_TAB", c.tab},
                {"VELMO_APPEARANCE", c.appearance}, {"QT_SCALE_FACTOR", std::to_string(c.scale)},
                {"VELMO_SNAPSHOT", QDir(folder.path()).filePath(QString::fromStdString(name) + ".png").toStdString()},
                {"XDG_CONFIG_HOME", QDir(folder.path()).filePath(QString::fromStdString(name)).toStdString()}}));
    }
    for (const Case& c : cases) {
        const std::string name = std::string(c.tab) + "-" + c.appearance;
        expectWindowImage(awaitImage(QDir(folder.path()).filePath(QString::fromStdString(name) + ".png"), 20), name,
                          c.scale);
    }
}

TEST(Snapshot, RealWindowInAVirtualXServerWhileTheAgentServerAnswers) {
    ASSERT_EQ(::system("command -v xvfb-run >/dev/null"), 0) << "xvfb-run is needed (scripts/install-deps.sh)";
    QTemporaryDir folder;
    const QString path = QDir(folder.path()).filePath("x11.png");
    Program velmo({"xvfb-run", "-a", "-s", "-screen 0 1600x1000x24", VELMO_PROGRAM},
                  {{"VELMO_MCP_PORT", "0"}, {"VELMO_SNAPSHOT", path.toStdString()},
                   {"XDG_CONFIG_HOME", folder.path().toStdString()}},
                  {"QT_QPA_PLATFORM", "WAYLAND_DISPLAY"});
    const int port = velmo.port(20);
    ASSERT_NE(port, 0) << velmo.seen;
    const std::string health = httpExchange(static_cast<std::uint16_t>(port), "GET /health HTTP/1.1");
    EXPECT_NE(health.find("200 OK"), std::string::npos) << health;
    const std::string listed = httpExchange(static_cast<std::uint16_t>(port), "POST /mcp HTTP/1.1\r\nContent-Type: application/json",
                                            R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})");
    EXPECT_NE(listed.find("add_notes"), std::string::npos);
    expectWindowImage(awaitImage(path, 15), "xvfb");
}

} // namespace
} // namespace velmo
