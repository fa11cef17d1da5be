#include "midi/MIDISender.h"

#include "midi/MIDIWords.h"

namespace velmo {

void MIDISender::noteOn(const MIDITarget& target, int pitch, double velocity) noexcept {
    send(target, MIDIWords::noteOn(target.channel, pitch, velocity));
}

void MIDISender::noteOff(const MIDITarget& target, int pitch) noexcept {
    send(target, MIDIWords::noteOff(target.channel, pitch));
}

void MIDISender::allNotesOff(const MIDITarget& target) noexcept {
    send(target, MIDIWords::allNotesOff(target.channel));
}

void MIDISender::send(const MIDITarget& target, std::uint32_t word) noexcept {
    if (!platform_) return;
    buffer_.init(MIDIEventList::protocolMIDI1);
    if (!buffer_.add(time_, std::span<const std::uint32_t>(&word, 1))) return;
    if (target.isVirtual)
        platform_->publish(target.endpoint, buffer_);
    else
        platform_->send(port_, target.endpoint, buffer_);
}

} // namespace velmo
