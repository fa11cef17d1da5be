// Starting Velmo for a client that found none running: the `velmo` program beside the bridge,
// detached in a session of its own with its standard streams on /dev/null, so that it outlives
// the bridge, ignores the client's Ctrl-C, and no client waits on its output.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace velmo::bridge {

// The path of `velmo` in the folder of the running executable, or the bare name when that
// folder cannot be found.
std::string velmoBesideSelf();

// The arguments Velmo starts with: `--headless` when the environment names no display
// (neither DISPLAY nor WAYLAND_DISPLAY is set and non-empty).
std::vector<std::string> launchArguments();

struct Launch {
    pid_t pid = -1;     // -1 when it could not be started
    std::string error;  // then what went wrong, for a person
};

// Starts `program` with `arguments` and this process's environment. Does not wait.
Launch launchDetached(const std::string& program, const std::vector<std::string>& arguments);

// How a process started by launchDetached ended ("exited with status 1", "was killed by
// signal 9"), reaping it; nothing while it runs.
std::optional<std::string> endOf(pid_t pid);

} // namespace velmo::bridge
