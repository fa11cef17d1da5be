#include "Studio/Studio.h"

#include <algorithm>

namespace velmo {

void Studio::normaliseClip(Clip& clip) {
    clip.start = std::clamp(clip.start, 0.0, kFarthestBeat);
    clip.length = std::clamp(clip.length, shortestSpan, kFarthestBeat);
}

void Studio::sortClips(Track& track) {
    track.clips.stableSort([](const Clip& a, const Clip& b) { return a.start < b.start; });
}

void Studio::sortNotes(NoteList& notes, const NoteList* inOrder) {
    notes.stableSort([](const Note& a, const Note& b) { return a.start < b.start || (a.start == b.start && a.pitch < b.pitch); },
                     inOrder);
}

std::string Studio::addClip(std::size_t track, std::optional<double> start, std::optional<double> length,
                            std::optional<std::string> name, std::vector<Note> notes) {
    VELMO_PRECONDITION(track < project_.tracks.size(), "Studio.addClip");
    std::string id = mutate([&](Project& p) {
        Track& t = p.tracks.mut(track);
        Clip clip;
        if (start) {
            clip.start = *start;
        } else {
            for (const auto& existing : t.clips) clip.start = std::max(clip.start, existing.end());
        }
        clip.length = length.value_or(p.beatsPerBar * 4.0);
        normaliseClip(clip);
        clip.id = p.makeId("c");
        clip.name = name.value_or("Clip " + std::to_string(t.clips.size() + 1));
        clip.notes = NoteList(std::move(notes));
        sortNotes(clip.notes);  // editNotes counts on it: its sort looks only at what an edit wrote
        std::string newId = clip.id;
        t.clips.push_back(std::move(clip));
        sortClips(t);
        return newId;
    });
    selectedClipID_ = id;
    selectedTrackID_ = project_.tracks[track].id;
    return id;
}

void Studio::moveClip(std::string_view id, double start, std::optional<std::size_t> toTrack,
                      std::optional<std::string> coalesce) {
    const ClipLocation at = clipLocationOf(id);
    VELMO_PRECONDITION(!toTrack || *toTrack < project_.tracks.size(), "Studio.moveClip");
    mutate(std::move(coalesce), [&](Project& p) {
        Clip clip = p.tracks[at.track].clips[at.clip];
        p.tracks.mut(at.track).clips.erase(at.clip);
        clip.start = start;
        normaliseClip(clip);
        Track& target = p.tracks.mut(toTrack.value_or(at.track));
        target.clips.push_back(std::move(clip));
        sortClips(target);
    });
}

std::string Studio::duplicateClip(std::string_view id, std::optional<double> start, std::optional<std::size_t> toTrack) {
    const ClipLocation at = clipLocationOf(id);
    VELMO_PRECONDITION(!toTrack || *toTrack < project_.tracks.size(), "Studio.duplicateClip");
    std::string newId = mutate([&](Project& p) {
        Clip copy = p.tracks[at.track].clips[at.clip];
        copy.id = p.makeId("c");
        copy.start = start.value_or(copy.end());
        normaliseClip(copy);
        std::string made = copy.id;
        Track& target = p.tracks.mut(toTrack.value_or(at.track));
        target.clips.push_back(std::move(copy));
        sortClips(target);
        return made;
    });
    selectedClipID_ = newId;
    return newId;
}

void Studio::removeClip(std::string_view id) {
    const ClipLocation at = clipLocationOf(id);
    mutate([&](Project& p) { p.tracks.mut(at.track).clips.erase(at.clip); });
}

void Studio::setLoop(std::optional<bool> enabled, std::optional<double> start, std::optional<double> end) {
    mutate([&](Project& p) {
        if (enabled) p.loopEnabled = *enabled;
        if (start) p.loopStart = std::clamp(*start, 0.0, kFarthestBeat - shortestSpan);
        if (end) p.loopEnd = std::min(std::max(*end, p.loopStart + shortestSpan), kFarthestBeat);
    });
}

} // namespace velmo
