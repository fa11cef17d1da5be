#include "server/JSONViews.h"

#include "midi/MIDIHub.h"
#include "model/SynthPatchJSON.h"
#include "theory/NoteNames.h"

#include <algorithm>
#include <cmath>

namespace velmo {

using json = nlohmann::json;

double roundTo(double value, int places) {
    const double scale = std::pow(10.0, places);
    return std::round(value * scale) / scale;  // std::round takes halves away from zero
}

namespace {

double beats(double value) { return roundTo(value, 4); }
double decibels(double value) { return roundTo(value, 1); }

json effectList(const CowVector<EffectSlot>& slots) {
    json list = json::array();
    for (const auto& slot : slots) list.push_back(effectJSON(slot));
    return list;
}

} // namespace

json noteJSON(const Note& note) {
    return {{"pitch", note.pitch}, {"name", MusicTheory::noteName(note.pitch)}, {"start", beats(note.start)},
            {"duration", beats(note.duration)}, {"velocity", beats(note.velocity)}};
}

json clipJSON(const Clip& clip, bool notes) {
    json out = {{"id", clip.id}, {"name", clip.name}, {"start", beats(clip.start)}, {"length", beats(clip.length)},
                {"end", beats(clip.end())}, {"note_count", clip.notes.size()}};
    if (notes) {
        json list = json::array();
        for (const auto& note : clip.notes) list.push_back(noteJSON(note));
        out["notes"] = std::move(list);
    }
    if (!clip.notes.empty()) {
        auto [low, high] = std::minmax_element(clip.notes.begin(), clip.notes.end(),
                                               [](const Note& a, const Note& b) { return a.pitch < b.pitch; });
        out["pitch_range"] = MusicTheory::noteName(low->pitch) + "\u2013" + MusicTheory::noteName(high->pitch);
    }
    return out;
}

json effectJSON(const EffectSlot& slot) {
    json params = json::object();
    for (const auto& [name, value] : slot.params) params[name] = beats(value);
    return {{"id", slot.id}, {"kind", std::string(toString(slot.kind))}, {"enabled", slot.enabled}, {"params", params}};
}

json routeJSON(const MIDIRoute& route, const MIDIHub* hub) {
    return {{"device", route.device}, {"channel", std::clamp(route.channel, 1, 16)},
            {"play_internal", route.playInternal}, {"connected", hub != nullptr && hub->resolve(route.device).has_value()}};
}

json trackJSON(const Track& track, std::size_t index, bool notes, const MIDIHub* hub) {
    json clips = json::array();
    for (const auto& clip : track.clips) clips.push_back(clipJSON(clip, notes));
    return {{"id", track.id}, {"index", index}, {"name", track.name},
            {"engine", std::string(toString(track.patch.engine))}, {"volume_db", decibels(track.volumeDb)},
            {"pan", beats(track.pan)}, {"mute", track.mute}, {"solo", track.solo},
            {"effects", effectList(track.effects)}, {"clips", std::move(clips)},
            {"midi_out", track.midiOut ? routeJSON(*track.midiOut, hub) : json(nullptr)}};
}

json projectJSON(const Project& project, bool notes, TransportView transport,
                 const std::optional<std::filesystem::path>& file, const MIDIHub* hub) {
    json tracks = json::array();
    for (std::size_t i = 0; i < project.tracks.size(); ++i) tracks.push_back(trackJSON(project.tracks[i], i, notes, hub));
    return {
        {"name", project.name},
        {"tempo", project.tempo},
        {"time_signature", std::to_string(project.beatsPerBar) + "/" + std::to_string(project.beatUnit)},
        {"loop", {{"enabled", project.loopEnabled}, {"start", project.loopStart}, {"end", project.loopEnd}}},
        {"song_end_beat", beats(project.songEnd())},
        {"master", {{"volume_db", decibels(project.masterVolumeDb)}, {"effects", effectList(project.masterEffects)}}},
        {"transport", {{"playing", transport.playing}, {"beat", beats(transport.beat)}}},
        {"file", file ? json(file->string()) : json(nullptr)},
        {"tracks", std::move(tracks)},
    };
}

json patchJSON(const SynthPatch& patch) {
    const json encoded = toJSON(patch);
    const std::string engine(toString(patch.engine));
    json out = {{"engine", engine}};
    for (const std::string& key : {engine, std::string("filter"), std::string("ampEnv"), std::string("modEnv"),
                                   std::string("lfo1"), std::string("lfo2"), std::string("voice")})
        if (auto it = encoded.find(key); it != encoded.end()) out[key] = *it;
    json mod = json::array();
    for (std::size_t i = 0; i < patch.mod.size(); ++i) {
        const ModSlot& slot = patch.mod[i];
        if (slot.source == ModSource::none || slot.destination == ModDestination::none) continue;
        mod.push_back({{"slot", i}, {"source", std::string(toString(slot.source))},
                       {"destination", std::string(toString(slot.destination))}, {"amount", slot.amount}});
    }
    out["mod"] = std::move(mod);
    return out;
}

} // namespace velmo
