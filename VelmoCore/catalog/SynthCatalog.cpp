#include "catalog/SynthCatalog.h"

#include "base/Precondition.h"
#include "catalog/JSONPath.h"
#include "model/SynthPatchJSON.h"

#include <algorithm>
#include <utility>

namespace velmo::SynthCatalog {

namespace {

constexpr const char* kPulseWidthHelp = "Pulse width for the pulse wave";
constexpr const char* kAlgorithmHelp =
    "1: 4>3>2>1  2: (3+4)>2>1  3: 4>3>1 + 2>1  4: 4>3, 2>1 (two stacks)  5: 4>(1,2,3)  "
    "6: 4>3, carriers 1,2,3  7: 4>3>(1,2)  8: all four carriers (organ)";
constexpr const char* kModAmountHelp =
    "Scaling at 1.0: pitch/osc2Pitch 12 st, cutoff 8 oct, resonance/volume/pan/wavetablePosition/fmAmount 1.0, "
    "pulseWidth 0.45, lfoRate 4 oct";

enum Scale : unsigned { linear = 0, logScale = 1, whole = 2 };

// Appends rows under the current section. The engine of a row follows from its path's first
// component, and its default from a fresh SynthPatch, so neither is written twice.
class TableBuilder {
public:
    std::string section;

    void number(std::string path, std::string label, double min, double max, std::string unit = {},
                unsigned scale = linear, std::string help = {}) {
        add(std::move(path), std::move(label),
            NumberParam{min, max, std::move(unit), (scale & logScale) != 0, (scale & whole) != 0}, std::move(help));
    }

    template <class E>
    void choice(std::string path, std::string label) {
        ChoiceParam kind;
        for (auto name : EnumNames<E>::names) kind.options.emplace_back(name);
        add(std::move(path), std::move(label), std::move(kind), {});
    }

    void toggle(std::string path, std::string label, std::string help) {
        add(std::move(path), std::move(label), ToggleParam{}, std::move(help));
    }

    std::vector<ParamInfo> finish() &&;

private:
    void add(std::string path, std::string label, ParamKind kind, std::string help) {
        rows_.push_back(ParamInfo{std::move(path), std::move(label), section, std::move(kind), std::nullopt,
                                  std::move(help), nullptr});
    }

    std::vector<ParamInfo> rows_;
};

std::optional<EngineKind> engineOf(const std::string& path) {
    auto prefix = path.substr(0, path.find('.'));
    return fromString<EngineKind>(prefix);
}

std::vector<ParamInfo> TableBuilder::finish() && {
    const auto defaults = toJSON(SynthPatch{});
    for (auto& row : rows_) {
        row.engine = engineOf(row.path);
        const auto* value = JSONPath::get(JSONPath::components(row.path), defaults);
        VELMO_PRECONDITION(value != nullptr, "SynthCatalog: every path names a leaf of the patch");
        row.defaultValue = *value;
    }
    return std::move(rows_);
}

void analogRows(TableBuilder& t) {
    for (auto [osc, section] : {std::pair{"osc1", "Oscillator 1"}, std::pair{"osc2", "Oscillator 2"}}) {
        const std::string p = std::string("analog.") + osc + ".";
        t.section = section;
        t.choice<OscWave>(p + "wave", "Wave");
        t.number(p + "octave", "Octave", -3, 3, "", whole);
        t.number(p + "semitone", "Semi", -12, 12, "st", whole);
        t.number(p + "detune", "Detune", -100, 100, "ct");
        t.number(p + "pulseWidth", "PW", 0.05, 0.95, "", linear, kPulseWidthHelp);
        t.number(p + "level", "Level", 0, 1);
    }
    t.section = "Mixer";
    t.number("analog.subLevel", "Sub", 0, 1, "", linear, "Square sub-oscillator one octave below osc 1");
    t.number("analog.noiseLevel", "Noise", 0, 1);
    t.number("analog.unison", "Unison", 1, 7, "", whole, "Stacked detuned voices per note");
    t.number("analog.unisonDetune", "Spread ct", 0, 100, "ct");
    t.number("analog.unisonSpread", "Stereo", 0, 1);
}

void wavetableRows(TableBuilder& t) {
    t.section = "Wavetable";
    t.choice<WavetableKind>("wavetable.table", "Table");
    t.number("wavetable.position", "Position", 0, 1, "", linear, "Morph position through the table");
    t.number("wavetable.octave", "Octave", -3, 3, "", whole);
    t.number("wavetable.semitone", "Semi", -12, 12, "st", whole);
    t.number("wavetable.subLevel", "Sub", 0, 1, "", linear, "Sine sub one octave down");
    t.number("wavetable.noiseLevel", "Noise", 0, 1);
    t.number("wavetable.unison", "Unison", 1, 7, "", whole);
    t.number("wavetable.unisonDetune", "Spread ct", 0, 100, "ct");
    t.number("wavetable.unisonSpread", "Stereo", 0, 1);
}

void fmRows(TableBuilder& t) {
    t.section = "FM";
    t.number("fm.algorithm", "Algorithm", 1, 8, "", whole, kAlgorithmHelp);
    t.number("fm.feedback", "Feedback", 0, 1, "", linear, "Operator 4 self-feedback");
    for (int op = 0; op < 4; ++op) {
        const std::string p = "fm.ops." + std::to_string(op) + ".";
        t.section = "Operator " + std::to_string(op + 1);
        t.number(p + "ratio", "Ratio", 0.125, 32, "", logScale, "Frequency ratio to the note");
        t.number(p + "detune", "Detune", -50, 50, "ct");
        t.number(p + "level", "Level", 0, 1, "", linear, "Output level (carriers) or modulation index (modulators)");
        t.number(p + "attack", "Attack", 0.0005, 10, "s", logScale);
        t.number(p + "decay", "Decay", 0.001, 20, "s", logScale);
        t.number(p + "sustain", "Sustain", 0, 1);
        t.number(p + "release", "Release", 0.001, 20, "s", logScale);
        t.number(p + "velocity", "Vel Sens", 0, 1);
    }
}

void additiveRows(TableBuilder& t) {
    t.section = "Harmonics";
    for (int i = 0; i < 16; ++i) {
        const auto n = std::to_string(i + 1);
        t.number("additive.harmonics." + std::to_string(i), "H" + n, 0, 1, "", linear, "Level of partial " + n);
    }
    t.section = "Additive";
    t.number("additive.brightness", "Bright", -1, 1, "", linear, "Spectral tilt: negative darker, positive brighter");
    t.number("additive.evenLevel", "Even", 0, 1, "", linear, "Level of even partials (0 = hollow, clarinet-like)");
    t.number("additive.stretch", "Stretch", 0, 0.02, "", linear, "Inharmonicity (piano/bell-like partial stretching)");
}

void pluckAndModalRows(TableBuilder& t) {
    t.section = "String";
    t.number("pluck.brightness", "Bright", 0, 1, "", linear, "Excitation brightness");
    t.number("pluck.damping", "Damping", 0, 1, "", linear, "High-frequency loss in the string loop");
    t.number("pluck.decay", "Decay", 0.1, 20, "s", logScale, "Ring time to -60 dB");
    t.number("pluck.pickPosition", "Pick Pos", 0.02, 0.5, "", linear, "Pluck position along the string");

    t.section = "Resonator";
    t.choice<ModalMaterial>("modal.material", "Material");
    t.number("modal.decay", "Decay", 0.05, 10, "s", logScale);
    t.number("modal.damping", "Damping", 0, 1, "", linear, "How much faster upper modes decay");
    t.number("modal.hardness", "Hardness", 0, 1, "", linear, "Mallet hardness (brightness of strike)");
}

void drumRows(TableBuilder& t) {
    t.section = "Kick";
    t.number("drums.kickTune", "Kick Tune", 30, 120, "Hz");
    t.number("drums.kickDecay", "Kick Decay", 0.05, 2, "s", logScale);
    t.number("drums.kickPunch", "Punch", 0, 1, "", linear, "Pitch sweep amount");
    t.number("drums.kickClick", "Click", 0, 1);
    t.section = "Snare & Clap";
    t.number("drums.snareTune", "Snare Tune", 100, 400, "Hz");
    t.number("drums.snareSnappy", "Snappy", 0, 1);
    t.number("drums.snareDecay", "Snare Decay", 0.05, 1, "s", logScale);
    t.number("drums.clapDecay", "Clap Decay", 0.05, 1, "s", logScale);
    t.section = "Hats & Cymbals";
    t.number("drums.hatTone", "Hat Tone", 0, 1);
    t.number("drums.hatDecay", "Hat Decay", 0, 1);
    t.number("drums.cymbalDecay", "Cym Decay", 0.2, 5, "s", logScale);
    t.section = "Toms & Kit";
    t.number("drums.tomTune", "Tom Tune", 0.5, 2, "", logScale);
    t.number("drums.tomDecay", "Tom Decay", 0.05, 1.5, "s", logScale);
    t.number("drums.drive", "Drive", 0, 1);
}

void sharedRows(TableBuilder& t) {
    t.section = "Filter";
    t.choice<FilterType>("filter.type", "Type");
    t.number("filter.cutoff", "Cutoff", 20, 20000, "Hz", logScale);
    t.number("filter.resonance", "Reso", 0, 1);
    t.number("filter.drive", "Drive", 0, 1);
    t.number("filter.keyTrack", "Key Trk", 0, 1, "", linear, "1 = cutoff follows pitch fully");
    t.number("filter.envAmount", "Env Amt", -8, 8, "oct", linear, "Mod envelope to cutoff, in octaves");
    t.number("filter.velocity", "Vel Amt", 0, 4, "oct", linear, "Velocity to cutoff, in octaves");

    for (auto [env, section] : {std::pair{"ampEnv", "Amp Envelope"}, std::pair{"modEnv", "Mod Envelope"}}) {
        const std::string p = std::string(env) + ".";
        t.section = section;
        t.number(p + "attack", "Attack", 0.0005, 10, "s", logScale);
        t.number(p + "decay", "Decay", 0.001, 20, "s", logScale);
        t.number(p + "sustain", "Sustain", 0, 1);
        t.number(p + "release", "Release", 0.001, 20, "s", logScale);
    }

    for (auto [lfo, section] : {std::pair{"lfo1", "LFO 1"}, std::pair{"lfo2", "LFO 2"}}) {
        const std::string p = std::string(lfo) + ".";
        t.section = section;
        t.choice<LFOShape>(p + "shape", "Shape");
        t.number(p + "rate", "Rate", 0.01, 40, "Hz", logScale);
        t.toggle(p + "sync", "Sync", "Tempo-sync: use `beats` instead of `rate`");
        t.number(p + "beats", "Beats", 0.0625, 16, "", logScale, "Cycle length in beats when synced");
        t.toggle(p + "retrigger", "Retrig", "Restart phase on each note");
    }

    t.section = "Modulation";
    for (int i = 0; i < SynthPatch::modSlotCount; ++i)
        t.choice<ModSource>("mod." + std::to_string(i) + ".source", "Src " + std::to_string(i + 1));
    for (int i = 0; i < SynthPatch::modSlotCount; ++i)
        t.choice<ModDestination>("mod." + std::to_string(i) + ".destination", "Dst " + std::to_string(i + 1));
    for (int i = 0; i < SynthPatch::modSlotCount; ++i)
        t.number("mod." + std::to_string(i) + ".amount", "Amt " + std::to_string(i + 1), -1, 1, "", linear,
                 kModAmountHelp);

    t.section = "Voice";
    t.choice<VoiceMode>("voice.mode", "Mode");
    t.number("voice.polyphony", "Voices", 1, 16, "", whole);
    t.number("voice.glide", "Glide", 0, 2, "s");
    t.number("voice.level", "Level", 0, 1);
    t.number("voice.velocitySens", "Vel Sens", 0, 1);
}

std::vector<ParamInfo> build() {
    TableBuilder t;
    analogRows(t);
    wavetableRows(t);
    fmRows(t);
    additiveRows(t);
    pluckAndModalRows(t);
    drumRows(t);
    sharedRows(t);
    return std::move(t).finish();
}

} // namespace

const std::vector<ParamInfo>& params() {
    static const std::vector<ParamInfo> rows = build();
    return rows;
}

const std::map<std::string, ParamInfo, std::less<>>& byPath() {
    static const auto table = [] {
        std::map<std::string, ParamInfo, std::less<>> map;
        for (const auto& row : params()) {
            const bool inserted = map.emplace(row.path, row).second;
            VELMO_PRECONDITION(inserted, "SynthCatalog: paths never repeat");
        }
        return map;
    }();
    return table;
}

const ParamInfo* find(std::string_view path) {
    const auto& table = byPath();
    auto it = table.find(path);
    return it == table.end() ? nullptr : &it->second;
}

std::vector<std::string> sections(EngineKind engine) {
    std::vector<std::string> names;
    for (const auto& row : params()) {
        if (row.engine && *row.engine != engine) continue;
        if (std::find(names.begin(), names.end(), row.section) == names.end()) names.push_back(row.section);
    }
    return names;
}

} // namespace velmo::SynthCatalog
