#include "Studio/Studio.h"

#include "catalog/Presets.h"
#include "catalog/SynthPatchPaths.h"
#include "model/Unicode.h"

#include <algorithm>

namespace velmo {

std::string Studio::addTrack(std::optional<std::string> name, std::optional<EngineKind> engine,
                             std::optional<std::string> preset) {
    SynthPatch patch;
    if (preset) {
        // Names compare lower-cased as typed; unlike setSynth, "_" is not read as a blank.
        const std::string wanted = lowercased(*preset);
        const auto& all = Presets::all();
        auto found = std::find_if(all.begin(), all.end(), [&](const Preset& p) { return lowercased(p.name) == wanted; });
        if (found == all.end()) throw StudioError(Presets::unknownPresetMessage(*preset));
        patch = found->patch;
        if (!name) name = found->name;
    }
    if (engine && *engine != patch.engine) {
        // A plain engine choice gets that engine's first preset: a usable sound, not a bare one.
        if (const Preset* first = Presets::firstFor(*engine)) patch = first->patch;
        patch.engine = *engine;
    }

    std::string id = mutate([&](Project& p) {
        std::string made = p.makeId("t");
        const std::size_t count = p.tracks.size();
        std::string title = name ? *name
                            : engine ? std::string(label(*engine))
                                     : "Track " + std::to_string(count + 1);
        Track track(made, std::move(title), static_cast<int>(count % 8), patch);
        if (patch.engine == EngineKind::drums) track.volumeDb = -4;
        p.tracks.push_back(std::move(track));
        return made;
    });
    selectedTrackID_ = id;
    return id;
}

void Studio::setSynth(std::size_t index, std::optional<EngineKind> engine, std::optional<std::string> preset,
                      const nlohmann::json& params, std::optional<std::string> coalesce) {
    VELMO_PRECONDITION(index < project_.tracks.size(), "Studio.setSynth");
    SynthPatch patch = project_.tracks[index].patch;
    if (preset) {
        const Preset* found = Presets::named(*preset);
        if (!found) throw StudioError(Presets::unknownPresetMessage(*preset));
        patch = found->patch;
    }
    if (engine) patch.engine = *engine;
    if (!params.is_null() && !(params.is_object() && params.empty())) patch = applying(patch, params);
    mutate(std::move(coalesce), [&](Project& p) { p.tracks.mut(index).patch = std::move(patch); });
}

void Studio::moveTrack(std::size_t from, std::size_t to) {
    VELMO_PRECONDITION(from < project_.tracks.size(), "Studio.moveTrack");
    mutate([&](Project& p) {
        Track track = p.tracks[from];
        p.tracks.erase(from);
        p.tracks.insert(std::min(to, p.tracks.size()), std::move(track));
    });
}

void Studio::removeTrack(std::size_t index) {
    VELMO_PRECONDITION(index < project_.tracks.size(), "Studio.removeTrack");
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
    VELMO_PRECONDITION(index < project_.tracks.size(), "Studio.setMIDIOut");
    mutate([&](Project& p) { p.tracks.mut(index).midiOut = std::move(route); });
}

std::string Studio::duplicateTrack(std::size_t index) {
    VELMO_PRECONDITION(index < project_.tracks.size(), "Studio.duplicateTrack");
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
