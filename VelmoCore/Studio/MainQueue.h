// The main queue: the one thread where the Studio, every tool handler and the views run. Other
// threads (the HTTP queue, MIDI callbacks, background renders) reach the song only by posting
// closures here. The desktop app backs it with its toolkit's event loop, headless mode with an
// Asio io_context; nothing in VelmoCore depends on which.
#pragma once

#include <chrono>
#include <functional>

namespace velmo {

// Thread-safe to post to; everything it runs runs on the main thread.
class MainQueue {
public:
    virtual ~MainQueue() = default;

    // Any thread. Runs `task` later on the main thread; tasks run in the order they were posted.
    // Never runs `task` before returning, even when called from the main thread.
    virtual void post(std::function<void()> task) = 0;

    // Main thread only. Calls `tick` on the main thread every `period` (the first call one period
    // from now) for as long as it returns true.
    virtual void every(std::chrono::milliseconds period, std::function<bool()> tick) = 0;
};

} // namespace velmo
