#include "model/Project.h"

#include "model/Unicode.h"

#include <algorithm>

namespace velmo {

std::string Project::makeId(std::string_view prefix) {
    std::string id(prefix);
    id += std::to_string(nextId);
    nextId += 1;
    return id;
}

std::optional<std::size_t> Project::trackIndex(std::string_view id) const {
    for (std::size_t i = 0; i < tracks.size(); ++i)
        if (canonicallyEqual(tracks[i].id, id)) return i;
    return std::nullopt;
}

std::optional<ClipLocation> Project::clipLocation(std::string_view id) const {
    for (std::size_t t = 0; t < tracks.size(); ++t) {
        const auto& clips = tracks[t].clips;
        for (std::size_t c = 0; c < clips.size(); ++c)
            if (canonicallyEqual(clips[c].id, id)) return ClipLocation{t, c};
    }
    return std::nullopt;
}

double Project::songEnd() const {
    double end = 0;
    for (const auto& track : tracks)
        for (const auto& clip : track.clips) end = std::max(end, clip.end());
    return end;
}

} // namespace velmo
