#include "support/MemoryMIDIPlatform.h"

#include <algorithm>
#include <stdexcept>

namespace velmo {

namespace {

template <class List>
auto findEndpoint(List& list, MIDIObjectRef ref) {
    return std::find_if(list.begin(), list.end(), [ref](const auto& e) { return ref != 0 && e.ref == ref; });
}

} // namespace

MIDIObjectRef MemoryMIDIPlatform::newRef() { return ++lastRef_; }

std::vector<MIDIPlatform::Notify> MemoryMIDIPlatform::notifiers() const {
    std::vector<Notify> list;
    for (const auto& [ref, notify] : clients_)
        if (notify) list.push_back(notify);
    return list;
}

std::vector<MIDIPlatform::Receive> MemoryMIDIPlatform::listenersOf(MIDIObjectRef source) const {
    std::vector<Receive> list;
    for (const auto& [ref, port] : inputPorts_)
        for (MIDIObjectRef connected : port.connections)
            if (connected == source && port.receive) list.push_back(port.receive);
    return list;
}

void MemoryMIDIPlatform::announce(std::int32_t firstMessageID) {
    std::vector<Notify> list;
    {
        std::lock_guard lock(mutex_);
        list = notifiers();
    }
    for (const auto& notify : list) notify(firstMessageID);
    for (const auto& notify : list) notify(kMIDISetupChanged);
}

MIDIObjectRef MemoryMIDIPlatform::addEndpoint(std::vector<Endpoint>& list, std::optional<std::string> name) {
    MIDIObjectRef ref;
    {
        std::lock_guard lock(mutex_);
        ref = newRef();
        list.push_back({ref, std::move(name), 0});
    }
    announce(objectAdded);
    return ref;
}

MIDIObjectRef MemoryMIDIPlatform::addDestination(std::optional<std::string> name) {
    return addEndpoint(destinations_, std::move(name));
}

MIDIObjectRef MemoryMIDIPlatform::addSource(std::optional<std::string> name) {
    return addEndpoint(sources_, std::move(name));
}

void MemoryMIDIPlatform::addVanishedDestination() {
    std::lock_guard lock(mutex_);
    destinations_.push_back({});
}

void MemoryMIDIPlatform::addVanishedSource() {
    std::lock_guard lock(mutex_);
    sources_.push_back({});
}

void MemoryMIDIPlatform::removeEndpointLocked(MIDIObjectRef endpoint) {
    std::erase_if(destinations_, [endpoint](const Endpoint& e) { return e.ref == endpoint; });
    std::erase_if(sources_, [endpoint](const Endpoint& e) { return e.ref == endpoint; });
    for (auto& [ref, port] : inputPorts_) std::erase(port.connections, endpoint);
}

void MemoryMIDIPlatform::removeEndpoint(MIDIObjectRef endpoint) {
    {
        std::lock_guard lock(mutex_);
        if (findEndpoint(destinations_, endpoint) == destinations_.end() &&
            findEndpoint(sources_, endpoint) == sources_.end())
            return;
        removeEndpointLocked(endpoint);
    }
    announce(objectRemoved);
}

void MemoryMIDIPlatform::notifyClients(std::int32_t messageID) {
    std::vector<Notify> list;
    {
        std::lock_guard lock(mutex_);
        list = notifiers();
    }
    for (const auto& notify : list) notify(messageID);
}

void MemoryMIDIPlatform::emit(MIDIObjectRef source, std::span<const std::uint32_t> words, std::uint64_t timeStamp) {
    MIDIEventList list;
    if (!list.add(timeStamp, words)) throw std::length_error("Too many words for one MIDI event list");
    std::vector<Receive> receivers;
    {
        std::lock_guard lock(mutex_);
        receivers = listenersOf(source);
    }
    for (const auto& receive : receivers) receive(list);
}

std::vector<MemoryMIDIPlatform::SentPacket> MemoryMIDIPlatform::sent() const {
    std::lock_guard lock(mutex_);
    return sent_;
}

void MemoryMIDIPlatform::clearSent() {
    std::lock_guard lock(mutex_);
    sent_.clear();
}

std::size_t MemoryMIDIPlatform::droppedSends() const {
    std::lock_guard lock(mutex_);
    return dropped_;
}

std::vector<MIDIObjectRef> MemoryMIDIPlatform::connections(MIDIObjectRef inputPort) const {
    std::lock_guard lock(mutex_);
    auto it = inputPorts_.find(inputPort);
    return it == inputPorts_.end() ? std::vector<MIDIObjectRef>{} : it->second.connections;
}

std::optional<std::string> MemoryMIDIPlatform::objectName(MIDIObjectRef object) const {
    std::lock_guard lock(mutex_);
    if (auto it = names_.find(object); it != names_.end()) return it->second;
    if (auto it = findEndpoint(destinations_, object); it != destinations_.end()) return it->name;
    if (auto it = findEndpoint(sources_, object); it != sources_.end()) return it->name;
    return std::nullopt;
}

bool MemoryMIDIPlatform::exists(MIDIObjectRef object) const {
    std::lock_guard lock(mutex_);
    return clients_.contains(object) || outputPorts_.contains(object) || inputPorts_.contains(object) ||
           findEndpoint(destinations_, object) != destinations_.end() ||
           findEndpoint(sources_, object) != sources_.end();
}

std::size_t MemoryMIDIPlatform::clientCount() const {
    std::lock_guard lock(mutex_);
    return clients_.size();
}

std::optional<MIDIObjectRef> MemoryMIDIPlatform::createClient(std::string_view name, Notify notify) {
    std::lock_guard lock(mutex_);
    if (failClientCreation) return std::nullopt;
    MIDIObjectRef ref = newRef();
    clients_[ref] = std::move(notify);
    names_[ref] = std::string(name);
    return ref;
}

MIDIObjectRef MemoryMIDIPlatform::createOutputPort(MIDIObjectRef client, std::string_view name) {
    std::lock_guard lock(mutex_);
    if (!clients_.contains(client)) return 0;
    MIDIObjectRef ref = newRef();
    outputPorts_[ref] = client;
    names_[ref] = std::string(name);
    return ref;
}

MIDIObjectRef MemoryMIDIPlatform::createVirtualSource(MIDIObjectRef client, std::string_view name) {
    MIDIObjectRef ref;
    {
        std::lock_guard lock(mutex_);
        if (!clients_.contains(client)) return 0;
        ref = newRef();
        sources_.push_back({ref, std::string(name), client});
    }
    announce(objectAdded);
    return ref;
}

MIDIObjectRef MemoryMIDIPlatform::createInputPort(MIDIObjectRef client, std::string_view name, Receive receive) {
    std::lock_guard lock(mutex_);
    if (!clients_.contains(client)) return 0;
    MIDIObjectRef ref = newRef();
    inputPorts_[ref] = InputPort{client, std::move(receive), {}};
    names_[ref] = std::string(name);
    return ref;
}

std::vector<MIDIObjectRef> MemoryMIDIPlatform::destinations() {
    std::lock_guard lock(mutex_);
    std::vector<MIDIObjectRef> refs;
    for (const auto& e : destinations_) refs.push_back(e.ref);
    return refs;
}

std::vector<MIDIObjectRef> MemoryMIDIPlatform::sources() {
    std::lock_guard lock(mutex_);
    std::vector<MIDIObjectRef> refs;
    for (const auto& e : sources_) refs.push_back(e.ref);
    return refs;
}

std::optional<std::string> MemoryMIDIPlatform::displayName(MIDIObjectRef endpoint) {
    std::lock_guard lock(mutex_);
    if (auto it = findEndpoint(destinations_, endpoint); it != destinations_.end()) return it->name;
    if (auto it = findEndpoint(sources_, endpoint); it != sources_.end()) return it->name;
    return std::nullopt;
}

void MemoryMIDIPlatform::connectSource(MIDIObjectRef inputPort, MIDIObjectRef source) {
    std::lock_guard lock(mutex_);
    auto port = inputPorts_.find(inputPort);
    if (port == inputPorts_.end() || findEndpoint(sources_, source) == sources_.end()) return;
    port->second.connections.push_back(source);
}

void MemoryMIDIPlatform::disconnectSource(MIDIObjectRef inputPort, MIDIObjectRef source) {
    std::lock_guard lock(mutex_);
    auto port = inputPorts_.find(inputPort);
    if (port == inputPorts_.end()) return;
    auto& list = port->second.connections;
    if (auto it = std::find(list.begin(), list.end(), source); it != list.end()) list.erase(it);
}

void MemoryMIDIPlatform::record(MIDIObjectRef port, MIDIObjectRef endpoint, bool published, const MIDIEventList& list) {
    list.forEachPacket([&](const MIDIEventList::Packet& packet) {
        sent_.push_back({port, endpoint, published, packet.timeStamp, {packet.words.begin(), packet.words.end()}});
    });
}

void MemoryMIDIPlatform::send(MIDIObjectRef outputPort, MIDIObjectRef destination, const MIDIEventList& list) noexcept {
    std::lock_guard lock(mutex_);
    if (!outputPorts_.contains(outputPort) || findEndpoint(destinations_, destination) == destinations_.end()) {
        ++dropped_;
        return;
    }
    record(outputPort, destination, false, list);
}

void MemoryMIDIPlatform::publish(MIDIObjectRef virtualSource, const MIDIEventList& list) noexcept {
    std::vector<Receive> receivers;
    {
        std::lock_guard lock(mutex_);
        auto source = findEndpoint(sources_, virtualSource);
        if (source == sources_.end() || source->ownerClient == 0) {
            ++dropped_;
            return;
        }
        record(0, virtualSource, true, list);
        receivers = listenersOf(virtualSource);
    }
    // Whoever listens to the virtual source hears it, the publishing client included if it
    // connected its own input: the feedback loop the hub must avoid.
    for (const auto& receive : receivers) receive(list);
}

void MemoryMIDIPlatform::disposeEndpoint(MIDIObjectRef endpoint) {
    {
        std::lock_guard lock(mutex_);
        auto source = findEndpoint(sources_, endpoint);
        if (source == sources_.end() || source->ownerClient == 0) return;
        removeEndpointLocked(endpoint);
    }
    announce(objectRemoved);
}

void MemoryMIDIPlatform::disposeClient(MIDIObjectRef client) {
    bool hadVirtual = false;
    {
        std::lock_guard lock(mutex_);
        if (!clients_.erase(client)) return;
        names_.erase(client);
        std::erase_if(outputPorts_, [&](const auto& entry) {
            if (entry.second != client) return false;
            names_.erase(entry.first);
            return true;
        });
        std::erase_if(inputPorts_, [&](const auto& entry) {
            if (entry.second.client != client) return false;
            names_.erase(entry.first);
            return true;
        });
        std::vector<MIDIObjectRef> owned;
        for (const auto& e : sources_)
            if (e.ownerClient == client) owned.push_back(e.ref);
        for (MIDIObjectRef ref : owned) removeEndpointLocked(ref);
        hadVirtual = !owned.empty();
    }
    if (hadVirtual) announce(objectRemoved);
}

} // namespace velmo
