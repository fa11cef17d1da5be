#include "VelmoLauncher.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>

extern char** environ;

namespace velmo::bridge {

namespace {

bool isSet(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

} // namespace

std::string velmoBesideSelf() {
    char path[4096];
    const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path - 1);
    if (length <= 0) return "velmo";
    const std::string self(path, std::size_t(length));
    const std::size_t slash = self.rfind('/');
    return slash == std::string::npos ? "velmo" : self.substr(0, slash + 1) + "velmo";
}

std::vector<std::string> launchArguments() {
    if (isSet("DISPLAY") || isSet("WAYLAND_DISPLAY")) return {};
    return {"--headless"};
}

Launch launchDetached(const std::string& program, const std::vector<std::string>& arguments) {
    if (::access(program.c_str(), X_OK) != 0)
        return {-1, "there is no velmo program at " + program + " (" + std::strerror(errno) + ")"};

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    for (int fd = 0; fd <= 2; ++fd) posix_spawn_file_actions_addopen(&files, fd, "/dev/null", fd == 0 ? O_RDONLY : O_WRONLY, 0);
    // Nothing the client handed the bridge may stay open in Velmo, or the client would wait on it.
    posix_spawn_file_actions_addclosefrom_np(&files, 3);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);  // ignored by the bridge; Velmo sets its own handling
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    pid_t pid = -1;
    const int error = posix_spawn(&pid, program.c_str(), &files, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) return {-1, "starting " + program + " failed: " + std::strerror(error)};
    return {pid, {}};
}

std::optional<std::string> endOf(pid_t pid) {
    int status = 0;
    const pid_t reaped = ::waitpid(pid, &status, WNOHANG);
    if (reaped == 0) return std::nullopt;
    if (reaped < 0) return "ended";
    if (WIFSIGNALED(status)) return "was killed by signal " + std::to_string(WTERMSIG(status));
    return "exited with status " + std::to_string(WEXITSTATUS(status));
}

} // namespace velmo::bridge
