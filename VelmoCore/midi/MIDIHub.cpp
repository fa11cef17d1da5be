#include "midi/MIDIHub.h"

#include "midi/MIDIEventList.h"
#include "midi/MIDIWords.h"
#include "model/Unicode.h"

#include <algorithm>

namespace velmo {

namespace {

// A packet holds at most this many words that count; the rest is not read.
constexpr std::size_t maxWordsPerPacket = 64;

// Runs on the platform's thread: reads the notes out of the list and nothing more.
std::vector<MIDIWords::NoteEvent> notesIn(const MIDIEventList& list) {
    std::vector<MIDIWords::NoteEvent> events;
    list.forEachPacket([&](const MIDIEventList::Packet& packet) {
        auto words = packet.words.first(std::min(packet.words.size(), maxWordsPerPacket));
        for (std::uint32_t word : words)
            if (auto note = MIDIWords::decodeNote(word)) events.push_back(*note);
    });
    return events;
}

} // namespace

std::shared_ptr<MIDIHub> MIDIHub::create(std::shared_ptr<MIDIPlatform> platform, MainQueuePost postToMain) {
    if (!platform || !postToMain) return nullptr;
    auto hub = std::make_shared<MIDIHub>(Passkey{}, platform);
    std::weak_ptr<MIDIHub> weak = hub;

    auto client = platform->createClient(clientName, [weak, postToMain](std::int32_t messageID) {
        if (messageID != kMIDISetupChanged) return;
        postToMain([weak] {
            auto self = weak.lock();
            if (!self) return;
            self->connectSources();
            if (auto changed = self->onChange) changed();
        });
    });
    if (!client) return nullptr;
    hub->hasClient_ = true;
    hub->client_ = *client;

    hub->port_ = platform->createOutputPort(hub->client_, outputPortName);
    hub->virtualSource_ = platform->createVirtualSource(hub->client_, virtualSourceName);
    hub->inPort_ = platform->createInputPort(hub->client_, inputPortName, [weak, postToMain](const MIDIEventList& list) {
        auto events = notesIn(list);
        if (events.empty()) return;
        postToMain([weak, events = std::move(events)] {
            auto self = weak.lock();
            if (!self) return;
            // A copy, so that a callback replacing itself does not pull the rug from this loop.
            auto deliver = self->onNoteInput;
            if (!deliver) return;
            for (const auto& e : events) deliver(e.pitch, e.velocity);
        });
    });
    hub->connectSources();
    return hub;
}

MIDIHub::MIDIHub(Passkey, std::shared_ptr<MIDIPlatform> platform) : platform_(std::move(platform)) {}

MIDIHub::~MIDIHub() {
    if (!hasClient_) return;
    if (virtualSource_ != 0) platform_->disposeEndpoint(virtualSource_);
    platform_->disposeClient(client_);
}

std::string MIDIHub::endpointName(MIDIObjectRef endpoint) const {
    if (auto name = platform_->displayName(endpoint)) return *name;
    return "MIDI " + std::to_string(endpoint);
}

std::vector<MIDIDestination> MIDIHub::destinations() const {
    std::vector<MIDIDestination> list{{std::string(virtualSourceName), true, virtualSource_}};
    for (MIDIObjectRef endpoint : platform_->destinations())
        if (endpoint != 0) list.push_back({endpointName(endpoint), false, endpoint});
    return list;
}

std::optional<MIDIDestination> MIDIHub::resolve(std::string_view name) const {
    if (name.empty()) return std::nullopt;
    const auto list = destinations();
    for (const auto& d : list)
        if (d.name == name) return d;

    const std::string wanted = lowercased(name);
    std::vector<std::string> lowered;
    lowered.reserve(list.size());
    for (const auto& d : list) lowered.push_back(lowercased(d.name));
    for (std::size_t i = 0; i < list.size(); ++i)
        if (lowered[i] == wanted) return list[i];
    for (std::size_t i = 0; i < list.size(); ++i)
        if (lowered[i].find(wanted) != std::string::npos) return list[i];
    return std::nullopt;
}

std::vector<std::string> MIDIHub::inputNames() const {
    std::vector<std::string> names;
    for (MIDIObjectRef endpoint : connected_) names.push_back(endpointName(endpoint));
    std::sort(names.begin(), names.end());
    return names;
}

void MIDIHub::connectSources() {
    std::set<MIDIObjectRef> wanted;
    for (MIDIObjectRef source : platform_->sources()) {
        if (source == 0 || source == virtualSource_) continue;
        if (!wanted.insert(source).second) continue;
        if (!connected_.contains(source)) platform_->connectSource(inPort_, source);
    }
    for (MIDIObjectRef source : connected_)
        if (!wanted.contains(source)) platform_->disconnectSource(inPort_, source);
    connected_ = std::move(wanted);
}

} // namespace velmo
