#include "midi/AlsaMIDIPlatform.h"

#include "midi/MIDIEventList.h"

#include <alsa/asoundlib.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

namespace velmo {

struct AlsaMIDIPlatform::Sequencer {
    snd_seq_t* handle = nullptr;
    int client = 0;
    int queue = -1; // schedules time-stamped events on the sequencer's own clock
    int inPort = -1;
    Notify notify;
    Receive receive;
    int wake = -1; // an eventfd that ends the reading thread's wait

    ~Sequencer() {
        if (handle) snd_seq_close(handle);
        if (wake >= 0) ::close(wake);
    }
};

namespace {

// An endpoint is a sequencer address; client 0 (the system's) is never listed, so no endpoint
// is 0.
MIDIObjectRef refOf(int client, int port) { return MIDIObjectRef(client) << 16 | MIDIObjectRef(port); }
int clientOf(MIDIObjectRef ref) { return int(ref >> 16); }
int portOf(MIDIObjectRef ref) { return int(ref & 0xFFFF); }

std::uint64_t steadyNanos() {
    return std::uint64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count());
}

// The sequencer event of a MIDI 1.0 word Velmo sends: notes and controllers; false for others.
bool eventOf(std::uint32_t word, snd_seq_event_t& ev) {
    if ((word >> 28) != 0x2) return false;
    const auto channel = static_cast<unsigned char>((word >> 16) & 0xF);
    const auto data1 = static_cast<unsigned char>((word >> 8) & 0x7F);
    const auto data2 = static_cast<unsigned char>(word & 0x7F);
    switch ((word >> 20) & 0xF) {
    case 0x9: snd_seq_ev_set_noteon(&ev, channel, data1, data2); return true;
    case 0x8: snd_seq_ev_set_noteoff(&ev, channel, data1, data2); return true;
    case 0xB: snd_seq_ev_set_controller(&ev, channel, data1, data2); return true;
    default: return false;
    }
}

bool isSetupChange(int type) {
    switch (type) {
    case SND_SEQ_EVENT_CLIENT_START:
    case SND_SEQ_EVENT_CLIENT_EXIT:
    case SND_SEQ_EVENT_CLIENT_CHANGE:
    case SND_SEQ_EVENT_PORT_START:
    case SND_SEQ_EVENT_PORT_EXIT:
    case SND_SEQ_EVENT_PORT_CHANGE: return true;
    default: return false;
    }
}

// Reads what arrives at "Velmo In" (notes from the connected sources, and the System Announce
// port's news) until told to stop through the eventfd.
void readEvents(std::stop_token stop, std::shared_ptr<AlsaMIDIPlatform::Sequencer> seq) {
    const int count = snd_seq_poll_descriptors_count(seq->handle, POLLIN);
    std::vector<pollfd> fds(std::size_t(count) + 1);
    snd_seq_poll_descriptors(seq->handle, fds.data(), unsigned(count), POLLIN);
    fds.back() = {seq->wake, POLLIN, 0};
    while (!stop.stop_requested()) {
        if (::poll(fds.data(), fds.size(), -1) < 0 && errno != EINTR) return;
        if (fds.back().revents != 0) return;
        MIDIEventList notes;
        bool changed = false;
        snd_seq_event_t* ev = nullptr;
        // Non-blocking: ends with -EAGAIN once the input is drained (-ENOSPC after an overrun).
        while (snd_seq_event_input(seq->handle, &ev) >= 0 && ev) {
            if (isSetupChange(ev->type)) changed = true;
            if (ev->type != SND_SEQ_EVENT_NOTEON && ev->type != SND_SEQ_EVENT_NOTEOFF) continue;
            const std::uint32_t status = ev->type == SND_SEQ_EVENT_NOTEON ? 0x90 : 0x80;
            const std::uint32_t word = 0x20000000u | (status | (ev->data.note.channel & 0xFu)) << 16 |
                                       std::uint32_t(ev->data.note.note & 0x7F) << 8 | (ev->data.note.velocity & 0x7Fu);
            if (!notes.add(0, {&word, 1})) {
                seq->receive(notes);
                notes.init();
                notes.add(0, {&word, 1});
            }
        }
        if (!notes.empty()) seq->receive(notes);
        if (changed && seq->notify) seq->notify(kMIDISetupChanged);
    }
}

} // namespace

AlsaMIDIPlatform::~AlsaMIDIPlatform() {
    if (seq_) disposeClient(MIDIObjectRef(seq_->client));
}

std::optional<MIDIObjectRef> AlsaMIDIPlatform::createClient(std::string_view name, Notify notify) {
    if (seq_) return std::nullopt; // one client per instance
    // Checked first: opening a sequencer that is not there makes ALSA print its own complaint.
    if (::access(devicePath, R_OK | W_OK) != 0) return std::nullopt;
    auto seq = std::make_shared<Sequencer>();
    if (snd_seq_open(&seq->handle, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK) < 0) {
        seq->handle = nullptr;
        return std::nullopt;
    }
    snd_seq_set_client_name(seq->handle, std::string(name).c_str());
    seq->client = snd_seq_client_id(seq->handle);
    seq->queue = snd_seq_alloc_named_queue(seq->handle, std::string(name).c_str());
    if (seq->queue >= 0) {
        snd_seq_start_queue(seq->handle, seq->queue, nullptr);
        snd_seq_drain_output(seq->handle);
    }
    seq->wake = ::eventfd(0, EFD_CLOEXEC);
    seq->notify = std::move(notify);
    seq_ = std::move(seq);
    return MIDIObjectRef(seq_->client);
}

MIDIObjectRef AlsaMIDIPlatform::createOutputPort(MIDIObjectRef, std::string_view name) {
    // Sends go straight to a destination's address, so nobody needs to subscribe to this port.
    const int port = snd_seq_create_simple_port(seq_->handle, std::string(name).c_str(), SND_SEQ_PORT_CAP_READ,
                                                SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
    return port < 0 ? 0 : refOf(seq_->client, port);
}

MIDIObjectRef AlsaMIDIPlatform::createVirtualSource(MIDIObjectRef, std::string_view name) {
    const int port = snd_seq_create_simple_port(seq_->handle, std::string(name).c_str(),
                                                SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ,
                                                SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
    return port < 0 ? 0 : refOf(seq_->client, port);
}

MIDIObjectRef AlsaMIDIPlatform::createInputPort(MIDIObjectRef, std::string_view name, Receive receive) {
    if (reader_.joinable()) return 0; // one input port per client
    const int port = snd_seq_create_simple_port(seq_->handle, std::string(name).c_str(),
                                                SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE,
                                                SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
    if (port < 0) return 0;
    seq_->inPort = port;
    seq_->receive = std::move(receive);
    // The system announces every client and port that comes or goes here.
    snd_seq_connect_from(seq_->handle, port, SND_SEQ_CLIENT_SYSTEM, SND_SEQ_PORT_SYSTEM_ANNOUNCE);
    if (seq_->wake >= 0) reader_ = std::jthread(readEvents, seq_);
    return refOf(seq_->client, port);
}

std::vector<MIDIObjectRef> AlsaMIDIPlatform::ports(unsigned int capabilities) {
    std::vector<MIDIObjectRef> found;
    if (!seq_) return found;
    snd_seq_client_info_t* client;
    snd_seq_port_info_t* port;
    snd_seq_client_info_alloca(&client);
    snd_seq_port_info_alloca(&port);
    snd_seq_client_info_set_client(client, -1);
    while (snd_seq_query_next_client(seq_->handle, client) >= 0) {
        const int id = snd_seq_client_info_get_client(client);
        if (id == SND_SEQ_CLIENT_SYSTEM) continue;
        snd_seq_port_info_set_client(port, id);
        snd_seq_port_info_set_port(port, -1);
        while (snd_seq_query_next_port(seq_->handle, port) >= 0) {
            const unsigned int caps = snd_seq_port_info_get_capability(port);
            if ((caps & capabilities) != capabilities || (caps & SND_SEQ_PORT_CAP_NO_EXPORT)) continue;
            found.push_back(refOf(id, snd_seq_port_info_get_port(port)));
        }
    }
    return found;
}

std::vector<MIDIObjectRef> AlsaMIDIPlatform::destinations() {
    std::vector<MIDIObjectRef> list;
    // Velmo's own input is no place to send to.
    for (MIDIObjectRef ref : ports(SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE))
        if (clientOf(ref) != seq_->client) list.push_back(ref);
    return list;
}

std::vector<MIDIObjectRef> AlsaMIDIPlatform::sources() {
    return ports(SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ);
}

std::optional<std::string> AlsaMIDIPlatform::displayName(MIDIObjectRef endpoint) {
    if (!seq_) return std::nullopt;
    snd_seq_client_info_t* client;
    snd_seq_port_info_t* port;
    snd_seq_client_info_alloca(&client);
    snd_seq_port_info_alloca(&port);
    if (snd_seq_get_any_client_info(seq_->handle, clientOf(endpoint), client) < 0) return std::nullopt;
    if (snd_seq_get_any_port_info(seq_->handle, clientOf(endpoint), portOf(endpoint), port) < 0) return std::nullopt;
    const std::string clientName = snd_seq_client_info_get_name(client);
    const std::string portName = snd_seq_port_info_get_name(port);
    // A device's ports usually repeat its name ("USB Keys" / "USB Keys MIDI 1"); a software
    // synth's often do not ("FLUID Synth" / "Synth input port"), and then both are shown.
    if (portName.starts_with(clientName)) return portName;
    return clientName + ": " + portName;
}

void AlsaMIDIPlatform::connectSource(MIDIObjectRef inputPort, MIDIObjectRef source) {
    if (seq_) snd_seq_connect_from(seq_->handle, portOf(inputPort), clientOf(source), portOf(source));
}

void AlsaMIDIPlatform::disconnectSource(MIDIObjectRef inputPort, MIDIObjectRef source) {
    if (seq_) snd_seq_disconnect_from(seq_->handle, portOf(inputPort), clientOf(source), portOf(source));
}

void AlsaMIDIPlatform::send(MIDIObjectRef outputPort, MIDIObjectRef destination, const MIDIEventList& list) noexcept {
    deliver(outputPort, destination, list);
}

void AlsaMIDIPlatform::publish(MIDIObjectRef virtualSource, const MIDIEventList& list) noexcept {
    deliver(virtualSource, 0, list);
}

void AlsaMIDIPlatform::deliver(MIDIObjectRef sourcePort, MIDIObjectRef destination, const MIDIEventList& list) noexcept {
    Sequencer* seq = seq_.get();
    if (!seq) return;
    const std::uint64_t now = steadyNanos();
    list.forEachPacket([&](const MIDIEventList::Packet& packet) {
        for (std::uint32_t word : packet.words) {
            snd_seq_event_t ev;
            snd_seq_ev_clear(&ev);
            if (!eventOf(word, ev)) continue;
            snd_seq_ev_set_source(&ev, portOf(sourcePort));
            if (destination == 0) snd_seq_ev_set_subs(&ev);
            else snd_seq_ev_set_dest(&ev, clientOf(destination), portOf(destination));
            // The sequencer's queue holds an event until its moment, counted from now, so the
            // steady clock's stamps need no mapping onto the queue's own clock.
            if (packet.timeStamp > now && seq->queue >= 0) {
                const std::uint64_t wait = packet.timeStamp - now;
                snd_seq_real_time_t delay{unsigned(wait / 1000000000), unsigned(wait % 1000000000)};
                snd_seq_ev_schedule_real(&ev, seq->queue, 1, &delay);
            } else {
                snd_seq_ev_set_direct(&ev);
            }
            // Straight to the kernel, without the library's output buffer; a full pool drops the
            // event rather than wait.
            snd_seq_event_output_direct(seq->handle, &ev);
        }
    });
}

void AlsaMIDIPlatform::disposeEndpoint(MIDIObjectRef endpoint) {
    if (seq_) snd_seq_delete_simple_port(seq_->handle, portOf(endpoint));
}

void AlsaMIDIPlatform::disposeClient(MIDIObjectRef) {
    // The handle stays open until this object goes: a sender on the audio thread may still hold
    // the platform. Only the reading thread ends here.
    if (!reader_.joinable()) return;
    reader_.request_stop();
    if (seq_ && seq_->wake >= 0) ::eventfd_write(seq_->wake, 1);
    reader_.join();
}

} // namespace velmo
