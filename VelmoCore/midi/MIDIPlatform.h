// The few operations of the system's MIDI layer that the hub and the sender need, so that the
// routing logic runs against the ALSA sequencer in the app and against an in-memory system in
// tests. Names the hub creates: client "Velmo", ports "Velmo Out" and "Velmo In", and the
// virtual source "Velmo Virtual Out" that other software subscribes to.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmo {

class MIDIEventList;

// A platform reference to a client, port or endpoint. In an endpoint list, 0 means "skip": the
// endpoint vanished while the list was read.
using MIDIObjectRef = std::uint32_t;

// The notification message id of "the set of devices changed". Others are ignored.
constexpr std::int32_t kMIDISetupChanged = 1;

// Setup and queries are called on the main queue; `send` and `publish` on the audio thread.
// Callbacks arrive on a platform thread and must only hand work on.
class MIDIPlatform {
public:
    using Notify = std::function<void(std::int32_t messageID)>;
    using Receive = std::function<void(const MIDIEventList&)>;

    virtual ~MIDIPlatform() = default;

    // The client, or nothing if the system has no MIDI; `notify` hears of setup changes.
    virtual std::optional<MIDIObjectRef> createClient(std::string_view name, Notify notify) = 0;
    virtual MIDIObjectRef createOutputPort(MIDIObjectRef client, std::string_view name) = 0;
    // A source of this client that other software can connect to; it appears among `sources()`.
    virtual MIDIObjectRef createVirtualSource(MIDIObjectRef client, std::string_view name) = 0;
    // `receive` gets every list arriving from a source connected to this port.
    virtual MIDIObjectRef createInputPort(MIDIObjectRef client, std::string_view name, Receive receive) = 0;

    // The system's outputs and inputs, in system order; may hold 0 entries.
    virtual std::vector<MIDIObjectRef> destinations() = 0;
    virtual std::vector<MIDIObjectRef> sources() = 0;
    // The endpoint's display name, or nothing if it cannot be read.
    virtual std::optional<std::string> displayName(MIDIObjectRef endpoint) = 0;

    virtual void connectSource(MIDIObjectRef inputPort, MIDIObjectRef source) = 0;
    virtual void disconnectSource(MIDIObjectRef inputPort, MIDIObjectRef source) = 0;

    // Audio thread: must not block or allocate. Time stamps are host ticks (steady_clock
    // nanoseconds), 0 for "now". A failed send is dropped without a word.
    virtual void send(MIDIObjectRef outputPort, MIDIObjectRef destination, const MIDIEventList& list) noexcept = 0;
    // Audio thread: the list goes out from the virtual source to whoever listens to it.
    virtual void publish(MIDIObjectRef virtualSource, const MIDIEventList& list) noexcept = 0;

    virtual void disposeEndpoint(MIDIObjectRef endpoint) = 0;
    virtual void disposeClient(MIDIObjectRef client) = 0;
};

} // namespace velmo
