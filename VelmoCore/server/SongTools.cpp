#include "Studio/Studio.h"
#include "base/NumberText.h"
#include "catalog/SongRanges.h"
#include "server/JSONViews.h"
#include "server/MCPTools.h"
#include "server/ToolGroups.h"
#include "server/ToolSchema.h"

#include <algorithm>
#include <cmath>

namespace velmo {

using namespace schema;
using nlohmann::json;

namespace {

json projectView(const Studio& studio, bool notes) {
    return projectJSON(studio.project(), notes, {studio.live().isPlaying, studio.live().beat}, studio.fileURL(),
                       studio.midiHub());
}

// The loop as the transport reports it: "off", or start and end as in "0.0–16.0".
std::string loopText(const Project& project) {
    if (!project.loopEnabled) return "off";
    return shortestText(project.loopStart) + "–" + shortestText(project.loopEnd);
}

int clampedBeatsPerBar(std::int64_t value) { return static_cast<int>(std::clamp<std::int64_t>(value, 1, 16)); }

} // namespace

ToolDef getProjectTool(MCPTools& tools) {
    return {
        "get_project",
        "Get the full project state: tempo, loop, transport, master bus, and every track with its engine, mix "
        "settings, effects and clips (ids, positions, note counts). Set include_notes to also list every note.",
        O({{"include_notes", P("boolean", "Include all notes of every clip (can be large). Default false.")}}, {}),
        true,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            return projectView(studio, arguments.boolean("include_notes").value_or(false));
        }),
    };
}

ToolDef getClipTool(MCPTools& tools) {
    return {
        "get_clip",
        "Get one clip with all of its notes.",
        O({{"clip", P("string", "Clip id, e.g. \"c4\"")}}, {"clip"}),
        true,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const ClipLocation at = studio.clipLocation(arguments.value("clip"));
            const Track& track = studio.project().tracks[at.track];
            json view = clipJSON(track.clips[at.clip], true);
            view["track"] = track.id;
            return view;
        }),
    };
}

ToolDef getTrackTool(MCPTools& tools) {
    return {
        "get_track",
        "Get a track's full details including the current synth patch (active engine section, filter, envelopes, "
        "LFOs, modulation, voice).",
        O({{"track", trackRef()}}, {"track"}),
        true,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const std::size_t index = studio.trackIndex(arguments.value("track"));
            const Track& track = studio.project().tracks[index];
            json view = trackJSON(track, index, false, studio.midiHub());
            view["patch"] = patchJSON(track.patch);
            return view;
        }),
    };
}

ToolDef newProjectTool(MCPTools& tools) {
    return {
        "new_project",
        "Start a new, empty project (no tracks). The previous project is discarded unless saved.",
        O({{"name", P("string", "Project name")},
           {"tempo", P("number", "BPM, default 120")},
           {"beats_per_bar", P("integer", "Time signature numerator, default 4")}},
          {}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            studio.newProject(arguments.string("name").value_or("Untitled"), arguments.num("tempo").value_or(120));
            if (auto beats = arguments.integer("beats_per_bar"))
                studio.mutate([&](Project& p) { p.beatsPerBar = clampedBeatsPerBar(*beats); });
            return projectView(studio, false);
        }),
    };
}

ToolDef setSongTool(MCPTools& tools) {
    return {
        "set_song",
        "Change song-level settings: name, tempo, time signature, master volume, and loop region (in beats).",
        O({{"name", P("string", "Project name")},
           {"tempo", P("number", "BPM 20–300")},
           {"beats_per_bar", P("integer", "1–16")},
           {"beat_unit", P("integer", "2, 4, 8 or 16")},
           {"master_volume_db", P("number", "-60 to +6")},
           {"loop_enabled", P("boolean", "Loop playback between loop_start and loop_end")},
           {"loop_start", P("number", "Loop start beat")},
           {"loop_end", P("number", "Loop end beat")}},
          {}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            // Never fails: every value is corrected rather than refused. One call, one undo step.
            studio.mutate([&](Project& p) {
                if (auto name = arguments.string("name")) p.name = *name;
                if (auto tempo = arguments.num("tempo")) p.tempo = kTempoRange.clamp(*tempo);
                if (auto beats = arguments.integer("beats_per_bar")) p.beatsPerBar = clampedBeatsPerBar(*beats);
                if (auto unit = arguments.integer("beat_unit"); unit && (*unit == 2 || *unit == 4 || *unit == 8 || *unit == 16))
                    p.beatUnit = static_cast<int>(*unit);
                if (auto volume = arguments.num("master_volume_db")) p.masterVolumeDb = kVolumeDbRange.clamp(*volume);
            });
            // The end against the start as it is now, possibly just set. A new start alone may
            // leave the stored end before it.
            studio.setLoop(arguments.boolean("loop_enabled"), arguments.num("loop_start"), arguments.num("loop_end"));
            const Project& p = studio.project();
            return json{{"name", p.name},
                        {"tempo", p.tempo},
                        {"time_signature", std::to_string(p.beatsPerBar) + "/" + std::to_string(p.beatUnit)},
                        {"master_volume_db", p.masterVolumeDb},
                        {"loop", {{"enabled", p.loopEnabled}, {"start", p.loopStart}, {"end", p.loopEnd}}}};
        }),
    };
}

ToolDef transportTool(MCPTools& tools) {
    return {
        "transport",
        "Control playback so the user can listen: play (optionally from a beat), stop, toggle, seek, or rewind to "
        "the loop/song start.",
        O({{"action", E({"play", "stop", "toggle", "seek", "rewind"}, "Transport action")},
           {"beat", P("number", "Beat position for play/seek")}},
          {"action"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const auto action = arguments.string("action");
            const auto beat = arguments.num("beat");
            if (action == "play") studio.play(beat);
            else if (action == "stop") studio.stop();
            else if (action == "toggle") studio.togglePlay();
            else if (action == "seek") studio.seek(beat.value_or(0));
            else if (action == "rewind") studio.returnToStart();
            else throw StudioError("action must be play, stop, toggle, seek or rewind.");
            // The live position catches up with a seek only at the next poll; the caller's beat
            // is the truth until then.
            return json{{"playing", studio.live().isPlaying},
                        {"beat", beat.value_or(studio.live().beat)},
                        {"tempo", studio.project().tempo},
                        {"loop", loopText(studio.project())}};
        }),
    };
}

ToolDef historyTool(MCPTools& tools) {
    return {
        "history",
        "Undo or redo edits.",
        O({{"action", E({"undo", "redo"}, "Direction")}, {"steps", P("integer", "How many steps (default 1)")}},
          {"action"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const auto steps = std::clamp<std::int64_t>(arguments.integer("steps").value_or(1), 1, 100);
            // A call without a clear direction is an agent looking at its history: it undoes nothing.
            const auto action = arguments.string("action");
            if (action != "undo" && action != "redo") throw StudioError("action must be undo or redo.");
            const bool redo = action == "redo";
            for (std::int64_t i = 0; i < steps; ++i) {
                if (redo) studio.redo();
                else studio.undo();
            }
            return json{{"can_undo", studio.canUndo()},
                        {"can_redo", studio.canRedo()},
                        {"tracks", studio.project().tracks.size()}};
        }),
    };
}

ToolDef saveProjectTool(MCPTools& tools) {
    return {
        "save_project",
        "Save the project as JSON. Defaults to the current file, or ~/Music/Velmo/<name>.velmo.json.",
        O({{"path", P("string", "File path (~ allowed). Optional.")}}, {}),
        false,
        immediate([&tools = tools](const ToolArgs& arguments) -> ToolValue {
            Studio& studio = tools.studio();
            const auto to = tools.resolvePath(arguments.string("path"), studio.fileURL(), "velmo.json");
            studio.save(to);
            return json{{"saved", to.string()}};
        }),
    };
}

ToolDef openProjectTool(MCPTools& tools) {
    return {
        "open_project",
        "Open a previously saved project JSON file.",
        O({{"path", P("string", "File path (~ allowed)")}}, {"path"}),
        false,
        immediate([&tools = tools](const ToolArgs& arguments) -> ToolValue {
            Studio& studio = tools.studio();
            // Counting a mistyped path as absent would open the default file over the song.
            if (const json* path = arguments.value("path"); path && !path->is_string())
                throw StudioError("'path' must be a string: the file to open.");
            // Without a path this is the default file of the current name, as a save would write it.
            const std::vector<std::string> warnings =
                studio.open(tools.resolvePath(arguments.string("path"), std::nullopt, "velmo.json", MCPTools::PathUse::read));
            json view = projectView(studio, false);
            if (!warnings.empty()) view["warnings"] = warnings;
            return view;
        }),
    };
}

} // namespace velmo
