#include "RunWindow.h"

#include "AppModel.h"
#include "Appearance.h"
#include "MainWindow.h"
#include "QtMainQueue.h"
#include "Snapshot.h"
#include "server/VelmoInfo.h"

#include <QApplication>
#include <QLocale>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <atomic>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace velmo {

namespace {

volatile std::sig_atomic_t stopRequested = 0;

bool waylandAnswers() {
    const char* display = std::getenv("WAYLAND_DISPLAY");
    if (!display || !*display) return false;
    std::string path = display;
    if (path.front() != '/') {
        const char* runtime = std::getenv("XDG_RUNTIME_DIR");
        if (!runtime) return false;
        path = std::string(runtime) + "/" + path;
    }
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) return false;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    const bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return ok;
}

bool xServerAnswers() {
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display) return false;
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const bool ok = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return ok;
}

} // namespace

bool displayAvailable() {
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    return (platform && *platform) || waylandAnswers() || xServerAnswers();
}

int runWindow(int argc, char** argv, std::unique_ptr<AudioHost> host) {
    QApplication::setOrganizationName("Velmo");
    QApplication::setApplicationName("Velmo");
    QApplication app(argc, argv);
    // Qt sets the C library's locale from the environment; numbers must not follow it.
    std::setlocale(LC_NUMERIC, "C");
    QLocale::setDefault(QLocale::c());
    Appearance::apply(Appearance::current());

    QtMainQueue mainQueue;
    AppModel model(mainQueue, VelmoInfo::port(), std::nullopt, std::move(host));
    QObject::connect(&model, &AppModel::serverStateChanged, [&model] {
        const auto& state = model.serverState();
        if (std::holds_alternative<MCPHTTPServer::Listening>(state)) {
            std::printf("Velmo MCP server listening on %s\n", model.endpoint().toUtf8().constData());
            std::fflush(stdout);
        } else if (auto* failed = std::get_if<MCPHTTPServer::Failed>(&state)) {
            std::fprintf(stderr, "velmo: cannot listen on port %u: %s; set VELMO_MCP_PORT to use another port\n",
                         unsigned(model.server().port()), failed->message.c_str());
        }
    });

    MainWindow window(model);
    window.show();
    scheduleSnapshot();

    // Ctrl-C and SIGTERM only raise a flag; the event loop looks at it ten times a second.
    std::signal(SIGINT, [](int) { stopRequested = 1; });
    std::signal(SIGTERM, [](int) { stopRequested = 1; });
    mainQueue.every(std::chrono::milliseconds(100), [] {
        if (!stopRequested) return true;
        QApplication::quit();
        return false;
    });
    return QApplication::exec();
}

} // namespace velmo
