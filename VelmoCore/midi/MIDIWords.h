// The 32-bit Universal MIDI Packet words Velmo sends and understands: MIDI 1.0 channel voice
// messages (message type 2) on group 0. Sending maps Velmo's values (any pitch, velocity 0 to 1)
// onto the wire's 7-bit fields; receiving reads notes back and ignores everything else.
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>

namespace velmo::MIDIWords {

constexpr std::uint32_t noteOnBase = 0x20900000;
constexpr std::uint32_t noteOffBase = 0x20800000;
constexpr std::uint32_t allNotesOffBase = 0x20B07B00;  // controller 123, value 0

constexpr std::uint32_t channelBits(std::uint8_t channel) { return std::uint32_t(channel & 0x0F) << 16; }

// Out-of-range pitches are held to 0...255 and then wrapped to seven bits, so 130 goes out as 2.
constexpr std::uint32_t pitchBits(int pitch) {
    int held = pitch < 0 ? 0 : pitch > 255 ? 255 : pitch;
    return std::uint32_t(held & 0x7F) << 8;
}

// round(velocity * 127) held to 1...127: a note on with velocity 0 would read as a note off.
// Anything that is not a number sends the quietest note.
inline std::uint32_t velocity7(double velocity) {
    double scaled = std::round(velocity * 127.0);
    if (!(scaled >= 1.0)) return 1;
    if (scaled > 127.0) return 127;
    return std::uint32_t(scaled);
}

inline std::uint32_t noteOn(std::uint8_t channel, int pitch, double velocity) {
    return noteOnBase | channelBits(channel) | pitchBits(pitch) | velocity7(velocity);
}

constexpr std::uint32_t noteOff(std::uint8_t channel, int pitch) {
    return noteOffBase | channelBits(channel) | pitchBits(pitch);
}

constexpr std::uint32_t allNotesOff(std::uint8_t channel) { return allNotesOffBase | channelBits(channel); }

struct NoteEvent {
    int pitch = 0;
    double velocity = 0;  // 0 to 1; 0 ends the note

    bool operator==(const NoteEvent&) const = default;
};

// A note on or note off of any channel and group; nothing for any other word. A note on with
// velocity 0 keeps velocity 0, which the receiver treats as a note off.
inline std::optional<NoteEvent> decodeNote(std::uint32_t word) {
    if ((word >> 28) != 0x2) return std::nullopt;
    int pitch = int((word >> 8) & 0x7F);
    switch ((word >> 20) & 0xF) {
    case 0x8: return NoteEvent{pitch, 0.0};
    case 0x9: return NoteEvent{pitch, double(word & 0x7F) / 127.0};
    default: return std::nullopt;
    }
}

} // namespace velmo::MIDIWords
