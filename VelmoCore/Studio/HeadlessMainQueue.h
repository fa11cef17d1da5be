// The main queue of the headless program and of tests: an Asio io_context that the owning
// thread runs. `run` serves it until `stop`; tests drive it step by step with `poll`.
#pragma once

#include "Studio/MainQueue.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>

namespace velmo {

// Owned by the thread that calls `run` or `poll`; `post` and `stop` may come from any thread.
class HeadlessMainQueue final : public MainQueue {
public:
    HeadlessMainQueue();

    void post(std::function<void()> task) override;
    void every(std::chrono::milliseconds period, std::function<bool()> tick) override;

    // Blocks, running posted tasks and timers, until `stop` is called (also if it was called
    // before). Call once.
    void run();
    // Any thread. Makes `run` return after the task it is running, if any.
    void stop();
    // Runs every task that is ready now, and those they post in turn, without blocking.
    // Returns the number of tasks run.
    std::size_t poll();

    // For signal handlers and other Asio objects that must deliver on the main thread.
    asio::io_context& context() { return context_; }

private:
    asio::io_context context_{1};
    asio::executor_work_guard<asio::io_context::executor_type> work_;
};

} // namespace velmo
