#include "engine/CompiledProject.h"

#include "base/Decibels.h"
#include "midi/MIDIHub.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace velmo {

namespace {

bool byBeat(const CompiledEvent& a, const CompiledEvent& b) { return a.beat < b.beat; }

EventCache::Source derive(std::shared_ptr<const NoteList::Chunk> notes, const Clip& clip) {
    auto events = std::make_shared<EventList::Chunk>();
    events->reserve(notes->size());
    for (const Note& note : *notes) {
        if (!(note.start >= 0 && note.start < clip.length)) continue;
        double duration = std::max(std::min(note.duration, clip.length - note.start), CompiledProject::minEventDuration);
        events->push_back({clip.start + note.start, note.pitch, note.velocity, duration});
    }
    const bool sorted = std::is_sorted(events->begin(), events->end(), byBeat);
    const bool empty = events->empty();
    const double first = empty ? 0 : events->front().beat;
    const double last = empty ? 0 : events->back().beat;
    return {std::move(notes), clip.start, clip.length, std::move(events), sorted, empty, first, last};
}

// The earlier compilation's sources of one track, looked up where this compilation expects them
// (the same place in the walk) and otherwise by the notes they came from.
class SourceFinder {
public:
    explicit SourceFinder(const CompiledTrack* previous) : old_(previous ? &previous->cache.sources : nullptr) {}

    const EventCache::Source* find(const NoteList::Chunk* notes, const Clip& clip) {
        if (!old_) return nullptr;
        if (next_ < old_->size() && matches((*old_)[next_], notes, clip)) return &(*old_)[next_++];
        if (byNotes_.empty()) {
            byNotes_.reserve(old_->size());
            for (std::size_t i = 0; i < old_->size(); ++i) byNotes_.emplace_back((*old_)[i].notes.get(), i);
            std::sort(byNotes_.begin(), byNotes_.end());
        }
        auto found = std::lower_bound(byNotes_.begin(), byNotes_.end(), std::pair(notes, std::size_t{0}));
        if (found == byNotes_.end() || found->first != notes || !matches((*old_)[found->second], notes, clip)) {
            // Most often a chunk written in place of the one there: the walk goes on past it.
            ++next_;
            return nullptr;
        }
        next_ = found->second + 1;
        return &(*old_)[found->second];
    }

private:
    static bool matches(const EventCache::Source& s, const NoteList::Chunk* notes, const Clip& clip) {
        return s.notes.get() == notes && s.clipStart == clip.start && s.clipLength == clip.length;
    }

    const std::vector<EventCache::Source>* old_;
    std::size_t next_ = 0;
    std::vector<std::pair<const NoteList::Chunk*, std::size_t>> byNotes_; // sorted, made at the first miss
};

void compileEvents(const Track& track, const CompiledTrack* previous, CompiledTrack& out) {
    std::vector<EventCache::Source>& sources = out.cache.sources;
    SourceFinder finder(previous);
    for (const Clip& clip : track.clips) {
        for (std::size_t k = 0; k < clip.notes.chunkCount(); ++k) {
            std::shared_ptr<const NoteList::Chunk> notes = clip.notes.chunk(k);
            const EventCache::Source* known = finder.find(notes.get(), clip);
            sources.push_back(known ? *known : derive(std::move(notes), clip));
        }
    }
    // Clips are kept sorted by start, so the chunks usually follow each other in beat order and
    // are shared as they are. Otherwise (overlapping clips, notes out of order in a file) the
    // events are sorted anew; ties keep clip order, then stored note order: pitch is no tie-break.
    double last = -std::numeric_limits<double>::infinity();
    const bool ordered = std::all_of(sources.begin(), sources.end(), [&](const EventCache::Source& s) {
        if (s.empty) return true;
        const bool follows = s.sorted && !(s.firstBeat < last);
        last = s.lastBeat;
        return follows;
    });
    if (ordered) {
        for (const auto& s : sources) out.events.appendChunk(s.events);
        return;
    }
    std::vector<CompiledEvent> all;
    for (const auto& s : sources) all.insert(all.end(), s.events->begin(), s.events->end());
    std::stable_sort(all.begin(), all.end(), byBeat);
    out.events = EventList(std::move(all));
}

const CompiledTrack* previousTrack(const CompiledProject* previous, const std::string& id, std::size_t index) {
    if (!previous) return nullptr;
    const auto& tracks = previous->tracks;
    if (index < tracks.size() && tracks[index].id == id) return &tracks[index];
    auto found = std::find_if(tracks.begin(), tracks.end(), [&](const CompiledTrack& t) { return t.id == id; });
    return found == tracks.end() ? nullptr : &*found;
}

} // namespace

CompiledProject::CompiledProject(const Project& project, const MIDIHub* midi, const CompiledProject* previous)
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
        compileEvents(track, previousTrack(previous, track.id, tracks.size() - 1), out);
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
