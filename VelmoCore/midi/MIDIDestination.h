// One entry of the MIDI output list that the track routing menu shows and a stored device name
// is matched against: either the system's own virtual source or a system destination.
#pragma once

#include "midi/MIDIPlatform.h"

#include <cstddef>
#include <functional>
#include <string>

namespace velmo {

struct MIDIDestination {
    std::string name;          // display name, as shown and matched
    bool isVirtual = false;    // true for Velmo's own virtual source
    MIDIObjectRef endpoint = 0;

    bool operator==(const MIDIDestination&) const = default;
};

} // namespace velmo

template <>
struct std::hash<velmo::MIDIDestination> {
    std::size_t operator()(const velmo::MIDIDestination& d) const noexcept {
        std::size_t h = std::hash<std::string>{}(d.name);
        h ^= std::hash<std::uint64_t>{}((std::uint64_t(d.endpoint) << 1) | std::uint64_t(d.isVirtual)) + 0x9e3779b97f4a7c15ull +
             (h << 6) + (h >> 2);
        return h;
    }
};
