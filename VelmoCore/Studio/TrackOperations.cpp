#include "Studio/Studio.h"

#include <algorithm>

namespace velmo {

void Studio::moveTrack(std::size_t from, std::size_t to) {
    VELMO_PRECONDITION(from < project_.tracks.size(), "moveTrack");
    mutate([&](Project& p) {
        Track track = p.tracks[from];
        p.tracks.erase(from);
        p.tracks.insert(std::min(to, p.tracks.size()), std::move(track));
    });
}

void Studio::removeTrack(std::size_t index) {
    VELMO_PRECONDITION(index < project_.tracks.size(), "removeTrack");
    mutate([&](Project& p) { p.tracks.erase(index); });
}

void Studio::unmuteAll() {
    mutate([](Project& p) {
        for (std::size_t i = 0; i < p.tracks.size(); ++i)
            if (p.tracks[i].mute || p.tracks[i].solo) {
                Track& track = p.tracks.mut(i);
                track.mute = false;
                track.solo = false;
            }
    });
}

void Studio::setMIDIOut(std::size_t index, std::optional<MIDIRoute> route) {
    VELMO_PRECONDITION(index < project_.tracks.size(), "setMIDIOut");
    mutate([&](Project& p) { p.tracks.mut(index).midiOut = std::move(route); });
}

std::string Studio::duplicateTrack(std::size_t index) {
    VELMO_PRECONDITION(index < project_.tracks.size(), "duplicateTrack");
    return mutate([&](Project& p) {
        Track copy = p.tracks[index];
        copy.id = p.makeId("t");
        copy.name += " copy";
        copy.colorIndex = (copy.colorIndex + 1) % 8;
        for (std::size_t c = 0; c < copy.clips.size(); ++c) copy.clips.mut(c).id = p.makeId("c");
        for (std::size_t e = 0; e < copy.effects.size(); ++e) copy.effects.mut(e).id = p.makeId("fx");
        std::string id = copy.id;
        p.tracks.insert(index + 1, std::move(copy));
        return id;
    });
}

} // namespace velmo
