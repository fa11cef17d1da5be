// `transform_notes`: the bulk edit of a clip's notes. The operations run in a fixed order
// (pitch, scale, stretch, shift, quantize, legato, reverse, velocity, humanize) on a subset chosen
// once, before anything moves, so a window never picks up notes that an earlier step moved into it.
#include "Studio/Studio.h"
#include "server/JSONViews.h"
#include "server/MCPTools.h"
#include "server/NoteTools.h"
#include "server/ToolGroups.h"
#include "server/ToolSchema.h"
#include "base/Rand.h"
#include "theory/Scales.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velmo {

using namespace schema;
using nlohmann::json;

namespace {

constexpr double kHumanizeSeconds = 0.02;     // timing spread at humanize 1, either way
constexpr double kHumanizeVelocity = 0.12;    // velocity spread at humanize 1, either way
constexpr double kOnsetEpsilon = 1e-6;        // beats: starts closer than this are one onset
constexpr double kGrowthEpsilon = 1e-9;       // beats a transformed note may overhang its clip
constexpr double kMinDuration = 0.01;         // beats
constexpr double kMinVelocity = 0.01;         // a transformed note never falls silent
// Transposition past this is the same as at it: any pitch then clamps to an end of 0..127.
constexpr std::int64_t kMaxSemitones = 1000;

// Everything the call asked for, read and checked before the clip is touched.
struct Transform {
    int pitchMin = 0;
    int pitchMax = 127;
    double from = -std::numeric_limits<double>::infinity();
    double to = std::numeric_limits<double>::infinity();
    int semitones = 0;
    std::optional<MusicTheory::Scale> scale;
    std::optional<double> stretch, shift, quantize;
    double quantizeStrength = 1;
    bool legato = false, reverse = false;
    std::optional<double> velocityScale, velocityAdd, velocitySet;
    double humanize = 0;
    double humanizeBeats = 0;  // kHumanizeSeconds at the project's tempo
};

Transform readTransform(const ToolArgs& arguments, double tempo) {
    Transform t;
    t.pitchMin = pitchArgument(arguments, "pitch_min").value_or(0);
    t.pitchMax = pitchArgument(arguments, "pitch_max").value_or(127);
    t.from = arguments.num("from").value_or(t.from);
    t.to = arguments.num("to").value_or(t.to);
    if (auto scale = arguments.string("scale")) t.scale = MusicTheory::parseScale(*scale);

    const auto semis = [&](const char* key) {
        return std::clamp<std::int64_t>(arguments.integer(key).value_or(0), -kMaxSemitones, kMaxSemitones);
    };
    t.semitones = static_cast<int>(semis("transpose") + 12 * semis("octave"));
    t.stretch = arguments.num("stretch");
    t.shift = arguments.num("shift");
    t.quantize = arguments.num("quantize");
    t.quantizeStrength = std::clamp(arguments.num("quantize_strength").value_or(1.0), 0.0, 1.0);
    t.legato = arguments.boolean("legato").value_or(false);
    t.reverse = arguments.boolean("reverse").value_or(false);
    t.velocityScale = arguments.num("velocity_scale");
    t.velocityAdd = arguments.num("velocity_add");
    t.velocitySet = arguments.num("velocity_set");
    t.humanize = std::clamp(arguments.num("humanize").value_or(0), 0.0, 1.0);
    t.humanizeBeats = tempo * kHumanizeSeconds / 60.0;
    return t;
}

// Huge stretches and shifts stay within the song.
double farClamped(double beats) { return std::clamp(beats, -kFarthestBeat, kFarthestBeat); }

// Pitch, scale, stretch, shift and quantize: each note on its own.
void moveNote(Note& note, const Transform& t) {
    note.pitch = std::clamp(note.pitch + t.semitones, 0, 127);
    if (t.scale) note.pitch = std::clamp(MusicTheory::snap(note.pitch, t.scale->root, t.scale->intervals), 0, 127);
    if (t.stretch && *t.stretch > 0) {
        note.start = farClamped(note.start * *t.stretch);
        note.duration = farClamped(note.duration * *t.stretch);
    }
    if (t.shift) note.start = std::max(farClamped(note.start + *t.shift), 0.0);
    if (t.quantize && *t.quantize > 0) {
        const double grid = *t.quantize;
        note.start += (std::round(note.start / grid) * grid - note.start) * t.quantizeStrength;
    }
}

// Each note of the subset runs to the next later onset of the subset, so a chord's notes all end
// together; the last onset's notes run at least to the end of the clip.
void applyLegato(NoteList& notes, const std::vector<std::size_t>& subset, double clipLength) {
    std::vector<double> onsets;
    onsets.reserve(subset.size());
    for (std::size_t i : subset) onsets.push_back(notes[i].start);
    std::sort(onsets.begin(), onsets.end());
    onsets.erase(std::unique(onsets.begin(), onsets.end()), onsets.end());
    for (std::size_t i : subset) {
        Note& note = notes.mut(i);
        auto next = std::upper_bound(onsets.begin(), onsets.end(), note.start + kOnsetEpsilon);
        if (next != onsets.end()) note.duration = *next - note.start;
        else note.duration = std::max(note.duration, clipLength - note.start);
    }
}

// Mirrors the subset in time within the span it covers, so its first start and last end stay.
void applyReverse(NoteList& notes, const std::vector<std::size_t>& subset) {
    double lo = std::numeric_limits<double>::infinity();
    double hi = -std::numeric_limits<double>::infinity();
    for (std::size_t i : subset) {
        lo = std::min(lo, notes[i].start);
        hi = std::max(hi, notes[i].start + notes[i].duration);
    }
    for (std::size_t i : subset) {
        Note& note = notes.mut(i);
        note.start = lo + (hi - (note.start + note.duration));
    }
}

// Velocity changes, then humanize with two draws per note (time, then velocity), then the floors.
void applyVelocity(Note& note, const Transform& t, Rand& rand) {
    double v = note.velocity;
    if (t.velocityScale) v *= *t.velocityScale;
    if (t.velocitySet) v = *t.velocitySet;
    else if (t.velocityAdd) v += *t.velocityAdd;
    if (t.humanize > 0) {
        const double timing = rand.bipolar();
        note.start = std::max(farClamped(note.start + t.humanizeBeats * t.humanize * timing), 0.0);
        const double level = rand.bipolar();
        v += level * kHumanizeVelocity * t.humanize;
    }
    note.duration = std::max(note.duration, kMinDuration);
    note.velocity = std::clamp(v, kMinVelocity, 1.0);
}

} // namespace

ToolDef transformNotesTool(MCPTools& tools) {
    return {
        "transform_notes",
        "Edit notes in a clip in bulk. Operations apply in this order: transpose/octave, scale snap, stretch, "
        "shift, quantize, legato, reverse, velocity, humanize. Limit to a subset with pitch_min/pitch_max/from/to.",
        O({{"clip", P("string", "Clip id")},
           {"transpose", P("integer", "Semitones")},
           {"octave", P("integer", "Octaves")},
           {"scale", P("string", "Snap pitches to a scale, e.g. \"C minor\", \"F# dorian\", \"A minor_pentatonic\"")},
           {"stretch", P("number", "Multiply start times and durations (2 = half speed)")},
           {"shift", P("number", "Move notes by beats")},
           {"quantize", P("number", "Grid in beats (0.25 = 16ths)")},
           {"quantize_strength", P("number", "0..1 (default 1)")},
           {"legato", P("boolean", "Extend each note to the next note start")},
           {"reverse", P("boolean", "Reverse note order in time")},
           {"velocity_scale", P("number", "Multiply velocities")},
           {"velocity_add", P("number", "Add to velocities")},
           {"velocity_set", P("number", "Set all velocities")},
           {"humanize", P("number", "0..1 random timing (±20 ms-ish at 1) and velocity variation")},
           {"pitch_min", pitchRef()},
           {"pitch_max", pitchRef()},
           {"from", P("number", "Window start beat")},
           {"to", P("number", "Window end beat")}},
          {"clip"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const std::string id = arguments.string("clip").value_or("");
            if (!studio.clip(id)) throw StudioError("No clip '" + id + "'.");
            const Transform t = readTransform(arguments, studio.project().tempo);

            // Every call moves the shared seed, humanizing or not, so two humanized calls in a row
            // never repeat each other.
            Rand rand = Rand::make();

            std::size_t changed = 0;
            studio.editNotes(id, std::nullopt, [&](NoteList& notes, double clipLength) {
                std::vector<std::size_t> subset;
                for (std::size_t i = 0; i < notes.size(); ++i) {
                    const Note& n = notes[i];
                    if (n.pitch >= t.pitchMin && n.pitch <= t.pitchMax && t.from <= n.start && n.start < t.to)
                        subset.push_back(i);
                }
                changed = subset.size();
                if (subset.empty()) return;
                for (std::size_t i : subset) moveNote(notes.mut(i), t);
                if (t.legato) applyLegato(notes, subset, clipLength);
                if (t.reverse) applyReverse(notes, subset);
                for (std::size_t i : subset) applyVelocity(notes.mut(i), t, rand);
            });

            // A call that touched no note leaves the clip alone, even one its notes already overhang.
            const Clip* clip = studio.clip(id);
            if (changed > 0) {
                double end = 0;
                for (const Note& n : clip->notes) end = std::max(end, n.start + n.duration);
                if (end > clip->length + kGrowthEpsilon) {
                    const double grown = wholeBars(end, studio.project().beatsPerBar);
                    studio.updateClip(id, std::nullopt, [&](Clip& c) { c.length = grown; });
                    clip = studio.clip(id);
                }
            }
            return json{{"clip", id},
                        {"notes_changed", changed},
                        {"note_count", clip->notes.size()},
                        {"clip_length", clip->length}};
        }),
    };
}

} // namespace velmo
