// The tools that make tracks and shape their sound: tracks and their mix, synth patches, insert
// effects and MIDI routing. Each validates what it was given before it edits, so a failing call
// leaves the project as it was.
#include "Studio/Studio.h"
#include "catalog/Presets.h"
#include "catalog/SongRanges.h"
#include "catalog/SynthPatchPaths.h"
#include "model/Unicode.h"
#include "server/JSONViews.h"
#include "server/MCPTools.h"
#include "server/ToolGroups.h"
#include "server/ToolSchema.h"

#include <algorithm>

namespace velmo {

using namespace schema;
using nlohmann::json;

namespace {

template <class E>
std::vector<std::string> names() {
    std::vector<std::string> out;
    for (E value : allCases<E>()) out.emplace_back(toString(value));
    return out;
}

// A string `engine` must be a raw engine name; anything but a string counts as absent.
std::optional<EngineKind> engineArgument(const ToolArgs& arguments) {
    auto text = arguments.string("engine");
    if (!text) return std::nullopt;
    if (auto engine = fromString<EngineKind>(*text)) return engine;
    throw StudioError("Unknown engine '" + *text + "'.");
}

// The argument if it is a JSON object, else an empty object: params of the wrong type count as
// absent.
json objectArgument(const ToolArgs& arguments, const std::string& key) {
    const json* value = arguments.value(key);
    return value && value->is_object() ? *value : json::object();
}

json chainJSON(const CowVector<EffectSlot>& slots) {
    json list = json::array();
    for (const auto& slot : slots) list.push_back(effectJSON(slot));
    return list;
}

const CowVector<EffectSlot>& chainOf(const Project& project, std::optional<std::size_t> track) {
    return track ? project.tracks[*track].effects : project.masterEffects;
}

const MIDIHub* hubOrFail(const Studio& studio) {
    const MIDIHub* hub = studio.midiHub();
    if (!hub) throw StudioError("MIDI is not available in this session.");
    return hub;
}

// An effect reference: its id, its kind's name, or its place in the chain.
json effectRef(std::string description) {
    return {{"type", json::array({"string", "integer"})}, {"description", std::move(description)}};
}

} // namespace

ToolDef describeSynthTool(MCPTools&) {
    return {
        "describe_synth",
        "Reference for sound design: every synth parameter path with type, range and meaning (for set_synth), "
        "modulation sources/destinations, all effect types and parameters (for add_effect), presets, and the drum map.",
        O({{"engine", E(names<EngineKind>(), "Only show params for this engine (plus shared voice params)")}}, {}),
        true,
        immediate([](const ToolArgs& arguments) -> ToolValue {
            // Here an unknown engine only widens the reference, so it is no failure.
            auto text = arguments.string("engine");
            return MCPTools::describe(text ? fromString<EngineKind>(*text) : std::nullopt);
        }),
    };
}

ToolDef listPresetsTool(MCPTools&) {
    return {
        "list_presets",
        "List factory synth presets with their engine and category.",
        O(json::object(), {}),
        true,
        immediate([](const ToolArgs&) -> ToolValue {
            json list = json::array();
            for (const auto& preset : Presets::all())
                list.push_back({{"name", preset.name},
                                {"engine", std::string(toString(preset.patch.engine))},
                                {"category", preset.category}});
            return list;
        }),
    };
}

ToolDef addTrackTool(MCPTools& tools) {
    return {
        "add_track",
        "Create a new synth track. Choose a preset (see list_presets) and/or an engine. Returns the new track id.",
        O({{"name", P("string", "Track name (defaults to preset or engine name)")},
           {"preset", P("string", "Factory preset name, e.g. \"Acid Bass\", \"808 Kit\", \"FM E-Piano\"")},
           {"engine", E(names<EngineKind>(), "Synth engine (ignored if it matches the preset's)")},
           {"volume_db", P("number", "Fader level, -60..+6 (default -6)")},
           {"pan", P("number", "-1 left .. 1 right")}},
          {}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const auto engine = engineArgument(arguments);
            const std::string id = studio.addTrack(arguments.string("name"), engine, arguments.string("preset"));
            const std::size_t index = *studio.project().trackIndex(id);
            const auto volume = arguments.num("volume_db");
            const auto pan = arguments.num("pan");
            if (volume || pan) {
                studio.updateTrack(index, std::nullopt, [&](Track& track) {
                    if (volume) track.volumeDb = kVolumeDbRange.clamp(*volume);
                    if (pan) track.pan = kPanRange.clamp(*pan);
                });
            }
            const Track& track = studio.project().tracks[index];
            return json{{"track_id", id},
                        {"name", track.name},
                        {"engine", std::string(toString(track.patch.engine))},
                        {"index", index}};
        }),
    };
}

ToolDef updateTrackTool(MCPTools& tools) {
    return {
        "update_track",
        "Change a track's name, fader, pan, mute/solo, color, or position in the track list.",
        O({{"track", trackRef()},
           {"name", P("string", "New name")},
           {"volume_db", P("number", "-60..+6")},
           {"pan", P("number", "-1..1")},
           {"mute", P("boolean", "Mute")},
           {"solo", P("boolean", "Solo")},
           {"color", P("integer", "Color index 0–7")},
           {"index", P("integer", "Move the track to this position")}},
          {"track"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            std::size_t index = studio.trackIndex(arguments.value("track"));
            const auto name = arguments.string("name");
            const auto volume = arguments.num("volume_db");
            const auto pan = arguments.num("pan");
            const auto mute = arguments.boolean("mute");
            const auto solo = arguments.boolean("solo");
            const auto color = arguments.integer("color");
            studio.updateTrack(index, std::nullopt, [&](Track& track) {
                if (name) track.name = *name;
                if (volume) track.volumeDb = kVolumeDbRange.clamp(*volume);
                if (pan) track.pan = kPanRange.clamp(*pan);
                if (mute) track.mute = *mute;
                if (solo) track.solo = *solo;
                // Masked, not clamped: colours cycle, so 9 is 1 and -1 is 7.
                if (color) track.colorIndex = static_cast<int>(*color & 7);
            });
            if (auto to = arguments.integer("index")) {
                const auto last = static_cast<std::int64_t>(studio.project().tracks.size()) - 1;
                const auto target = static_cast<std::size_t>(std::clamp<std::int64_t>(*to, 0, last));
                studio.moveTrack(index, target);
                index = target;
            }
            return trackJSON(studio.project().tracks[index], index, false, studio.midiHub());
        }),
    };
}

ToolDef removeTrackTool(MCPTools& tools) {
    return {
        "remove_track",
        "Delete a track and all its clips.",
        O({{"track", trackRef()}}, {"track"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const std::size_t index = studio.trackIndex(arguments.value("track"));
            const std::string name = studio.project().tracks[index].name;
            studio.removeTrack(index);
            return json{{"removed", name}, {"tracks_left", studio.project().tracks.size()}};
        }),
    };
}

ToolDef unmuteAllTool(MCPTools& tools) {
    return {
        "unmute_all",
        "Clear mute and solo on every track so everything is audible.",
        O(json::object(), {}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs&) -> ToolValue {
            studio.unmuteAll();
            json list = json::array();
            for (const auto& track : studio.project().tracks)
                list.push_back({{"name", track.name}, {"mute", track.mute}, {"solo", track.solo}});
            return json{{"tracks", std::move(list)}};
        }),
    };
}

ToolDef listMIDIDevicesTool(MCPTools& tools) {
    return {
        "list_midi_devices",
        "List MIDI output destinations (hardware synths, interfaces, other apps, and Velmo's own \"Velmo Virtual "
        "Out\" port that DAWs can record), connected MIDI inputs, and each track's current MIDI routing.",
        O(json::object(), {}),
        true,
        immediate([&studio = tools.studio()](const ToolArgs&) -> ToolValue {
            const MIDIHub* hub = hubOrFail(studio);
            json outputs = json::array();
            for (const auto& destination : studio.midiDestinations())
                outputs.push_back({{"name", destination.name}, {"virtual", destination.isVirtual}});
            json routes = json::array();
            for (const auto& track : studio.project().tracks) {
                if (!track.midiOut) continue;
                json route = routeJSON(*track.midiOut, hub);
                route["track"] = track.id;
                route["name"] = track.name;
                routes.push_back(std::move(route));
            }
            return json{{"outputs", std::move(outputs)}, {"inputs", studio.midiInputs()}, {"routes", std::move(routes)}};
        }),
    };
}

ToolDef setMIDIOutputTool(MCPTools& tools) {
    return {
        "set_midi_output",
        "Send a track's notes (sequenced and live) to an external MIDI device on a channel. By default the internal "
        "synth goes silent for that track so the hardware is heard instead; set play_internal to layer both. Pass "
        "device \"none\" to return to the internal synth only. Mute/solo apply to MIDI too. Offline exports render "
        "the internal synth.",
        O({{"track", trackRef()},
           {"device", P("string", "Output name from list_midi_devices (case-insensitive, partial match ok), or \"none\"")},
           {"channel", P("integer", "MIDI channel 1–16 (default 1)")},
           {"play_internal", P("boolean", "Also play the internal synth (default false)")}},
          {"track", "device"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const std::size_t index = studio.trackIndex(arguments.value("track"));
            const auto device = arguments.string("device");
            if (!device) throw StudioError("Missing device.");
            const std::string id = studio.project().tracks[index].id;
            if (lowercased(*device) == "none") {
                studio.setMIDIOut(index, std::nullopt);
                return json{{"track", id}, {"midi_out", nullptr}};
            }
            const MIDIHub* hub = hubOrFail(studio);
            const auto destination = hub->resolve(*device);
            if (!destination) {
                std::string list;
                for (const auto& d : hub->destinations()) list += (list.empty() ? "" : ", ") + d.name;
                throw StudioError("No MIDI output matching '" + *device + "'. Available: " + list);
            }
            MIDIRoute route;
            route.device = destination->name;
            route.channel = static_cast<int>(std::clamp<std::int64_t>(arguments.integer("channel").value_or(1), 1, 16));
            route.playInternal = arguments.boolean("play_internal").value_or(false);
            studio.setMIDIOut(index, route);
            return json{{"track", id}, {"midi_out", routeJSON(route, hub)}};
        }),
    };
}

ToolDef duplicateTrackTool(MCPTools& tools) {
    return {
        "duplicate_track",
        "Copy a track (synth, effects and clips) to a new track right below it.",
        O({{"track", trackRef()}}, {"track"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            return json{{"track_id", studio.duplicateTrack(studio.trackIndex(arguments.value("track")))}};
        }),
    };
}

ToolDef setSynthTool(MCPTools& tools) {
    json params = P("object", "Parameter path → value");
    params["additionalProperties"] = true;
    return {
        "set_synth",
        "Design a track's sound. Applied in order: preset (replaces the whole patch), engine (switch synthesis "
        "engine), then params. params maps dotted parameter paths to values, e.g. {\"filter.cutoff\": 900, "
        "\"filter.resonance\": 0.6, \"ampEnv.attack\": 0.4, \"analog.osc1.wave\": \"square\", \"fm.ops.1.ratio\": "
        "3.5, \"mod.0.source\": \"lfo1\", \"mod.0.destination\": \"cutoff\", \"mod.0.amount\": 0.3}. Nested objects "
        "({\"filter\": {\"cutoff\": 900}}) and arrays (\"additive.harmonics\": [1, 0.5, ...]) also work. Numbers are "
        "clamped to range. Call describe_synth for every path and range.",
        O({{"track", trackRef()},
           {"preset", P("string", "Load a factory preset first")},
           {"engine", E(names<EngineKind>(), "Switch engine")},
           {"params", std::move(params)}},
          {"track"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const std::size_t index = studio.trackIndex(arguments.value("track"));
            const auto engine = engineArgument(arguments);
            const json params = objectArgument(arguments, "params");
            studio.setSynth(index, engine, arguments.string("preset"), params);

            // What the patch now holds at each given path, so the caller sees clamping and rounding.
            const Track& track = studio.project().tracks[index];
            json applied = json::object();
            for (const auto& pair : flatten(params))
                applied[pair.path] = valueAt(track.patch, pair.path).value_or(json(nullptr));
            return json{{"track", track.id},
                        {"engine", std::string(toString(track.patch.engine))},
                        {"applied", std::move(applied)}};
        }),
    };
}

ToolDef addEffectTool(MCPTools& tools) {
    std::string kinds;
    for (const auto& name : names<EffectKind>()) kinds += (kinds.empty() ? "" : ", ") + name;
    return {
        "add_effect",
        "Insert an effect on a track or the master bus. Kinds: " + kinds + ". See describe_synth for each kind's params.",
        O({{"target", targetRef()},
           {"kind", E(names<EffectKind>(), "Effect type")},
           {"params", P("object", "Effect params, e.g. {\"mix\": 0.3, \"size\": 0.8}")},
           {"position", P("integer", "Insert position in the chain (default: end)")}},
          {"target", "kind"}),
        false,
        immediate([&tools, kinds](const ToolArgs& arguments) -> ToolValue {
            Studio& studio = tools.studio();
            const auto track = tools.effectTarget(arguments.value("target"));
            const auto text = arguments.string("kind");
            const auto kind = text ? fromString<EffectKind>(*text) : std::nullopt;
            if (!kind) throw StudioError("kind must be one of: " + kinds + ".");
            const std::string id = studio.addEffect(track, *kind, objectArgument(arguments, "params"),
                                                    arguments.integer("position"));
            return json{{"effect_id", id}, {"chain", chainJSON(chainOf(studio.project(), track))}};
        }),
    };
}

ToolDef updateEffectTool(MCPTools& tools) {
    return {
        "update_effect",
        "Change an effect's parameters or bypass it.",
        O({{"target", targetRef()},
           {"effect", effectRef("Effect id (\"fx7\"), kind name, or chain index")},
           {"params", P("object", "Params to change")},
           {"enabled", P("boolean", "false = bypass")}},
          {"target", "effect"}),
        false,
        immediate([&tools](const ToolArgs& arguments) -> ToolValue {
            Studio& studio = tools.studio();
            const auto track = tools.effectTarget(arguments.value("target"));
            const std::size_t index = studio.effectIndex(track, arguments.value("effect"));
            studio.updateEffect(track, index, objectArgument(arguments, "params"), arguments.boolean("enabled"));
            return effectJSON(chainOf(studio.project(), track)[index]);
        }),
    };
}

ToolDef removeEffectTool(MCPTools& tools) {
    return {
        "remove_effect",
        "Remove an effect from a track or the master bus.",
        O({{"target", targetRef()}, {"effect", effectRef("Effect id, kind name, or chain index")}},
          {"target", "effect"}),
        false,
        immediate([&tools](const ToolArgs& arguments) -> ToolValue {
            Studio& studio = tools.studio();
            const auto track = tools.effectTarget(arguments.value("target"));
            studio.removeEffect(track, studio.effectIndex(track, arguments.value("effect")));
            return json{{"chain", chainJSON(chainOf(studio.project(), track))}};
        }),
    };
}

} // namespace velmo
