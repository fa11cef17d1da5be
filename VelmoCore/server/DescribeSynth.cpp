// The sound-design reference an agent reads before it calls set_synth or add_effect. Everything
// in it comes from the catalogs, so a parameter added there shows up here without an edit.
#include "catalog/EffectCatalog.h"
#include "catalog/Presets.h"
#include "catalog/SynthCatalog.h"
#include "server/MCPTools.h"
#include "theory/DrumMap.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <map>
#include <vector>

namespace velmo {

namespace {

// Whole numbers below a million print plainly ("20000"); anything else as C's "%g" does
// ("0.0625", "1e+06"). to_chars rather than snprintf: the C library would take the decimal
// separator from the process locale, which a desktop toolkit sets from the user's environment.
std::string fmt(double x) {
    if (x == std::trunc(x) && std::abs(x) < 1000000) return std::to_string(static_cast<long long>(x));
    char buffer[64];
    auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, x, std::chars_format::general, 6);
    return error == std::errc() ? std::string(buffer, end) : std::string();
}

std::string_view engineText(EngineKind engine) {
    static constexpr std::array<std::string_view, 7> texts{
        "Virtual-analog subtractive: 2 band-limited oscillators (sine/triangle/saw/square/pulse/noise), sub osc, "
        "noise, up to 7-voice unison.",
        "Morphing band-limited wavetables (basic, pwm, vocal, sweep, digital, organ) with position modulation and "
        "unison.",
        "4-operator phase-modulation FM with 8 algorithms, per-operator envelopes and operator-4 feedback.",
        "16-partial additive synthesis with drawbar harmonics, brightness tilt, even/odd balance and inharmonic "
        "stretch.",
        "Karplus-Strong physical model of a plucked string (brightness, damping, decay, pick position).",
        "Modal resonator bank for struck objects: bar (marimba), bell, glass, membrane, string, tube.",
        "Synthesized drum kit mapped to General MIDI notes (36 kick, 38 snare, 39 clap, 42 closed hat, 46 open hat, "
        "toms, crash, ride, cowbell).",
    };
    return texts[static_cast<std::size_t>(engine)];
}

std::string joined(const std::vector<std::string>& items, std::string_view separator = ", ") {
    std::string out;
    for (const auto& item : items) {
        if (!out.empty()) out += separator;
        out += item;
    }
    return out;
}

// "- filter.cutoff: number 20..20000 Hz (log)", then " - " and the help where the row has one.
std::string paramLine(const ParamInfo& row) {
    std::string line = "- " + row.path + ": ";
    if (const auto* choice = row.choice()) {
        line += "one of " + joined(choice->options);
    } else if (const auto* number = row.number()) {
        line += number->integer ? "integer " : "number ";
        line += fmt(number->min) + ".." + fmt(number->max);
        if (!number->unit.empty()) line += " " + number->unit;
        if (number->log) line += " (log)";
    } else {
        line += "boolean";
    }
    if (!row.help.empty()) line += " - " + row.help;
    return line + "\n";
}

std::string effectLine(EffectKind kind) {
    std::string line = "- " + std::string(toString(kind)) + ": " + std::string(EffectCatalog::summary(kind)) + ". Params: ";
    bool first = true;
    for (const auto& spec : EffectCatalog::specs(kind)) {
        if (!first) line += "; ";
        first = false;
        line += std::string(spec.name) + " " + fmt(spec.min) + ".." + fmt(spec.max);
        if (!spec.unit.empty()) line += " " + std::string(spec.unit);
        line += " (default " + fmt(spec.defaultValue) + ")";
        if (!spec.help.empty()) line += " [" + std::string(spec.help) + "]";
    }
    return line + "\n";
}

template <class E>
std::string enumList() {
    std::vector<std::string> names;
    for (E value : allCases<E>()) names.emplace_back(toString(value));
    return joined(names);
}

} // namespace

std::string MCPTools::describe(std::optional<EngineKind> engine) {
    std::string out = "# Velmo synth reference\n\n## Engines\n";
    for (EngineKind kind : allCases<EngineKind>())
        out += "- " + std::string(toString(kind)) + ": " + std::string(engineText(kind)) + "\n";

    out += "\n## Synth parameters (set_synth params paths)\n";
    std::string group;
    for (const auto& row : SynthCatalog::params()) {
        if (engine && row.engine && *row.engine != *engine) continue;
        const std::string tag = row.engine ? std::string(toString(*row.engine)) : "shared";
        if (tag != group) {
            group = tag;
            out += "\n### " + group + "\n";
        }
        out += paramLine(row);
    }

    out += "\nMod sources: " + enumList<ModSource>() + "\n";
    out += "Mod destinations: " + enumList<ModDestination>() + ". wavetablePosition also drives additive brightness.\n";

    out += "\n## Effects (add_effect / update_effect params)\n";
    for (EffectKind kind : allCases<EffectKind>()) out += effectLine(kind);

    out += "\n## Presets (add_track / set_synth preset)\n";
    for (EngineKind kind : allCases<EngineKind>()) {
        std::vector<std::string> names;
        for (const auto& preset : Presets::all())
            if (preset.patch.engine == kind) names.push_back(preset.name);
        if (names.empty()) continue;
        std::sort(names.begin(), names.end());
        out += "- " + std::string(toString(kind)) + ": " + joined(names) + "\n";
    }

    // A note's words are what an agent may write as a pitch; the label is what the editor shows.
    out += "\n## Drum map (drums engine)\n";
    std::map<int, std::vector<std::string>> words;
    for (const auto& word : MusicTheory::drumWords()) words[word.note].emplace_back(word.word);
    for (const auto& label : MusicTheory::drumLabels()) {
        out += "- " + std::to_string(label.note) + " " + std::string(label.label);
        if (auto found = words.find(label.note); found != words.end()) out += ": " + joined(found->second);
        out += "\n";
    }
    return out;
}

} // namespace velmo
