// The writer the audio thread sends MIDI notes with: one word per message, built into the
// sender's own fixed buffer and stamped with the time of the block's first frame at the speaker.
#pragma once

#include "midi/MIDIEventList.h"
#include "midi/MIDIPlatform.h"
#include "midi/MIDITarget.h"

#include <cstdint>
#include <memory>

namespace velmo {

// Audio thread only, once attached to the engine. It never allocates, blocks or throws; its
// buffer is reused for every message, so one sender must never be used from two threads.
class MIDISender {
public:
    // `outputPort` is the hub's output port. The platform is shared so that it outlives every
    // sender that points at it.
    MIDISender(std::shared_ptr<MIDIPlatform> platform, MIDIObjectRef outputPort) noexcept
        : platform_(std::move(platform)), port_(outputPort) {}

    MIDIObjectRef port() const noexcept { return port_; }

    // Stamp for the following messages, in host ticks (steady_clock nanoseconds); 0 means now.
    void setTime(std::uint64_t hostTicks) noexcept { time_ = hostTicks; }
    std::uint64_t time() const noexcept { return time_; }

    // `velocity` is 0 to 1 and goes out as 1 to 127; any pitch is accepted (see MIDIWords).
    void noteOn(const MIDITarget& target, int pitch, double velocity) noexcept;
    void noteOff(const MIDITarget& target, int pitch) noexcept;
    // Controller 123 on the target's channel, for a panic.
    void allNotesOff(const MIDITarget& target) noexcept;

private:
    void send(const MIDITarget& target, std::uint32_t word) noexcept;

    std::shared_ptr<MIDIPlatform> platform_;
    MIDIObjectRef port_ = 0;
    MIDIEventList buffer_;
    std::uint64_t time_ = 0;
};

} // namespace velmo
