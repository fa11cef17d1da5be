#include "WaitReadable.h"

#include <poll.h>

#include <cerrno>

namespace velmo::bridge {

WaitResult waitReadable(int fd, int clientOut, int timeoutMs) {
    // Asking for no events on the output still reports POLLERR (a pipe whose reader closed) and
    // POLLHUP (a socket shut down).
    pollfd fds[2] = {{fd, POLLIN, 0}, {clientOut, 0, 0}};
    for (;;) {
        const int count = ::poll(fds, clientOut >= 0 ? 2 : 1, timeoutMs);
        if (count < 0 && errno == EINTR) continue;
        if (count == 0) return WaitResult::timedOut;
        // A failed poll is left for the read to report.
        if (count < 0 || fds[0].revents != 0) return WaitResult::readable;
        if (fds[1].revents & (POLLERR | POLLHUP | POLLNVAL)) return WaitResult::clientGone;
    }
}

} // namespace velmo::bridge
