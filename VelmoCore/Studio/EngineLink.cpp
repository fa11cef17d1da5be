// The Studio's link to the audio core: posting commands, the transport and live-note
// operations, the status poll into LiveState, and the MIDI hub.
#include "Studio/Studio.h"

#include <cmath>

namespace velmo {

// Commands reach the core only through its queue, which whichever thread renders the core
// drains; the main queue never renders it.
void Studio::postToEngine(EngineCommand command) { core_->send(std::move(command)); }

void Studio::noteOn(const std::string& track, int pitch, double velocity) {
    postToEngine(EngineCommand::noteOn(track, pitch, velocity));
    live_.heldPitches[track].insert(pitch);
}

void Studio::noteOff(const std::string& track, int pitch) {
    postToEngine(EngineCommand::noteOff(track, pitch));
    if (auto it = live_.heldPitches.find(track); it != live_.heldPitches.end()) it->second.erase(pitch);
}

void Studio::releaseLiveNotes() {
    for (const auto& [track, pitches] : live_.heldPitches)
        for (int pitch : pitches) postToEngine(EngineCommand::noteOff(track, pitch));
    live_.heldPitches.clear();
}

void Studio::panic() {
    postToEngine(EngineCommand::panic());
    live_.heldPitches.clear();
}

void Studio::play(std::optional<double> from) {
    if (from) postToEngine(EngineCommand::seek(*from));
    postToEngine(EngineCommand::play());
    live_.isPlaying = true;
}

void Studio::stop() {
    postToEngine(EngineCommand::stop());
    live_.isPlaying = false;
}

void Studio::togglePlay() {
    if (live_.isPlaying) stop();
    else play();
}

void Studio::seek(double beat) {
    postToEngine(EngineCommand::seek(beat));
    live_.beat = beat; // the display follows before the next snapshot
}

void Studio::returnToStart() {
    seek(project_.loopEnabled ? project_.loopStart : 0.0);
}

bool Studio::anyMutedOrSoloed() const {
    for (const Track& t : project_.tracks)
        if (t.mute || t.solo) return true;
    return false;
}

void Studio::poll() {
    core_->releaseRetired();
    const EngineStatus s = core_->status();
    if (live_.isPlaying != s.playing) live_.isPlaying = s.playing;
    // A stopped transport causes no change from this field.
    if (std::fabs(live_.beat - s.beat) > 0.000001) live_.beat = s.beat;
    live_.masterLevel = s.masterPeak;
    std::map<std::string, float> levels;
    for (std::size_t i = 0; i < s.trackIDs.size() && i < s.trackPeaks.size(); ++i) levels[s.trackIDs[i]] = s.trackPeaks[i];
    live_.trackLevels = std::move(levels);
    live_.scope.assign(s.scope.begin(), s.scope.end());
}

bool Studio::startMIDI(std::shared_ptr<MIDIPlatform> platform, MainQueuePost postToMain) {
    if (midiHub_) return true;
    auto hub = MIDIHub::create(std::move(platform), std::move(postToMain));
    if (!hub) return false;
    midiHub_ = std::move(hub);
    if (host_) host_->attachMIDI(*midiHub_); // with the device's output latency
    else postToEngine(EngineCommand::attachMIDI(std::make_shared<MIDISender>(midiHub_->makeSender()), 0));
    refreshMIDILists();

    std::weak_ptr<Studio*> weak = self_;
    midiHub_->onChange = [weak] {
        auto self = weak.lock();
        if (!self) return;
        // A route to a device just plugged in comes to life, one to a device just unplugged
        // falls silent, without an edit.
        (*self)->refreshMIDILists();
        (*self)->sync();
    };
    midiHub_->onNoteInput = [weak](int pitch, double velocity) {
        auto self = weak.lock();
        if (!self) return;
        Studio& studio = **self;
        if (!studio.selectedTrackID_) return; // nowhere to play it
        if (velocity > 0) studio.noteOn(*studio.selectedTrackID_, pitch, velocity);
        else studio.noteOff(*studio.selectedTrackID_, pitch);
    };
    sync(); // routes can resolve now
    return true;
}

void Studio::refreshMIDILists() {
    midiDestinations_ = midiHub_->destinations();
    midiInputs_ = midiHub_->inputNames();
}

} // namespace velmo
