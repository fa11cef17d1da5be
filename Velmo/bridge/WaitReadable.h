// The one blocking wait of the bridge: for input on a descriptor, while watching the client's end
// of standard output, so that a client that has gone away never leaves the bridge waiting.
#pragma once

namespace velmo::bridge {

enum class WaitResult { readable, clientGone, timedOut };

// Blocks until `fd` is readable (end of stream and errors count as readable: the read tells
// which) or `timeoutMs` passes (-1: no limit). `clientOut` (-1: none) is the descriptor the
// answers go to; when it reports an error or hang-up, nobody is left to read them.
WaitResult waitReadable(int fd, int clientOut, int timeoutMs = -1);

} // namespace velmo::bridge
