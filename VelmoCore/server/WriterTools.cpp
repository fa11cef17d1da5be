// The two writers that turn a compact musical description into many notes: chord symbols into
// voiced, strummed or arpeggiated chords, and step strings into drum hits. The tools read the
// arguments; the music is theory/ChordWriter and theory/StepPattern. Everything is computed
// first and the clip touched only at the end, so a bad chord or lane changes nothing.
#include "Studio/Studio.h"
#include "base/Rand.h"
#include "base/UserError.h"
#include "server/MCPTools.h"
#include "server/NoteTools.h"
#include "server/ToolGroups.h"
#include "server/ToolSchema.h"
#include "theory/ChordWriter.h"
#include "theory/NoteNames.h"
#include "theory/StepPattern.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmo {

using namespace schema;
using nlohmann::json;

namespace {

// Octaves beyond this range already clamp every chord tone to 0 or 127, so clamping the argument
// changes no result and keeps the pitch arithmetic inside int.
constexpr std::int64_t kOctaveLimit = 20;
constexpr std::int64_t kInversionLimit = 1000;

// The clip named by the `clip` argument, or the failure an agent reads. An id that is not a
// string reads as empty.
std::string requireClip(const Studio& studio, const ToolArgs& arguments) {
    const std::string id = arguments.string("clip").value_or("");
    if (!studio.clip(id)) throw StudioError("No clip '" + id + "'.");
    return id;
}

int clampedInt(std::int64_t value, std::int64_t limit) {
    return static_cast<int>(std::clamp<std::int64_t>(value, -limit, limit));
}

// ---- add_chords

const char* const kProgressionItemError = "Each progression item must be a chord symbol string or {symbol, ...}.";

// Any other word arpeggiates upwards, as "arp_up" does.
MusicTheory::ChordStyle chordStyle(const std::string& word) {
    using enum MusicTheory::ChordStyle;
    if (word == "block") return block;
    if (word == "strum") return strum;
    if (word == "arp_down") return arpDown;
    if (word == "arp_updown") return arpUpDown;
    if (word == "arp_random") return arpRandom;
    return arpUp;
}

// The `progression` argument: a text of chord pieces, or an array of pieces and objects whose
// fields override the defaults. Each chord starts where the one before it ended unless its
// object gives a start.
std::vector<MusicTheory::ChordEvent> readProgression(const json* progression, double position,
                                                     const MusicTheory::ChordEvent& defaults) {
    if (progression && progression->is_string())
        return MusicTheory::parseProgression(progression->get_ref<const std::string&>(), position, defaults);
    if (!progression || !progression->is_array())
        throw StudioError("'progression' must be a string like \"Am F C G\" or an array.");

    std::vector<MusicTheory::ChordEvent> chords;
    for (const json& item : *progression) {
        if (item.is_string()) {
            chords.push_back(MusicTheory::chordPiece(item.get_ref<const std::string&>(), position, defaults));
        } else {
            const ToolArgs fields(item);
            auto symbol = fields.string("symbol");
            if (!symbol) throw StudioError(kProgressionItemError);
            MusicTheory::ChordEvent chord = defaults;
            chord.symbol = *symbol;
            // A negative start would put the chord where no clip plays it.
            if (auto start = fields.num("start")) position = std::max(*start, 0.0);
            chord.start = position;
            chord.duration = fields.num("duration").value_or(defaults.duration);
            if (auto octave = fields.integer("octave")) chord.octave = clampedInt(*octave, kOctaveLimit);
            if (auto inversion = fields.integer("inversion")) chord.inversion = clampedInt(*inversion, kInversionLimit);
            if (auto velocity = fields.num("velocity")) chord.velocity = std::clamp(*velocity, 0.0, 1.0);
            chords.push_back(std::move(chord));
        }
        position += chords.back().duration;
    }
    return chords;
}

} // namespace

ToolDef addChordsTool(MCPTools& tools) {
    json progression = {{"type", {"string", "array"}},
                        {"items", {{"type", {"string", "object"}}}},
                        {"description", "Chord symbols string or array of chord objects"}};
    return {
        "add_chords",
        "Write a chord progression into a clip from chord symbols. Supports "
        "major/minor/7/maj7/m7/dim/dim7/m7b5/aug/sus2/sus4/6/9/maj9/m9/add9/11/13/7b9/7#9 and slash chords (C/E). "
        "progression is a string like \"Am7 D7 Gmaj7 Cmaj7\" (optionally \"Am7:2\" for 2 beats) or an array of "
        "{symbol, start?, duration?, octave?, inversion?, velocity?}. style: block (default), strum, arp_up, arp_down, "
        "arp_updown, or arp_random. Chords are voiced around the given octave.",
        O({{"clip", P("string", "Clip id")},
           {"progression", progression},
           {"beats_per_chord", P("number", "Default chord length in beats (default: one bar)")},
           {"start", P("number", "Beat in the clip where the progression starts (default 0)")},
           {"octave", P("integer", "Root octave (default 4, i.e. around middle C)")},
           {"velocity", P("number", "0..1 (default 0.7)")},
           {"style", E({"block", "strum", "arp_up", "arp_down", "arp_updown", "arp_random"}, "Rhythm style")},
           {"rate", P("number", "Arpeggio step in beats (default 0.25 = 16ths); strum spread in beats (default 0.03)")},
           {"voice_lead", P("boolean", "Choose inversions that minimize movement between chords (default true)")},
           {"bass", P("boolean", "Add the root an octave below (default false)")},
           {"replace", P("boolean", "Clear the clip first (default false)")}},
          {"clip", "progression"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const std::string id = requireClip(studio, arguments);

            MusicTheory::ChordEvent defaults;
            defaults.duration = arguments.num("beats_per_chord").value_or(double(studio.project().beatsPerBar));
            if (auto octave = arguments.integer("octave")) defaults.octave = clampedInt(*octave, kOctaveLimit);
            defaults.velocity = std::clamp(arguments.num("velocity").value_or(defaults.velocity), 0.0, 1.0);
            MusicTheory::ChordPlaying playing;
            playing.style = chordStyle(arguments.string("style").value_or("block"));
            playing.voiceLead = arguments.boolean("voice_lead") != false;
            playing.bass = arguments.boolean("bass") == true;
            const double start = std::max(arguments.num("start").value_or(0.0), 0.0);

            const auto chords = readProgression(arguments.value("progression"), start, defaults);
            if (chords.empty()) throw StudioError("Empty progression.");
            const bool strummed = playing.style == MusicTheory::ChordStyle::strum;
            playing.rate = arguments.num("rate").value_or(strummed ? MusicTheory::kDefaultStrumSpread
                                                                   : MusicTheory::kDefaultArpeggioStep);
            // One step of the shared seed per call, drawn or not, so that a call's randomness
            // depends only on how many calls came before it.
            Rand random = Rand::make();
            auto written = MusicTheory::writeProgression(chords, playing, random);

            const json clipRef = id;
            json result = insertNotes(studio, &clipRef, std::move(written.notes), arguments.boolean("replace") == true);
            result["voicings"] = std::move(written.voicings);
            return result;
        }),
    };
}

ToolDef addDrumPatternTool(MCPTools& tools) {
    return {
        "add_drum_pattern",
        "Write a step-sequenced drum pattern into a clip. pattern maps a drum (kick, snare, clap, rim, hat, open_hat, "
        "pedal_hat, tom_low, tom_mid, tom_hi, crash, ride, cowbell, or a MIDI note) to a step string: 'x' hit, 'X' "
        "accent, 'o' ghost, '.' or '-' rest; spaces and '|' are ignored. Example (16ths): {\"kick\": "
        "\"x...x...x...x...\", \"snare\": \"....X.......X...\", \"hat\": \"x.x.x.x.x.x.x.x.\"}. Patterns repeat to "
        "fill the clip unless repeat=false.",
        O({{"clip", P("string", "Clip id")},
           {"pattern",
            {{"type", "object"}, {"additionalProperties", {{"type", "string"}}}, {"description", "drum → step string"}}},
           {"steps_per_beat",
            P("integer", "Step resolution: 4 = 16th notes (default), 2 = 8ths, 3 = 8th triplets, 6 = 16th triplets")},
           {"start", P("number", "Beat in the clip where the pattern starts (default 0)")},
           {"repeat", P("boolean", "Tile to the end of the clip (default true)")},
           {"swing", P("number", "0..0.5 delays every second step (0.15 = light shuffle)")},
           {"velocity", P("number", "Base velocity for 'x' (default 0.8)")},
           {"replace", P("boolean", "Clear the clip first (default false)")}},
          {"clip", "pattern"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const std::string id = requireClip(studio, arguments);
            const json* pattern = arguments.value("pattern");
            if (!pattern || !pattern->is_object() || pattern->empty())
                throw StudioError("'pattern' must map drum names to step strings.");

            const std::int64_t perBeat = std::clamp<std::int64_t>(arguments.integer("steps_per_beat").value_or(4), 1, 16);
            MusicTheory::StepGrid grid;
            grid.step = 1.0 / static_cast<double>(perBeat);
            // A negative start would put hits where no clip plays them.
            grid.start = std::max(arguments.num("start").value_or(0.0), 0.0);
            grid.repeat = arguments.boolean("repeat") != false;
            grid.swing = std::clamp(arguments.num("swing").value_or(0.0), 0.0, 0.5);
            grid.velocity = std::clamp(arguments.num("velocity").value_or(grid.velocity), 0.0, 1.0);
            grid.span = studio.clip(id)->length - grid.start;

            std::vector<Note> notes;
            json lanes = json::array();
            // The object keeps its keys sorted: lanes go in ascending key order.
            for (const auto& [key, value] : pattern->items()) {
                if (!value.is_string()) throw StudioError("Pattern for '" + key + "' must be a string.");
                const int note = MusicTheory::parsePitch(key);
                if (auto hits = MusicTheory::writeLane(note, value.get_ref<const std::string&>(), grid, key, notes))
                    lanes.push_back(key + "→" + std::to_string(note) + " (" + std::to_string(*hits) + " hits)");
            }

            const json clipRef = id;
            json result = insertNotes(studio, &clipRef, std::move(notes), arguments.boolean("replace") == true);
            result["lanes"] = std::move(lanes);
            return result;
        }),
    };
}

} // namespace velmo
