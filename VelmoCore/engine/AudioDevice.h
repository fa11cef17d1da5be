// The few operations of a platform audio output that the host needs, so that the host's logic
// (rate, restart, fallback to the clock) runs against RtAudio in the program and against a
// stand-in in tests.
#pragma once

#include "engine/AudioRenderer.h"

#include <memory>
#include <optional>
#include <string>

namespace velmo {

// Main queue only; the stream's callback runs on the device's own real-time thread.
class AudioDevice {
public:
    virtual ~AudioDevice() = default;

    // The default output's sample rate, or 0 when there is none or it says none.
    virtual double outputSampleRate() = 0;
    // Opens the default output at `sampleRate` for non-interleaved 32-bit float, two channels or
    // the one it has. Its callback will call `renderer->render` and holds the renderer until the
    // stream is closed. No callback runs before `start`. Returns the back end's text on failure.
    virtual std::optional<std::string> open(double sampleRate, std::shared_ptr<AudioRenderer> renderer) = 0;
    virtual std::optional<std::string> start() = 0;
    // Whether the started stream still runs: false once the device or its server went away.
    virtual bool running() = 0;
    // Why a started stream no longer runs, in the back end's words where it gave any.
    virtual std::string stopReason() = 0;
    // Seconds from render to the speaker, once open.
    virtual double outputLatency() = 0;
    // Stops and closes the stream, if any; no callback runs after it returns.
    virtual void close() = 0;
};

} // namespace velmo
