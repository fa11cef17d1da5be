#include "model/SynthPatchJSON.h"

namespace velmo {

using json = nlohmann::json;

namespace {

template <class E>
json name(E value) {
    return std::string(toString(value));
}

json encode(const AnalogOsc& o) {
    return {{"wave", name(o.wave)}, {"octave", o.octave}, {"semitone", o.semitone},
            {"detune", o.detune}, {"pulseWidth", o.pulseWidth}, {"level", o.level}};
}

json encode(const FMOperator& o) {
    return {{"ratio", o.ratio}, {"detune", o.detune}, {"level", o.level}, {"attack", o.attack},
            {"decay", o.decay}, {"sustain", o.sustain}, {"release", o.release}, {"velocity", o.velocity}};
}

json encode(const EnvelopeParams& e) {
    return {{"attack", e.attack}, {"decay", e.decay}, {"sustain", e.sustain}, {"release", e.release}};
}

json encode(const LFOParams& l) {
    return {{"shape", name(l.shape)}, {"rate", l.rate}, {"sync", l.sync}, {"beats", l.beats}, {"retrigger", l.retrigger}};
}

AnalogOsc decodeOsc(const JSONReader& r) {
    return {r.enumeration<OscWave>("wave"), r.number("octave"), r.number("semitone"),
            r.number("detune"), r.number("pulseWidth"), r.number("level")};
}

FMOperator decodeOperator(const JSONReader& r) {
    return {r.number("ratio"), r.number("detune"), r.number("level"), r.number("attack"),
            r.number("decay"), r.number("sustain"), r.number("release"), r.number("velocity")};
}

EnvelopeParams decodeEnvelope(const JSONReader& r) {
    return {r.number("attack"), r.number("decay"), r.number("sustain"), r.number("release")};
}

LFOParams decodeLFO(const JSONReader& r) {
    return {r.enumeration<LFOShape>("shape"), r.number("rate"), r.boolean("sync"), r.number("beats"), r.boolean("retrigger")};
}

} // namespace

json toJSON(const SynthPatch& p) {
    const auto& a = p.analog;
    const auto& w = p.wavetable;
    const auto& d = p.drums;
    const auto& f = p.filter;

    json ops = json::array();
    for (const auto& op : p.fm.ops) ops.push_back(encode(op));
    json mod = json::array();
    for (const auto& slot : p.mod)
        mod.push_back({{"source", name(slot.source)}, {"destination", name(slot.destination)}, {"amount", slot.amount}});

    return {
        {"engine", name(p.engine)},
        {"analog", {{"osc1", encode(a.osc1)}, {"osc2", encode(a.osc2)}, {"subLevel", a.subLevel},
                    {"noiseLevel", a.noiseLevel}, {"unison", a.unison}, {"unisonDetune", a.unisonDetune},
                    {"unisonSpread", a.unisonSpread}}},
        {"wavetable", {{"table", name(w.table)}, {"position", w.position}, {"octave", w.octave},
                       {"semitone", w.semitone}, {"unison", w.unison}, {"unisonDetune", w.unisonDetune},
                       {"unisonSpread", w.unisonSpread}, {"subLevel", w.subLevel}, {"noiseLevel", w.noiseLevel}}},
        {"fm", {{"algorithm", p.fm.algorithm}, {"feedback", p.fm.feedback}, {"ops", ops}}},
        {"additive", {{"harmonics", p.additive.harmonics}, {"brightness", p.additive.brightness},
                      {"evenLevel", p.additive.evenLevel}, {"stretch", p.additive.stretch}}},
        {"pluck", {{"brightness", p.pluck.brightness}, {"damping", p.pluck.damping}, {"decay", p.pluck.decay},
                   {"pickPosition", p.pluck.pickPosition}}},
        {"modal", {{"material", name(p.modal.material)}, {"decay", p.modal.decay}, {"damping", p.modal.damping},
                   {"hardness", p.modal.hardness}}},
        {"drums", {{"kickTune", d.kickTune}, {"kickDecay", d.kickDecay}, {"kickPunch", d.kickPunch},
                   {"kickClick", d.kickClick}, {"snareTune", d.snareTune}, {"snareSnappy", d.snareSnappy},
                   {"snareDecay", d.snareDecay}, {"clapDecay", d.clapDecay}, {"hatTone", d.hatTone},
                   {"hatDecay", d.hatDecay}, {"tomTune", d.tomTune}, {"tomDecay", d.tomDecay},
                   {"cymbalDecay", d.cymbalDecay}, {"drive", d.drive}}},
        {"filter", {{"type", name(f.type)}, {"cutoff", f.cutoff}, {"resonance", f.resonance}, {"drive", f.drive},
                    {"keyTrack", f.keyTrack}, {"envAmount", f.envAmount}, {"velocity", f.velocity}}},
        {"ampEnv", encode(p.ampEnv)},
        {"modEnv", encode(p.modEnv)},
        {"lfo1", encode(p.lfo1)},
        {"lfo2", encode(p.lfo2)},
        {"mod", mod},
        {"voice", {{"mode", name(p.voice.mode)}, {"polyphony", p.voice.polyphony}, {"glide", p.voice.glide},
                   {"level", p.voice.level}, {"velocitySens", p.voice.velocitySens}}},
    };
}

SynthPatch synthPatchFromJSON(const json& value, const std::string& path) {
    JSONReader r(value, path);
    SynthPatch p;
    p.engine = r.enumeration<EngineKind>("engine");

    auto a = r.object("analog");
    p.analog = {decodeOsc(a.object("osc1")), decodeOsc(a.object("osc2")), a.number("subLevel"), a.number("noiseLevel"),
                a.number("unison"), a.number("unisonDetune"), a.number("unisonSpread")};

    auto w = r.object("wavetable");
    p.wavetable = {w.enumeration<WavetableKind>("table"), w.number("position"), w.number("octave"), w.number("semitone"),
                   w.number("unison"), w.number("unisonDetune"), w.number("unisonSpread"), w.number("subLevel"),
                   w.number("noiseLevel")};

    auto fm = r.object("fm");
    p.fm.algorithm = fm.number("algorithm");
    p.fm.feedback = fm.number("feedback");
    p.fm.ops.clear();
    for (std::size_t i = 0; i < fm.array("ops").size(); ++i) p.fm.ops.push_back(decodeOperator(fm.element("ops", i)));

    auto add = r.object("additive");
    p.additive.harmonics.clear();
    const auto& harmonics = add.array("harmonics");
    for (std::size_t i = 0; i < harmonics.size(); ++i)
        p.additive.harmonics.push_back(
            JSONReader::numberValue(harmonics[i], add.path() + ".harmonics[" + std::to_string(i) + "]"));
    p.additive.brightness = add.number("brightness");
    p.additive.evenLevel = add.number("evenLevel");
    p.additive.stretch = add.number("stretch");

    auto pl = r.object("pluck");
    p.pluck = {pl.number("brightness"), pl.number("damping"), pl.number("decay"), pl.number("pickPosition")};

    auto m = r.object("modal");
    p.modal = {m.enumeration<ModalMaterial>("material"), m.number("decay"), m.number("damping"), m.number("hardness")};

    auto d = r.object("drums");
    p.drums = {d.number("kickTune"), d.number("kickDecay"), d.number("kickPunch"), d.number("kickClick"),
               d.number("snareTune"), d.number("snareSnappy"), d.number("snareDecay"), d.number("clapDecay"),
               d.number("hatTone"), d.number("hatDecay"), d.number("tomTune"), d.number("tomDecay"),
               d.number("cymbalDecay"), d.number("drive")};

    auto f = r.object("filter");
    p.filter = {f.enumeration<FilterType>("type"), f.number("cutoff"), f.number("resonance"), f.number("drive"),
                f.number("keyTrack"), f.number("envAmount"), f.number("velocity")};

    p.ampEnv = decodeEnvelope(r.object("ampEnv"));
    p.modEnv = decodeEnvelope(r.object("modEnv"));
    p.lfo1 = decodeLFO(r.object("lfo1"));
    p.lfo2 = decodeLFO(r.object("lfo2"));

    p.mod.clear();
    for (std::size_t i = 0; i < r.array("mod").size(); ++i) {
        auto s = r.element("mod", i);
        p.mod.push_back({s.enumeration<ModSource>("source"), s.enumeration<ModDestination>("destination"), s.number("amount")});
    }

    auto v = r.object("voice");
    p.voice = {v.enumeration<VoiceMode>("mode"), v.number("polyphony"), v.number("glide"), v.number("level"),
               v.number("velocitySens")};
    return p;
}

} // namespace velmo
