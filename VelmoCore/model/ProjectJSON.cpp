#include "model/ProjectJSON.h"

#include "model/SynthPatchJSON.h"

namespace velmo {

using json = nlohmann::json;

namespace {

EffectSlot decodeEffect(const JSONReader& r) {
    EffectSlot slot;
    slot.id = r.string("id");
    slot.kind = r.enumeration<EffectKind>("kind");
    slot.enabled = r.boolean("enabled");
    JSONReader params = r.object("params");
    for (const auto& [key, value] : params.value().items())
        slot.params[key] = JSONReader::numberValue(value, "Parameter \"" + key + "\" in " + params.path());
    return slot;
}

CowVector<EffectSlot> decodeEffects(const JSONReader& r, const char* key) {
    std::vector<EffectSlot> slots;
    for (std::size_t i = 0; i < r.array(key).size(); ++i) slots.push_back(decodeEffect(r.element(key, i)));
    return CowVector<EffectSlot>(std::move(slots));
}

Clip decodeClip(const JSONReader& r) {
    Clip clip;
    clip.id = r.string("id");
    clip.name = r.string("name");
    clip.start = r.number("start");
    clip.length = r.number("length");
    std::vector<Note> notes;
    for (std::size_t i = 0; i < r.array("notes").size(); ++i) {
        auto n = r.element("notes", i);
        notes.push_back({n.integer("pitch"), n.number("start"), n.number("duration"), n.number("velocity")});
    }
    clip.notes = CowVector<Note>(std::move(notes));
    return clip;
}

Track decodeTrack(const JSONReader& r) {
    Track track(r.string("id"), r.string("name"), r.integer("colorIndex"), SynthPatch());
    track.patch = synthPatchFromJSON(r.object("patch").value(), r.path() + ".patch");
    track.volumeDb = r.number("volumeDb");
    track.pan = r.number("pan");
    track.mute = r.boolean("mute");
    track.solo = r.boolean("solo");
    track.effects = decodeEffects(r, "effects");
    std::vector<Clip> clips;
    for (std::size_t i = 0; i < r.array("clips").size(); ++i) clips.push_back(decodeClip(r.element("clips", i)));
    track.clips = CowVector<Clip>(std::move(clips));
    if (r.hasNonNull("midiOut")) {
        auto m = r.object("midiOut");
        track.midiOut = MIDIRoute{m.string("device"), m.integer("channel"), m.boolean("playInternal")};
    }
    return track;
}

json encodeEffects(const CowVector<EffectSlot>& slots) {
    json out = json::array();
    for (const auto& slot : slots) out.push_back(toJSON(slot));
    return out;
}

json encode(const Clip& clip) {
    json notes = json::array();
    for (const auto& n : clip.notes)
        notes.push_back({{"pitch", n.pitch}, {"start", n.start}, {"duration", n.duration}, {"velocity", n.velocity}});
    return {{"id", clip.id}, {"name", clip.name}, {"start", clip.start}, {"length", clip.length}, {"notes", notes}};
}

json encode(const Track& track) {
    json clips = json::array();
    for (const auto& clip : track.clips) clips.push_back(encode(clip));
    json out = {{"id", track.id}, {"name", track.name}, {"colorIndex", track.colorIndex},
                {"patch", toJSON(track.patch)}, {"volumeDb", track.volumeDb}, {"pan", track.pan},
                {"mute", track.mute}, {"solo", track.solo}, {"effects", encodeEffects(track.effects)},
                {"clips", clips}};
    if (track.midiOut)
        out["midiOut"] = {{"device", track.midiOut->device}, {"channel", track.midiOut->channel},
                          {"playInternal", track.midiOut->playInternal}};
    return out;
}

} // namespace

json toJSON(const EffectSlot& slot) {
    json params = json::object();
    for (const auto& [key, value] : slot.params) params[key] = value;
    return {{"id", slot.id}, {"kind", std::string(toString(slot.kind))}, {"enabled", slot.enabled}, {"params", params}};
}

json toJSON(const Project& p) {
    json tracks = json::array();
    for (const auto& track : p.tracks) tracks.push_back(encode(track));
    return {{"name", p.name}, {"tempo", p.tempo}, {"beatsPerBar", p.beatsPerBar}, {"beatUnit", p.beatUnit},
            {"loopEnabled", p.loopEnabled}, {"loopStart", p.loopStart}, {"loopEnd", p.loopEnd},
            {"masterVolumeDb", p.masterVolumeDb}, {"masterEffects", encodeEffects(p.masterEffects)},
            {"tracks", tracks}, {"nextId", p.nextId}};
}

Project projectFromJSON(const json& value) {
    JSONReader r(value, "");
    Project p(r.string("name"), r.number("tempo"));
    p.beatsPerBar = r.integer("beatsPerBar");
    p.beatUnit = r.integer("beatUnit");
    p.loopEnabled = r.boolean("loopEnabled");
    p.loopStart = r.number("loopStart");
    p.loopEnd = r.number("loopEnd");
    p.masterVolumeDb = r.number("masterVolumeDb");
    p.masterEffects = decodeEffects(r, "masterEffects");
    std::vector<Track> tracks;
    for (std::size_t i = 0; i < r.array("tracks").size(); ++i) tracks.push_back(decodeTrack(r.element("tracks", i)));
    p.tracks = CowVector<Track>(std::move(tracks));
    p.nextId = r.integer("nextId");
    return p;
}

std::string encodeProjectFile(const Project& project) { return toJSON(project).dump(2) + "\n"; }

Project decodeProjectFile(std::string_view text) {
    json value;
    try {
        value = json::parse(text.begin(), text.end());
    } catch (const json::parse_error& e) {
        throw DecodeError(std::string("Not valid JSON: ") + e.what());
    }
    return projectFromJSON(value);
}

} // namespace velmo
