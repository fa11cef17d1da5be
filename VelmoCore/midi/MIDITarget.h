// The resolved address of a track's MIDI output. The compile step resolves a route's device name
// once, on the control side, so the audio thread only ever sees this plain value.
#pragma once

#include "midi/MIDIPlatform.h"

#include <cstdint>

namespace velmo {

struct MIDITarget {
    MIDIObjectRef endpoint = 0;
    bool isVirtual = false;    // publish from the virtual source instead of sending through the port
    std::uint8_t channel = 0;  // zero-based; only the low four bits go out

    bool operator==(const MIDITarget&) const = default;
};

} // namespace velmo
