// A MIDI system held in memory, for tests and for machines without a sequencer device: devices
// come and go at a call, every client hears setup changes, sources feed the input ports that are
// connected to them, and everything sent is recorded with its time stamp.
#pragma once

#include "midi/MIDIEventList.h"
#include "midi/MIDIPlatform.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace velmo {

// Any thread. Unlike a real system it locks and allocates in `send` and `publish`, so it stands
// in for the device only where nothing real-time listens. Callbacks run synchronously on the
// thread that caused them (the stand-in for the platform's own thread), never under the lock.
class MemoryMIDIPlatform final : public MIDIPlatform {
public:
    // Notification ids besides kMIDISetupChanged, sent first, as a real system does.
    static constexpr std::int32_t objectAdded = 2;
    static constexpr std::int32_t objectRemoved = 3;

    // One packet as it left: through an output port to a destination, or published from a
    // virtual source (port 0).
    struct SentPacket {
        MIDIObjectRef port = 0;
        MIDIObjectRef endpoint = 0;
        bool published = false;
        std::uint64_t timeStamp = 0;
        std::vector<std::uint32_t> words;

        bool operator==(const SentPacket&) const = default;
    };

    // The system's side. A name of nothing is one that cannot be read.
    MIDIObjectRef addDestination(std::optional<std::string> name);
    MIDIObjectRef addSource(std::optional<std::string> name);
    // An entry that lists as 0, as one that vanished while the list was read does.
    void addVanishedDestination();
    void addVanishedSource();
    // Unplugs a device: the endpoint and its connections go, and every client is told.
    void removeEndpoint(MIDIObjectRef endpoint);
    // Tells every client of a notification, as the system's thread would.
    void notifyClients(std::int32_t messageID);
    // A device plays: one packet from `source` reaches every input port connected to it, once
    // per connection. Throws std::length_error if the words do not fit one list.
    void emit(MIDIObjectRef source, std::span<const std::uint32_t> words, std::uint64_t timeStamp = 0);

    // What a test reads back.
    std::vector<SentPacket> sent() const;
    void clearSent();
    std::size_t droppedSends() const;  // sends to endpoints or through ports that do not exist
    std::vector<MIDIObjectRef> connections(MIDIObjectRef inputPort) const;  // in connect order
    std::optional<std::string> objectName(MIDIObjectRef object) const;     // clients and ports too
    bool exists(MIDIObjectRef object) const;
    std::size_t clientCount() const;
    bool failClientCreation = false;  // the next createClient gives nothing

    // MIDIPlatform
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

private:
    struct Endpoint {
        MIDIObjectRef ref = 0;                 // 0: a vanished entry
        std::optional<std::string> name;
        MIDIObjectRef ownerClient = 0;         // set for virtual sources
    };
    struct InputPort {
        MIDIObjectRef client = 0;
        Receive receive;
        std::vector<MIDIObjectRef> connections;
    };

    MIDIObjectRef newRef();
    MIDIObjectRef addEndpoint(std::vector<Endpoint>& list, std::optional<std::string> name);
    std::vector<Receive> listenersOf(MIDIObjectRef source) const;  // under the lock
    std::vector<Notify> notifiers() const;                          // under the lock
    void record(MIDIObjectRef port, MIDIObjectRef endpoint, bool published, const MIDIEventList& list);
    void removeEndpointLocked(MIDIObjectRef endpoint);
    void announce(std::int32_t firstMessageID);

    mutable std::mutex mutex_;
    MIDIObjectRef lastRef_ = 0;
    std::vector<Endpoint> destinations_;
    std::vector<Endpoint> sources_;
    std::map<MIDIObjectRef, Notify> clients_;
    std::map<MIDIObjectRef, MIDIObjectRef> outputPorts_;  // port to client
    std::map<MIDIObjectRef, InputPort> inputPorts_;
    std::map<MIDIObjectRef, std::string> names_;          // clients and ports
    std::vector<SentPacket> sent_;
    std::size_t dropped_ = 0;
};

} // namespace velmo
