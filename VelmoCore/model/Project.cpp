#include "model/Project.h"

#include "model/Unicode.h"

#include <algorithm>
#include <unordered_set>

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

namespace {

// The number an id such as "t12" or "fx3" ends in; nothing when it ends in no digit or in more
// than makeId's counter could ever reach.
std::optional<int> idNumber(std::string_view id) {
    std::size_t digits = 0;
    while (digits < id.size() && id[id.size() - 1 - digits] >= '0' && id[id.size() - 1 - digits] <= '9') ++digits;
    if (digits == 0 || digits > 9) return std::nullopt;
    int number = 0;
    for (char c : id.substr(id.size() - digits)) number = number * 10 + (c - '0');
    return number;
}

} // namespace

int Project::repairIds() {
    int highest = 0;
    auto note = [&](const std::string& id) { highest = std::max(highest, idNumber(id).value_or(0)); };
    for (const auto& slot : masterEffects) note(slot.id);
    for (const auto& track : tracks) {
        note(track.id);
        for (const auto& slot : track.effects) note(slot.id);
        for (const auto& clip : track.clips) note(clip.id);
    }
    if (nextId <= highest) nextId = highest + 1;
    if (nextId < 1) nextId = 1;

    // Lists are written only where an id changes, so a sound file costs no copies.
    std::unordered_set<std::string> taken;
    int changed = 0;
    auto keep = [&](const std::string& id) { return taken.insert(id).second; };
    auto renew = [&](std::string& id, std::string_view prefix) {
        id = makeId(prefix);  // above every number in use, so new
        taken.insert(id);
        ++changed;
    };
    for (std::size_t i = 0; i < masterEffects.size(); ++i)
        if (!keep(masterEffects[i].id)) renew(masterEffects.mut(i).id, "fx");
    for (std::size_t t = 0; t < tracks.size(); ++t) {
        if (!keep(tracks[t].id)) renew(tracks.mut(t).id, "t");
        for (std::size_t i = 0; i < tracks[t].effects.size(); ++i)
            if (!keep(tracks[t].effects[i].id)) renew(tracks.mut(t).effects.mut(i).id, "fx");
        for (std::size_t c = 0; c < tracks[t].clips.size(); ++c)
            if (!keep(tracks[t].clips[c].id)) renew(tracks.mut(t).clips.mut(c).id, "c");
    }
    return changed;
}

double Project::songEnd() const {
    double end = 0;
    for (const auto& track : tracks)
        for (const auto& clip : track.clips) end = std::max(end, clip.end());
    return end;
}

} // namespace velmo
