#include "model/ProjectJSON.h"

#include "base/RegularFile.h"
#include "base/TextExcerpt.h"
#include "model/SynthPatchJSON.h"

#include <algorithm>

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
        slot.params[key] = JSONReader::numberValue(value, "Parameter \"" + excerpt(key) + "\" in " + params.path());
    return slot;
}

// The array under `key`, each element read by `decode`, for a list type to take over.
template <class Decode>
auto decodeList(const JSONReader& r, const char* key, Decode decode) {
    std::vector<decltype(decode(r))> items;
    for (std::size_t i = 0; i < r.array(key).size(); ++i) items.push_back(decode(r.element(key, i)));
    return items;
}

Note decodeNote(const JSONReader& n) {
    return {n.integer("pitch"), n.number("start"), n.number("duration"), n.number("velocity")};
}

Clip decodeClip(const JSONReader& r) {
    Clip clip;
    clip.id = r.string("id");
    clip.name = r.string("name");
    clip.start = r.number("start");
    clip.length = r.number("length");
    clip.notes = NoteList(decodeList(r, "notes", decodeNote));
    return clip;
}

Track decodeTrack(const JSONReader& r) {
    Track track(r.string("id"), r.string("name"), r.integer("colorIndex"), SynthPatch());
    track.patch = synthPatchFromJSON(r.object("patch").value(), r.path() + ".patch");
    track.volumeDb = r.number("volumeDb");
    track.pan = r.number("pan");
    track.mute = r.boolean("mute");
    track.solo = r.boolean("solo");
    track.effects = CowVector(decodeList(r, "effects", decodeEffect));
    track.clips = CowVector(decodeList(r, "clips", decodeClip));
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
            {"tracks", tracks}, {"nextId", p.nextId}, {"version", kProjectFileVersion}};
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
    p.masterEffects = CowVector(decodeList(r, "masterEffects", decodeEffect));
    p.tracks = CowVector(decodeList(r, "tracks", decodeTrack));
    p.nextId = r.integer("nextId");
    return p;
}

std::string encodeProjectFile(const Project& project) { return toJSON(project).dump(2) + "\n"; }

namespace {

// Keys that every version of the file has had: what tells a project file from other JSON.
constexpr const char* kSignatureKeys[] = {"name", "tempo", "tracks", "nextId"};

// Where the parser stopped, as a line and column: enough to find the fault, and no quote of a
// file that may be anything but a project.
[[noreturn]] void failSyntax(std::string_view text, std::size_t byte) {
    const std::string_view read = text.substr(0, std::min(byte > 0 ? byte - 1 : 0, text.size()));
    const auto line = 1 + std::count(read.begin(), read.end(), '\n');
    const std::size_t lineStart = read.rfind('\n');
    const std::size_t column = read.size() - (lineStart == std::string_view::npos ? 0 : lineStart + 1) + 1;
    throw DecodeError("Not valid JSON text (line " + std::to_string(line) + ", column " + std::to_string(column) + ")");
}

json parse(std::string_view text) {
    try {
        return json::parse(text.begin(), text.end());
    } catch (const json::parse_error& e) {
        failSyntax(text, e.byte);
    } catch (const json::exception&) {
        // The parser's one other complaint: a number past the range of a double.
        throw DecodeError("Not valid JSON text: a number is too large");
    }
}

} // namespace

ProjectFile decodeProjectFile(std::string_view text) {
    const json value = parse(text);
    int version = kProjectFileVersion;
    if (value.is_object() && JSONReader(value, "").hasNonNull("version"))
        version = JSONReader(value, "").integer("version");

    ProjectFile file;
    try {
        file.project = projectFromJSON(value);
    } catch (const DecodeError& e) {
        if (version <= kProjectFileVersion) throw;
        throw DecodeError(std::string(e.what()) + " (the file is from a newer Velmo: version " + std::to_string(version) + ")");
    }
    if (version > kProjectFileVersion)
        file.warnings.push_back("This file was written by a newer Velmo (file version " + std::to_string(version) +
                                "; this one reads version " + std::to_string(kProjectFileVersion) +
                                "). Anything this version does not know was left out and is lost if you save over it.");
    if (const int renamed = file.project.repairIds(); renamed > 0)
        file.warnings.push_back("Ids in use twice were made unique: " + std::to_string(renamed) +
                                (renamed == 1 ? " track, clip or effect has" : " tracks, clips or effects have") +
                                " a new id.");
    return file;
}

bool isProjectFileText(std::string_view text) {
    const json value = json::parse(text.begin(), text.end(), nullptr, false);
    if (!value.is_object()) return false;
    return std::all_of(std::begin(kSignatureKeys), std::end(kSignatureKeys),
                       [&](const char* key) { return value.contains(key); });
}

ProjectFile readProjectFile(const std::filesystem::path& path) {
    RegularFile file(path);
    if (file.size() > kMaxProjectFileBytes)
        throw FileAccessError("the file is larger than " + std::to_string(kMaxProjectFileBytes >> 20) +
                              " MiB, the most a project file may be");
    // A file that grew since it was opened is cut at the limit, and then fails to decode.
    return decodeProjectFile(file.read(kMaxProjectFileBytes));
}

bool isProjectFile(const std::filesystem::path& path) {
    try {
        RegularFile file(path);
        return file.size() <= kMaxProjectFileBytes && isProjectFileText(file.read(kMaxProjectFileBytes));
    } catch (const FileAccessError&) {
        return false;
    }
}

} // namespace velmo
