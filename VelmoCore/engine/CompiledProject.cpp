#include "engine/CompiledProject.h"

#include "base/Decibels.h"
#include "midi/MIDIHub.h"

#include <algorithm>

namespace velmo {

namespace {

void compileEvents(const Track& track, std::vector<CompiledEvent>& events) {
    std::size_t count = 0;
    for (const Clip& clip : track.clips) count += clip.notes.size();
    events.reserve(count);
    for (const Clip& clip : track.clips) {
        for (const Note& note : clip.notes) {
            if (!(note.start >= 0 && note.start < clip.length)) continue;
            double duration = std::max(std::min(note.duration, clip.length - note.start), CompiledProject::minEventDuration);
            events.push_back({clip.start + note.start, note.pitch, note.velocity, duration});
        }
    }
    // Clips are kept sorted by start, so the list is usually in order already. Ties keep clip
    // order, then stored note order: pitch is no tie-break.
    auto byBeat = [](const CompiledEvent& a, const CompiledEvent& b) { return a.beat < b.beat; };
    if (!std::is_sorted(events.begin(), events.end(), byBeat)) std::stable_sort(events.begin(), events.end(), byBeat);
}

} // namespace

CompiledProject::CompiledProject(const Project& project, const MIDIHub* midi)
    : tempo(project.tempo > minTempo ? project.tempo : minTempo),
      loopEnabled(project.loopEnabled && project.loopStart < project.loopEnd),
      loopStart(project.loopStart),
      loopEnd(project.loopEnd),
      songEnd(project.songEnd()),
      masterGain(dbToGain(project.masterVolumeDb)),
      masterEffects(project.masterEffects) {
    bool anySolo = std::any_of(project.tracks.begin(), project.tracks.end(), [](const Track& t) { return t.solo; });
    tracks.reserve(project.tracks.size());
    for (const Track& track : project.tracks) {
        CompiledTrack& out = tracks.emplace_back();
        out.id = track.id;
        out.patch = track.patch;
        out.effects = track.effects;
        out.pan = track.pan;
        // Mute beats solo; a muted soloist still silences the others.
        out.audible = !track.mute && (!anySolo || track.solo);
        out.gain = out.audible ? dbToGain(track.volumeDb) : 0.0;
        compileEvents(track, out.events);
        std::optional<MIDIDestination> destination;
        if (track.midiOut && midi) destination = midi->resolve(track.midiOut->device);
        if (destination) {
            // Channels are 1 to 16 by the time they get here; a hand-edited file's stray value
            // keeps its low four bits, which is all the wire carries.
            out.midi = MIDITarget{destination->endpoint, destination->isVirtual,
                                  static_cast<std::uint8_t>((track.midiOut->channel - 1) & 0x0f)};
        }
        out.playInternal = !track.midiOut || !destination || track.midiOut->playInternal;
    }
}

} // namespace velmo
