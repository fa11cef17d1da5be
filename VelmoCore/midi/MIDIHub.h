// Velmo's MIDI client: an output port, a virtual source other software can listen to, and an
// input port kept connected to every system source. The compile step asks it to resolve a
// track's stored device name; incoming notes and device changes reach the main queue.
#pragma once

#include "midi/MIDIDestination.h"
#include "midi/MIDIPlatform.h"
#include "midi/MIDISender.h"

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace velmo {

// Runs a closure on the main queue later. Callable from any thread.
using MainQueuePost = std::function<void(std::function<void()>)>;

// Main queue only. Platform callbacks hold the hub weakly and only post to the main queue, so
// `connected`, `onChange` and `onNoteInput` are touched on the main queue alone.
class MIDIHub : public std::enable_shared_from_this<MIDIHub> {
    struct Passkey {};

public:
    static constexpr std::string_view clientName = "Velmo";
    static constexpr std::string_view outputPortName = "Velmo Out";
    static constexpr std::string_view virtualSourceName = "Velmo Virtual Out";
    static constexpr std::string_view inputPortName = "Velmo In";

    // The hub, or nothing if the platform has no MIDI client to give; the system then runs
    // without MIDI. Connects every source before it returns.
    static std::shared_ptr<MIDIHub> create(std::shared_ptr<MIDIPlatform> platform, MainQueuePost postToMain);

    MIDIHub(Passkey, std::shared_ptr<MIDIPlatform> platform);
    ~MIDIHub();
    MIDIHub(const MIDIHub&) = delete;
    MIDIHub& operator=(const MIDIHub&) = delete;

    // The virtual source first, then each system destination in system order.
    std::vector<MIDIDestination> destinations() const;

    // Finds a stored device name among the current destinations: the first exact match, else the
    // first match ignoring case, else the first destination whose name contains it ignoring
    // case. An empty name matches nothing.
    std::optional<MIDIDestination> resolve(std::string_view name) const;

    // Display names of the connected sources, sorted.
    std::vector<std::string> inputNames() const;

    // Connects every system source but the hub's own virtual source (which would feed its
    // output back into its input) and disconnects the ones that went away.
    void connectSources();

    // A writer on the output port, to be handed to the audio thread.
    MIDISender makeSender() const { return MIDISender(platform_, port_); }

    MIDIObjectRef client() const { return client_; }
    MIDIObjectRef port() const { return port_; }
    MIDIObjectRef virtualSource() const { return virtualSource_; }
    MIDIObjectRef inPort() const { return inPort_; }
    const std::set<MIDIObjectRef>& connected() const { return connected_; }

    // Told, after the sources are reconciled, that the device list changed.
    std::function<void()> onChange;
    // Told of each incoming note; velocity 0 to 1, where 0 ends the note.
    std::function<void(int pitch, double velocity)> onNoteInput;

private:
    std::string endpointName(MIDIObjectRef endpoint) const;

    std::shared_ptr<MIDIPlatform> platform_;
    bool hasClient_ = false;
    MIDIObjectRef client_ = 0;
    MIDIObjectRef port_ = 0;
    MIDIObjectRef virtualSource_ = 0;
    MIDIObjectRef inPort_ = 0;
    std::set<MIDIObjectRef> connected_;
};

} // namespace velmo
