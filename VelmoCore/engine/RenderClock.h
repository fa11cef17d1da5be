// The stand-in for a device when there is none (or `--audio none`): a thread that renders the
// core at the audio rate into a scratch buffer, so that the transport moves, the live state
// follows, MIDI out plays on time and the meters read what would be heard.
#pragma once

#include "engine/AudioRenderer.h"

#include <array>
#include <atomic>
#include <memory>
#include <thread>

namespace velmo {

// `start` and `stop` on the main queue; the thread it runs is an audio thread.
class RenderClock {
public:
    static constexpr int framesPerTick = 256; // 5.3 ms at 48 kHz

    explicit RenderClock(std::shared_ptr<AudioRenderer> renderer) : renderer_(std::move(renderer)) {}
    ~RenderClock() { stop(); }
    RenderClock(const RenderClock&) = delete;
    RenderClock& operator=(const RenderClock&) = delete;

    void start();
    // Returns once the thread has rendered its last tick.
    void stop();
    bool running() const { return thread_.joinable(); }

private:
    void run(std::stop_token stop);

    std::shared_ptr<AudioRenderer> renderer_;
    std::array<float, framesPerTick> left_{}; // the right half goes to the renderer's scratch
    std::jthread thread_;
};

} // namespace velmo
