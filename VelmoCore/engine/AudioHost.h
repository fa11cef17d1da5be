// Connects the engine core to the output device. It is thin: it chooses the sample rate, has the
// device's callback render the core, restarts the device when it comes back, keeps the last error
// text for the person, and, whenever no device plays, has the clock thread render instead so that
// the transport and MIDI out keep time.
#pragma once

#include "engine/AudioDevice.h"
#include "engine/AudioRenderer.h"
#include "engine/EngineCore.h"
#include "engine/RenderClock.h"
#include "midi/MIDIHub.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace velmo {

// Main queue only. The device's callback and the clock thread reach only the renderer and the
// core, never the host.
class AudioHost {
public:
    static constexpr double fallbackSampleRate = 48000;
    // A platform audio layer gives no word when a device comes back, so the host is asked this
    // often to try again while it is not running.
    static constexpr std::chrono::seconds restartPeriod{2};

    // Makes the core at the device's rate (48000 when it reports none) and starts. The rate stays
    // for the life of the process. Without a `device` (none is wanted) the clock thread renders.
    explicit AudioHost(std::unique_ptr<AudioDevice> device);
    ~AudioHost();
    AudioHost(const AudioHost&) = delete;
    AudioHost& operator=(const AudioHost&) = delete;

    // (Re)starts the device. Success sets `running` and clears `lastError`; a failure keeps the
    // back end's text in `lastError` and lets the clock thread render until the next try. Never
    // throws. Returns `running`.
    bool start();
    // Called every restartPeriod: notices a stream that stopped by itself (the device or its
    // server went away), and tries `start` while the host is not running.
    void restartIfStopped();
    // Gives the core a MIDI writer on the hub's output port, with the device's output latency so
    // that external gear stays in time with what is heard. Each later start hands over a new
    // writer with the latency of the device then playing (none for the clock thread).
    void attachMIDI(const MIDIHub& hub);

    EngineCore& core() const { return renderer_->core(); }
    const std::shared_ptr<EngineCore>& sharedCore() const { return renderer_->sharedCore(); }
    bool running() const { return running_; }
    const std::optional<std::string>& lastError() const { return lastError_; }
    // Whether the clock thread renders, as it does whenever the device does not.
    bool clockRunning() const { return clock_.running(); }

private:
    void fail(std::string error);
    void useClock();
    void attachSender(double latency);

    std::unique_ptr<AudioDevice> device_;
    std::shared_ptr<AudioRenderer> renderer_;
    RenderClock clock_;
    bool running_ = false;
    std::optional<std::string> lastError_;
    std::optional<MIDISender> midi_; // the writer each start hands the core a copy of
};

} // namespace velmo
