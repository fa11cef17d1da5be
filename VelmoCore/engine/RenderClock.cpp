#include "engine/RenderClock.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <chrono>

namespace velmo {

namespace {

// Asks for real-time scheduling, as a device's thread would have; without the privilege the
// clock runs at normal priority, which keeps time as well on an idle machine.
void raisePriority() {
    sched_param param{};
    param.sched_priority = std::max(1, sched_get_priority_max(SCHED_FIFO) / 2);
    pthread_setschedparam(pthread_self(), SCHED_FIFO, &param);
}

} // namespace

void RenderClock::start() {
    if (running()) return;
    thread_ = std::jthread([this](std::stop_token stop) { run(stop); });
}

void RenderClock::stop() {
    if (!running()) return;
    thread_.request_stop();
    thread_.join();
    thread_ = std::jthread();
}

void RenderClock::run(std::stop_token stop) {
    raisePriority();
    using namespace std::chrono;
    const auto period = duration_cast<steady_clock::duration>(duration<double>(framesPerTick / renderer_->core().sampleRate()));
    // Behind by more than this (the machine was suspended, say), the clock starts afresh rather
    // than render the missed time in a burst.
    constexpr auto giveUp = milliseconds(200);
    float* channels[1] = {left_.data()};
    auto tick = steady_clock::now();
    while (!stop.stop_requested()) {
        // Each tick renders the frames that begin now, stamped with the time they begin, so MIDI
        // out leaves at the moment the sound would.
        const auto hostTime = static_cast<std::uint64_t>(duration_cast<nanoseconds>(tick.time_since_epoch()).count());
        renderer_->render(framesPerTick, channels, 1, hostTime);
        tick += period;
        const auto now = steady_clock::now();
        if (now - tick > giveUp) tick = now;
        std::this_thread::sleep_until(tick);
    }
}

} // namespace velmo
