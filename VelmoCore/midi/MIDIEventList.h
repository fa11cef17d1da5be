// A list of time-stamped packets of 32-bit Universal MIDI Packet words, kept in a fixed 256-byte
// buffer so that the audio thread can build one per message without allocating. It is what
// crosses the platform seam in both directions: sent lists and received lists.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace velmo {

// Any thread, but one list is never shared between threads.
class MIDIEventList {
public:
    static constexpr std::size_t byteCapacity = 256;
    static constexpr std::uint32_t protocolMIDI1 = 1;  // MIDI 1.0 messages in universal packet form

    struct Packet {
        std::uint64_t timeStamp = 0;  // host ticks (steady_clock nanoseconds); 0 means now
        std::span<const std::uint32_t> words;
    };

    explicit MIDIEventList(std::uint32_t protocol = protocolMIDI1) noexcept { init(protocol); }

    // Empties the list.
    void init(std::uint32_t protocol = protocolMIDI1) noexcept {
        storage_[0] = protocol;
        storage_[1] = 0;
        used_ = headerWords;
    }

    // Appends one packet. False, and the list unchanged, if the packet does not fit.
    bool add(std::uint64_t timeStamp, std::span<const std::uint32_t> words) noexcept {
        if (used_ + packetHeaderWords + words.size() > storage_.size()) return false;
        storage_[used_++] = std::uint32_t(timeStamp);
        storage_[used_++] = std::uint32_t(timeStamp >> 32);
        storage_[used_++] = std::uint32_t(words.size());
        for (std::uint32_t w : words) storage_[used_++] = w;
        ++storage_[1];
        return true;
    }

    std::uint32_t protocol() const noexcept { return storage_[0]; }
    std::size_t packetCount() const noexcept { return storage_[1]; }
    bool empty() const noexcept { return packetCount() == 0; }

    // Calls `visit(Packet)` for each packet in order.
    template <class Visit>
    void forEachPacket(Visit&& visit) const {
        std::size_t at = headerWords;
        for (std::uint32_t i = 0; i < storage_[1]; ++i) {
            Packet packet;
            packet.timeStamp = std::uint64_t(storage_[at]) | (std::uint64_t(storage_[at + 1]) << 32);
            std::size_t count = storage_[at + 2];
            packet.words = std::span<const std::uint32_t>(storage_.data() + at + packetHeaderWords, count);
            at += packetHeaderWords + count;
            visit(packet);
        }
    }

private:
    static constexpr std::size_t headerWords = 2;        // protocol, packet count
    static constexpr std::size_t packetHeaderWords = 3;  // time low, time high, word count

    std::array<std::uint32_t, byteCapacity / 4> storage_{};
    std::size_t used_ = headerWords;
};

} // namespace velmo
