// The MIDI platform on the ALSA sequencer: one sequencer client with Velmo's ports, the system's
// other ports as sources and destinations, notes in and out as sequencer events, and setup
// changes heard on the System Announce port.
#pragma once

#include "midi/MIDIPlatform.h"

#include <atomic>
#include <memory>
#include <thread>

namespace velmo {

// Setup and queries on the main queue, `send` and `publish` on the audio thread, and a thread of
// its own that reads incoming events and hands them to the callbacks. One client per instance.
class AlsaMIDIPlatform final : public MIDIPlatform {
public:
    // Where the sequencer lives; without it createClient gives nothing.
    static constexpr const char* devicePath = "/dev/snd/seq";

    AlsaMIDIPlatform() = default;
    ~AlsaMIDIPlatform() override;
    AlsaMIDIPlatform(const AlsaMIDIPlatform&) = delete;
    AlsaMIDIPlatform& operator=(const AlsaMIDIPlatform&) = delete;

    std::optional<MIDIObjectRef> createClient(std::string_view name, Notify notify) override;
    MIDIObjectRef createOutputPort(MIDIObjectRef client, std::string_view name) override;
    MIDIObjectRef createVirtualSource(MIDIObjectRef client, std::string_view name) override;
    MIDIObjectRef createInputPort(MIDIObjectRef client, std::string_view name, Receive receive) override;
    std::vector<MIDIObjectRef> destinations() override;
    std::vector<MIDIObjectRef> sources() override;
    std::optional<std::string> displayName(MIDIObjectRef endpoint) override;
    void connectSource(MIDIObjectRef inputPort, MIDIObjectRef source) override;
    void disconnectSource(MIDIObjectRef inputPort, MIDIObjectRef source) override;
    void send(MIDIObjectRef outputPort, MIDIObjectRef destination, const MIDIEventList& list) noexcept override;
    void publish(MIDIObjectRef virtualSource, const MIDIEventList& list) noexcept override;
    void disposeEndpoint(MIDIObjectRef endpoint) override;
    void disposeClient(MIDIObjectRef client) override;

    // The handle and what the reading thread needs; defined with the code, away from ALSA's
    // header.
    struct Sequencer;

private:
    std::vector<MIDIObjectRef> ports(unsigned int capabilities);
    void deliver(MIDIObjectRef sourcePort, MIDIObjectRef destination, const MIDIEventList& list) noexcept;

    std::shared_ptr<Sequencer> seq_;
    std::jthread reader_;
};

} // namespace velmo
