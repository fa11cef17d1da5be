// Taking a gesture's changes out of a project that an agent edited during the gesture, so that
// the agent's edit can go beneath the gesture's undo step (see `commit`).
#include "Studio/Studio.h"

namespace velmo {

namespace {

// The parts a burst is told apart by: the song's own fields, each track's own fields, each
// clip. A gesture edits one of them (a clip's notes, a track's volume, the tempo).
Project songPart(const Project& p) {
    Project part = p;
    part.tracks = {};
    part.nextId = 0;  // ids an edit allocates are never given back
    return part;
}

Track trackPart(const Track& t) {
    Track part = t;
    part.clips = {};
    return part;
}

const Track* findTrack(const Project& p, const std::string& id) {
    for (const Track& t : p.tracks)
        if (t.id == id) return &t;
    return nullptr;
}

const Clip* findClip(const Project& p, const std::string& id) {
    for (const Track& t : p.tracks)
        for (const Clip& c : t.clips)
            if (c.id == id) return &c;
    return nullptr;
}

// The burst changed the part (`before` differs from `beforeBurst`) and the edit did not
// (`after` equals `before`): then the part goes back. Where both changed it, the edit wins.
template <class T>
bool burstOnly(const T& after, const T& before, const T& beforeBurst) {
    return !(before == beforeBurst) && after == before;
}

} // namespace

Project Studio::withoutBurst(const Project& after, const Project& before, const Project& beforeBurst) {
    Project result = after;
    if (burstOnly(songPart(after), songPart(before), songPart(beforeBurst))) {
        Project song = beforeBurst;
        song.tracks = result.tracks;
        song.nextId = result.nextId;
        result = std::move(song);
    }
    for (std::size_t i = 0; i < result.tracks.size(); ++i) {
        const Track& now = result.tracks[i];
        const Track* was = findTrack(before, now.id);
        const Track* original = findTrack(beforeBurst, now.id);
        if (!was || !original || (now == *was && *was == *original)) continue;
        if (burstOnly(trackPart(now), trackPart(*was), trackPart(*original))) {
            Track restored = *original;
            restored.clips = now.clips;
            result.tracks.mut(i) = std::move(restored);
        }
        bool moved = false;
        for (std::size_t c = 0; c < result.tracks[i].clips.size(); ++c) {
            const Clip& clip = result.tracks[i].clips[c];
            const Clip* wasClip = findClip(before, clip.id);
            const Clip* originalClip = findClip(beforeBurst, clip.id);
            if (wasClip && originalClip && burstOnly(clip, *wasClip, *originalClip)) {
                moved = moved || clip.start != originalClip->start;
                result.tracks.mut(i).clips.mut(c) = *originalClip;
            }
        }
        if (moved) sortClips(result.tracks.mut(i));
    }
    return result;
}

} // namespace velmo
