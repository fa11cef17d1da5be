// The two writers that turn a compact musical description into many notes: chord symbols into
// voiced, strummed or arpeggiated chords, and step strings into drum hits. Everything is parsed
// and computed first; the clip is touched only at the end, so a bad chord or lane changes nothing.
#include "Studio/Studio.h"
#include "base/NumberText.h"
#include "base/UserError.h"
#include "server/MCPTools.h"
#include "server/NoteTools.h"
#include "server/ToolGroups.h"
#include "server/ToolSchema.h"
#include "base/Rand.h"
#include "theory/MusicTheory.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmo {

using namespace schema;
using nlohmann::json;

namespace {

// More steps than this in one chord's arpeggio or one drum lane is a mistake (a rate of 1e-6, a
// clip of a million beats), not music: it is refused before anything is written, rather than
// filling memory or hanging the main queue.
constexpr double kMaxSteps = 100000;

// Step counts are floor(span / step); the tolerance keeps 0.3 / 0.1 at 3 steps, not 2.
constexpr double kStepTolerance = 1e-9;

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

struct ChordSpec {
    std::string symbol;
    double start = 0;
    double duration = 0;
    int octave = 4;
    std::optional<int> inversion;
    double velocity = 0.7;
};

struct ChordDefaults {
    double length = 4;
    int octave = 4;
    double velocity = 0.7;
};

const char* const kProgressionItemError = "Each progression item must be a chord symbol string or {symbol, ...}.";

// One piece of a progression string: "Am7" or "Am7:2" (two beats). Empty parts around ":" are
// dropped; a length that does not read as a number leaves the default.
ChordSpec parsePiece(std::string_view piece, double& position, const ChordDefaults& defaults) {
    std::vector<std::string_view> parts;
    std::size_t from = 0;
    while (from <= piece.size()) {
        std::size_t colon = piece.find(':', from);
        if (colon == std::string_view::npos) colon = piece.size();
        if (colon > from) parts.push_back(piece.substr(from, colon - from));
        from = colon + 1;
    }
    ChordSpec spec;
    spec.symbol = parts.empty() ? std::string() : std::string(parts[0]);
    spec.duration = defaults.length;
    if (parts.size() > 1) {
        if (auto length = parseNumber(parts[1]); length && std::isfinite(*length)) spec.duration = *length;
    }
    spec.start = position;
    spec.octave = defaults.octave;
    spec.velocity = defaults.velocity;
    position += spec.duration;
    return spec;
}

std::vector<ChordSpec> parseProgression(const json* progression, double position, const ChordDefaults& defaults) {
    std::vector<ChordSpec> chords;
    if (progression && progression->is_string()) {
        const std::string& text = progression->get_ref<const std::string&>();
        std::size_t i = 0;
        while (i < text.size()) {
            auto blank = [&](std::size_t at) { return std::isspace(static_cast<unsigned char>(text[at])) != 0; };
            while (i < text.size() && blank(i)) ++i;
            const std::size_t begin = i;
            while (i < text.size() && !blank(i)) ++i;
            if (i > begin) chords.push_back(parsePiece(std::string_view(text).substr(begin, i - begin), position, defaults));
        }
    } else if (progression && progression->is_array()) {
        for (const json& item : *progression) {
            if (item.is_string()) {
                chords.push_back(parsePiece(item.get_ref<const std::string&>(), position, defaults));
                continue;
            }
            if (!item.is_object()) throw StudioError(kProgressionItemError);
            const ToolArgs fields(item);
            auto symbol = fields.string("symbol");
            if (!symbol) throw StudioError(kProgressionItemError);
            ChordSpec spec;
            spec.symbol = *symbol;
            // A negative start would put the chord where no clip plays it.
            if (auto start = fields.num("start")) position = std::max(*start, 0.0);
            spec.start = position;
            spec.duration = fields.num("duration").value_or(defaults.length);
            spec.octave = fields.integer("octave") ? clampedInt(*fields.integer("octave"), kOctaveLimit) : defaults.octave;
            if (auto inversion = fields.integer("inversion")) spec.inversion = clampedInt(*inversion, kInversionLimit);
            spec.velocity = fields.num("velocity") ? std::clamp(*fields.num("velocity"), 0.0, 1.0) : defaults.velocity;
            position += spec.duration;
            chords.push_back(std::move(spec));
        }
    } else {
        throw StudioError("'progression' must be a string like \"Am F C G\" or an array.");
    }
    return chords;
}

std::string voicingText(const std::string& symbol, const std::vector<int>& pitches) {
    std::string text = symbol + ":";
    for (int pitch : pitches) text += " " + MusicTheory::noteName(pitch);
    return text;
}

// floor(span / rate), at least 1. A rate of 0 or below is not refused: it gives one step, as a
// negative quotient does. Absurd counts are refused.
std::int64_t stepCount(double span, double rate, const std::string& what, const std::string& advice) {
    if (!(rate > 0)) return 1;
    const double steps = std::floor(span / rate + kStepTolerance);
    if (!(steps >= 1)) return 1;
    if (steps > kMaxSteps) {
        throw StudioError(what + " would take " + std::to_string(std::int64_t(std::min(steps, 1e18))) +
                          " steps; the limit is " + std::to_string(std::int64_t(kMaxSteps)) + ". " + advice);
    }
    return static_cast<std::int64_t>(steps);
}

// The notes of one voiced chord in the given style, appended to `notes`.
void writeChord(const ChordSpec& chord, const std::vector<int>& voicing, const std::string& style, double rate,
                Rand& random, std::vector<Note>& notes) {
    if (style == "block") {
        for (int pitch : voicing) notes.push_back({pitch, chord.start, chord.duration, chord.velocity});
        return;
    }
    if (style == "strum") {
        for (std::size_t i = 0; i < voicing.size(); ++i) {
            const double offset = rate * static_cast<double>(i);
            double duration = chord.duration - offset;
            if (duration <= 0.05) duration = 0.05;
            notes.push_back({voicing[i], chord.start + offset, duration,
                             chord.velocity * (1 - 0.04 * static_cast<double>(i))});
        }
        return;
    }

    // Every other word arpeggiates; an unknown one goes up, as "arp_up" does.
    std::vector<int> ascending = voicing;
    std::sort(ascending.begin(), ascending.end());
    std::vector<int> order = ascending;
    if (style == "arp_down") {
        std::reverse(order.begin(), order.end());
    } else if (style == "arp_updown" && ascending.size() > 2) {
        // A B C D becomes A B C D C B: the turning points are not repeated.
        order.insert(order.end(), ascending.rbegin() + 1, ascending.rend() - 1);
    }
    const bool drawn = style == "arp_random";
    const std::int64_t steps =
        stepCount(chord.duration, rate, "The arpeggio of '" + chord.symbol + "'", "Use a larger 'rate'.");
    for (std::int64_t i = 0; i < steps; ++i) {
        int pitch = 0;
        if (drawn) {
            const auto count = static_cast<std::uint64_t>(ascending.size());
            pitch = ascending[static_cast<std::size_t>(static_cast<std::uint64_t>(random.unit() * double(count)) % count)];
        } else {
            pitch = order[static_cast<std::size_t>(i) % order.size()];
        }
        const double velocity = i % 2 == 0 ? chord.velocity : chord.velocity * 0.85;
        notes.push_back({pitch, chord.start + rate * static_cast<double>(i), rate * 0.9, velocity});
    }
}

// ---- add_drum_pattern

// The MIDI note of a lane key: a decimal integer is a note number, anything else a drum word or
// note name.
int laneNote(const std::string& key) {
    std::string_view digits = key;
    if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) digits.remove_prefix(1);
    const bool decimal = !digits.empty() && std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (decimal) {
        std::int64_t number = 0;
        auto [end, error] = std::from_chars(key.data() + (key.front() == '+' ? 1 : 0), key.data() + key.size(), number);
        if (error == std::errc() && end == key.data() + key.size()) return MusicTheory::parsePitch(json(number));
    }
    return MusicTheory::parsePitch(json(key));
}

// The steps of a step string, one per character. Blanks, "|", tabs and line feeds only separate
// bars and are dropped; a character beyond ASCII is one rest step, not one per byte.
std::vector<char> steps(const std::string& text) {
    std::vector<char> list;
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == ' ' || c == '|' || c == '\n' || c == '\t') continue;
        if ((byte & 0xC0) == 0x80) continue;  // continuation of the previous character
        list.push_back(byte < 0x80 ? c : '.');
    }
    return list;
}

// The velocity of one step character, or nothing for a rest.
std::optional<double> stepVelocity(char c, double base) {
    switch (c) {
    case 'X': case 'A': case '!': return std::min(base + 0.2, 1.0);
    case 'x': case '1': case '*': return base;
    case 'o': case 'g': return base * 0.5;
    default: return std::nullopt;
    }
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

            ChordDefaults defaults;
            defaults.length = arguments.num("beats_per_chord").value_or(double(studio.project().beatsPerBar));
            if (auto octave = arguments.integer("octave")) defaults.octave = clampedInt(*octave, kOctaveLimit);
            defaults.velocity = std::clamp(arguments.num("velocity").value_or(0.7), 0.0, 1.0);
            const std::string style = arguments.string("style").value_or("block");
            const bool voiceLead = arguments.boolean("voice_lead") != false;
            const bool bass = arguments.boolean("bass") == true;
            const double position = std::max(arguments.num("start").value_or(0.0), 0.0);

            const std::vector<ChordSpec> chords = parseProgression(arguments.value("progression"), position, defaults);
            if (chords.empty()) throw StudioError("Empty progression.");
            const double rate = arguments.num("rate").value_or(style == "strum" ? 0.03 : 0.25);
            // One step of the shared seed per call, drawn or not, so that a call's randomness
            // depends only on how many calls came before it.
            Rand random = Rand::make();

            std::vector<Note> notes;
            json voicings = json::array();
            std::vector<int> previous;
            for (const ChordSpec& chord : chords) {
                std::vector<int> voicing;
                if (chord.inversion) voicing = MusicTheory::chordPitches(chord.symbol, chord.octave, *chord.inversion);
                else if (!voiceLead || previous.empty()) voicing = MusicTheory::chordPitches(chord.symbol, chord.octave, 0);
                else voicing = MusicTheory::voiceLead(chord.symbol, chord.octave, previous);
                voicings.push_back(voicingText(chord.symbol, voicing));
                previous = voicing;

                if (bass) {
                    const std::string root = chord.symbol.substr(0, chord.symbol.find('/'));
                    const int lowest = *std::min_element(voicing.begin(), voicing.end());
                    int pitch = MusicTheory::chordPitches(root, chord.octave, 0).front() - 12;
                    while (pitch >= lowest) pitch -= 12;
                    notes.push_back({std::max(pitch, 0), chord.start, chord.duration, chord.velocity});
                }
                writeChord(chord, voicing, style, rate, random, notes);
            }

            const json clipRef = id;
            json result = insertNotes(studio, &clipRef, std::move(notes), arguments.boolean("replace") == true);
            result["voicings"] = std::move(voicings);
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
            const double step = 1.0 / static_cast<double>(perBeat);
            // A negative start would put hits where no clip plays them.
            const double start = std::max(arguments.num("start").value_or(0.0), 0.0);
            const bool repeat = arguments.boolean("repeat") != false;
            const double swing = std::clamp(arguments.num("swing").value_or(0.0), 0.0, 0.5);
            const double base = std::clamp(arguments.num("velocity").value_or(0.8), 0.0, 1.0);
            const double clipLength = studio.clip(id)->length;

            std::vector<Note> notes;
            json lanes = json::array();
            // The object keeps its keys sorted: lanes go in ascending key order.
            for (const auto& [key, value] : pattern->items()) {
                if (!value.is_string()) throw StudioError("Pattern for '" + key + "' must be a string.");
                const int note = laneNote(key);
                const std::vector<char> list = steps(value.get_ref<const std::string&>());
                if (list.empty()) continue;

                double total = step * static_cast<double>(list.size());
                if (repeat) total = std::max(total, clipLength - start);
                const std::int64_t count =
                    stepCount(total, step, "The lane '" + key + "'", "Use repeat=false or a shorter clip.");
                std::size_t hits = 0;
                for (std::int64_t i = 0; i < count; ++i) {
                    auto velocity = stepVelocity(list[static_cast<std::size_t>(i) % list.size()], base);
                    if (!velocity) continue;
                    // Swing counts steps from the pattern's start across tiles, not within one.
                    const double swung = i % 2 == 1 ? step * swing : 0.0;
                    notes.push_back({note, start + step * static_cast<double>(i) + swung, step * 0.9, *velocity});
                    ++hits;
                }
                lanes.push_back(key + "→" + std::to_string(note) + " (" + std::to_string(hits) + " hits)");
            }

            const json clipRef = id;
            json result = insertNotes(studio, &clipRef, std::move(notes), arguments.boolean("replace") == true);
            result["lanes"] = std::move(lanes);
            return result;
        }),
    };
}

} // namespace velmo
