// The note tools that place clips and write, remove and audition notes. Every handler reads and
// checks all of its arguments before its first edit, so a failing call leaves the song as it was.
#include "server/NoteTools.h"

#include "Studio/Studio.h"
#include "server/JSONViews.h"
#include "server/MCPTools.h"
#include "server/ToolGroups.h"
#include "server/ToolSchema.h"
#include "theory/NoteNames.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velmo {

using namespace schema;
using nlohmann::json;

namespace {

constexpr double kDefaultDuration = 0.5;     // beats
constexpr double kDefaultVelocity = 0.8;
constexpr double kOverhangAllowance = 0.25;  // beats a note may run past its clip before it grows
constexpr std::int64_t kMaxCopies = 64;

double latestEnd(const std::vector<Note>& notes) {
    double end = 0;
    for (const Note& note : notes) end = std::max(end, note.start + note.duration);
    return end;
}

const Clip& clipAt(const Studio& studio, const std::string& id) {
    const Clip* clip = studio.clip(id);
    VELMO_PRECONDITION(clip != nullptr, "note tool read-back");
    return *clip;
}

} // namespace

std::optional<int> pitchArgument(const ToolArgs& arguments, const std::string& key) {
    const json* value = arguments.value(key);
    if (!value) return std::nullopt;
    // Counted as absent, a mistyped filter would match every note.
    return MusicTheory::parsePitch(*value);
}

void keepWithinSong(Note& note) {
    note.start = std::min(note.start, kFarthestBeat);
    note.duration = std::min(note.duration, kFarthestBeat);
}

double wholeBars(double end, int beatsPerBar) {
    const double bar = static_cast<double>(beatsPerBar);
    return bar * std::ceil(end / bar);
}

std::vector<Note> parseNotes(const json* value, double defaultDuration) {
    if (!value || !value->is_array())
        throw StudioError("'notes' must be an array of {pitch, start, duration?, velocity?}.");
    std::vector<Note> notes;
    notes.reserve(value->size());
    for (std::size_t i = 0; i < value->size(); ++i) {
        const json& element = (*value)[i];
        const std::string at = "notes[" + std::to_string(i) + "]";
        if (!element.is_object()) throw StudioError(at + " must be an object.");
        const ToolArgs fields(element);
        const json* pitch = fields.value("pitch");
        if (!pitch) throw StudioError(at + " is missing 'pitch'.");
        Note note;
        note.pitch = MusicTheory::parsePitch(*pitch);
        const std::optional<double> start = fields.num("start");
        if (!start || *start < 0) throw StudioError(at + " needs a non-negative 'start' (beats).");
        note.start = *start;
        note.duration = fields.num("duration").value_or(defaultDuration);
        if (!(note.duration > 0)) throw StudioError(at + " duration must be > 0.");
        note.velocity = std::clamp(fields.num("velocity").value_or(kDefaultVelocity), 0.0, 1.0);
        keepWithinSong(note);
        notes.push_back(note);
    }
    return notes;
}

json insertNotes(Studio& studio, const json* clipRef, std::vector<Note> notes, bool replace) {
    for (Note& note : notes) keepWithinSong(note);
    const ClipLocation at = studio.clipLocation(clipRef);
    const std::string id = studio.project().tracks[at.track].clips[at.clip].id;
    const double length = studio.project().tracks[at.track].clips[at.clip].length;
    const double end = latestEnd(notes);
    if (length + kOverhangAllowance < end) {
        const double grown = wholeBars(end, studio.project().beatsPerBar);
        studio.updateClip(id, std::nullopt, [&](Clip& clip) { clip.length = grown; });
    }
    const std::size_t added = notes.size();
    studio.editNotes(id, std::nullopt, [&](NoteList& list, double) {
        if (replace) list.clear();
        for (Note& note : notes) list.push_back(std::move(note));
    });
    const Clip& clip = clipAt(studio, id);
    return {{"clip", id}, {"added", added}, {"note_count", clip.notes.size()}, {"clip_length", clip.length}};
}

ToolDef addClipTool(MCPTools& tools) {
    return {
        "add_clip",
        "Create a clip on a track's timeline, optionally with notes. Returns the clip id. Defaults: starts after "
        "the track's last clip, 4 bars long.",
        O({{"track", trackRef()},
           {"start", P("number", "Start beat on the timeline")},
           {"length", P("number", "Length in beats (4/4 bar = 4)")},
           {"name", P("string", "Clip name")},
           {"notes", A(noteSchema(), "Initial notes")}},
          {"track"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const std::size_t track = studio.trackIndex(arguments.value("track"));
            std::vector<Note> notes;
            if (const json* given = arguments.value("notes")) notes = parseNotes(given, kDefaultDuration);
            std::optional<double> length = arguments.num("length");
            if (!length && !notes.empty()) {
                // Long enough for every note, and never shorter than the four bars of an empty clip.
                const int bar = studio.project().beatsPerBar;
                length = std::max(4.0 * bar, wholeBars(latestEnd(notes), bar));
            }
            const std::string id =
                studio.addClip(track, arguments.num("start"), length, arguments.string("name"), std::move(notes));
            return clipJSON(clipAt(studio, id), false);
        }),
    };
}

ToolDef updateClipTool(MCPTools& tools) {
    return {
        "update_clip",
        "Move, resize, rename a clip, or move it to another track.",
        O({{"clip", P("string", "Clip id")},
           {"start", P("number", "New start beat")},
           {"length", P("number", "New length in beats")},
           {"name", P("string", "New name")},
           {"track", trackRef()}},
          {"clip"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const std::optional<std::string> id = arguments.string("clip");
            if (!id) throw StudioError("Missing clip.");
            if (arguments.value("track") || arguments.value("start")) {
                std::optional<std::size_t> toTrack;
                if (const json* track = arguments.value("track")) toTrack = studio.trackIndex(track);
                const ClipLocation at = studio.clipLocation(arguments.value("clip"));
                const double start =
                    arguments.num("start").value_or(studio.project().tracks[at.track].clips[at.clip].start);
                studio.moveClip(*id, start, toTrack);
            }
            // The Studio keeps the quarter-beat floor; the tool adds no clamp of its own.
            const std::optional<double> length = arguments.num("length");
            const std::optional<std::string> name = arguments.string("name");
            studio.updateClip(*id, std::nullopt, [&](Clip& clip) {
                if (length) clip.length = *length;
                if (name) clip.name = *name;
            });
            return clipJSON(clipAt(studio, *id), false);
        }),
    };
}

ToolDef duplicateClipTool(MCPTools& tools) {
    return {
        "duplicate_clip",
        "Copy a clip. By default the copy is placed right after the original; use times to make several "
        "back-to-back copies (e.g. to repeat a 4-bar loop).",
        O({{"clip", P("string", "Clip id")},
           {"start", P("number", "Start beat for the (first) copy")},
           {"track", trackRef()},
           {"times", P("integer", "Number of copies (default 1, max 64)")}},
          {"clip"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const std::string id = arguments.string("clip").value_or("");
            const Clip* source = studio.clip(id);
            if (!source) throw StudioError("No clip '" + id + "'.");
            const double sourceLength = source->length;
            std::optional<std::size_t> toTrack;
            if (const json* track = arguments.value("track")) toTrack = studio.trackIndex(track);
            // Where the first copy lands, so that the others follow it without overlapping.
            double position = std::max(arguments.num("start").value_or(source->end()), 0.0);
            const std::int64_t copies = std::clamp<std::int64_t>(arguments.integer("times").value_or(1), 1, kMaxCopies);

            json ids = json::array();
            double end = position;
            for (std::int64_t i = 0; i < copies; ++i) {
                const std::string made = studio.duplicateClip(id, position, toTrack);
                // Where the copy ended up: the Studio keeps clips within the song's farthest beat.
                end = studio.clip(made)->end();
                ids.push_back(made);
                position += sourceLength;
            }
            return json{{"clip_ids", std::move(ids)}, {"ends_at_beat", end}};
        }),
    };
}

ToolDef removeClipTool(MCPTools& tools) {
    return {
        "remove_clip",
        "Delete a clip.",
        O({{"clip", P("string", "Clip id")}}, {"clip"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const ClipLocation at = studio.clipLocation(arguments.value("clip"));
            const std::string id = studio.project().tracks[at.track].clips[at.clip].id;
            studio.removeClip(id);
            return json{{"removed", id}};
        }),
    };
}

ToolDef addNotesTool(MCPTools& tools) {
    return {
        "add_notes",
        "Add notes to a clip (times in beats relative to the clip start). The clip grows to fit if needed. Set "
        "replace to clear existing notes first.",
        O({{"clip", P("string", "Clip id")},
           {"notes", A(noteSchema(), "Notes to add")},
           {"replace", P("boolean", "Remove existing notes first (default false)")}},
          {"clip", "notes"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            // Bad notes are reported before a bad clip id.
            std::vector<Note> notes = parseNotes(arguments.value("notes"), kDefaultDuration);
            return insertNotes(studio, arguments.value("clip"), std::move(notes),
                               arguments.boolean("replace").value_or(false));
        }),
    };
}

ToolDef removeNotesTool(MCPTools& tools) {
    return {
        "remove_notes",
        "Remove notes from a clip. With no filters, clears the clip. Filters combine: pitch (exact), "
        "pitch_min/pitch_max, and a start-time window [from, to).",
        O({{"clip", P("string", "Clip id")},
           {"pitch", pitchRef()},
           {"pitch_min", pitchRef()},
           {"pitch_max", pitchRef()},
           {"from", P("number", "Start of time window (beats)")},
           {"to", P("number", "End of time window (beats, exclusive)")}},
          {"clip"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const std::optional<int> pitch = pitchArgument(arguments, "pitch");
            const int pitchMin = pitchArgument(arguments, "pitch_min").value_or(0);
            const int pitchMax = pitchArgument(arguments, "pitch_max").value_or(127);
            // Starts are never negative, so the default window takes every note.
            const double from = arguments.num("from").value_or(-1.0);
            const double to = arguments.num("to").value_or(std::numeric_limits<double>::infinity());

            const ClipLocation at = studio.clipLocation(arguments.value("clip"));
            const std::string id = studio.project().tracks[at.track].clips[at.clip].id;
            std::size_t removed = 0;
            studio.editNotes(id, std::nullopt, [&](NoteList& notes, double) {
                removed = notes.eraseIf([&](const Note& n) {
                    return (!pitch || n.pitch == *pitch) && n.pitch >= pitchMin && n.pitch <= pitchMax &&
                           n.start >= from && n.start < to;
                });
            });
            return json{{"removed", removed}, {"note_count", clipAt(studio, id).notes.size()}, {"clip", id}};
        }),
    };
}

ToolDef playNotesTool(MCPTools& tools) {
    return {
        "play_notes",
        "Audition notes on a track immediately (works while stopped). Times are in beats from now at the current "
        "tempo. Useful to let the user hear a sound or idea without writing it to a clip.",
        O({{"track", trackRef()}, {"notes", A(noteSchema(), "Notes to play")}}, {"track", "notes"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const std::size_t track = studio.trackIndex(arguments.value("track"));
            const std::vector<Note> notes = parseNotes(arguments.value("notes"), kDefaultDuration);
            const double secondsPerBeat = 60.0 / studio.project().tempo;
            std::vector<EngineCommand::AuditionNote> sounding;
            sounding.reserve(notes.size());
            double seconds = 0;
            for (const Note& note : notes) {
                sounding.push_back({secondsPerBeat * note.start, note.pitch, note.velocity,
                                    secondsPerBeat * note.duration});
                seconds = std::max(seconds, secondsPerBeat * (note.start + note.duration));
            }
            studio.audition(studio.project().tracks[track].id, std::move(sounding));
            return json{{"playing", notes.size()}, {"seconds", roundTo(seconds, 4)}};
        }),
    };
}

} // namespace velmo
