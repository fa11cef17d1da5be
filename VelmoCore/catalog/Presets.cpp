#include "catalog/Presets.h"

#include "model/Unicode.h"

#include <algorithm>
#include <functional>

namespace velmo {

namespace {

using Src = ModSource;
using Dst = ModDestination;

// Each preset is the default patch with its engine set and a few plain edits, all inside the
// ranges of the synth catalog. Mod amounts are scaled as the matrix scales them: 1.0 on pitch is
// 12 semitones, on cutoff 8 octaves.
struct Recipe {
    const char* name;
    const char* category;
    EngineKind engine;
    std::function<void(SynthPatch&)> edit;
};

// ---- analog ----------------------------------------------------------------------------------

void fatBass(SynthPatch& p) {
    p.analog.osc1 = AnalogOsc{OscWave::saw, -1, 0, 0, 0.5, 1.0};
    p.analog.osc2 = AnalogOsc{OscWave::square, -1, 0, -8, 0.5, 0.6};
    p.analog.subLevel = 0.5;
    p.filter.cutoff = 700;
    p.filter.resonance = 0.2;
    p.filter.envAmount = 2.5;
    p.filter.drive = 0.2;
    p.modEnv = {0.002, 0.25, 0.0, 0.2};
    p.ampEnv = {0.003, 0.3, 0.85, 0.12};
    p.voice.mode = VoiceMode::mono;
    p.voice.glide = 0.02;
    p.voice.level = 0.6;
}

void acidBass(SynthPatch& p) {
    p.analog.osc1 = AnalogOsc{OscWave::saw, -1, 0, 0, 0.5, 1.0};
    p.filter.type = FilterType::ladder;
    p.filter.cutoff = 350;
    p.filter.resonance = 0.75;
    p.filter.drive = 0.35;
    p.filter.envAmount = 4.0;
    p.filter.velocity = 1.5;
    p.modEnv = {0.001, 0.18, 0.0, 0.15};
    p.ampEnv = {0.002, 0.25, 0.7, 0.08};
    p.voice.mode = VoiceMode::legato;
    p.voice.glide = 0.08;
}

void subBass(SynthPatch& p) {
    p.analog.osc1 = AnalogOsc{OscWave::sine, -1, 0, 0, 0.5, 1.0};
    p.filter.type = FilterType::lowpass12;
    p.filter.cutoff = 400;
    p.filter.resonance = 0.0;
    p.filter.keyTrack = 0.0;
    p.ampEnv = {0.005, 0.2, 1.0, 0.15};
    p.voice.mode = VoiceMode::mono;
    p.voice.level = 0.8;
    p.voice.velocitySens = 0.3;
}

void supersawLead(SynthPatch& p) {
    p.analog.osc2 = AnalogOsc{OscWave::saw, 0, 0, 12, 0.5, 0.7};
    p.analog.unison = 7;
    p.analog.unisonDetune = 25;
    p.analog.unisonSpread = 0.9;
    p.filter.cutoff = 6000;
    p.filter.resonance = 0.15;
    p.ampEnv = {0.01, 0.4, 0.85, 0.35};
    p.voice.level = 0.55;
}

void squareLead(SynthPatch& p) {
    p.analog.osc1 = AnalogOsc{OscWave::square, 0, 0, 0, 0.5, 1.0};
    p.analog.osc2 = AnalogOsc{OscWave::pulse, 1, 0, 5, 0.3, 0.35};
    p.filter.type = FilterType::lowpass12;
    p.filter.cutoff = 3500;
    p.filter.resonance = 0.25;
    p.filter.envAmount = 1.5;
    p.modEnv = {0.001, 0.3, 0.2, 0.3};
    p.ampEnv = {0.005, 0.2, 0.9, 0.2};
    p.lfo1 = LFOParams(LFOShape::sine, 5.5);
    p.mod[0] = ModSlot{Src::lfo1, Dst::pitch, 0.012};  // gentle vibrato, about 0.15 semitone
    p.voice.mode = VoiceMode::mono;
    p.voice.glide = 0.06;
}

void warmPad(SynthPatch& p) {
    p.analog.osc2 = AnalogOsc{OscWave::saw, 0, 0, -10, 0.5, 0.8};
    p.analog.unison = 3;
    p.analog.unisonDetune = 18;
    p.filter.cutoff = 1800;
    p.filter.resonance = 0.15;
    p.filter.envAmount = 1.0;
    p.modEnv = {1.2, 2.0, 0.4, 2.0};
    p.ampEnv = {0.8, 1.5, 0.85, 2.5};
    p.lfo2 = LFOParams(LFOShape::triangle, 0.25);
    p.mod[0] = ModSlot{Src::lfo2, Dst::cutoff, 0.08};
    p.voice.polyphony = 12;
    p.voice.level = 0.55;
    p.voice.velocitySens = 0.3;
}

void brass(SynthPatch& p) {
    p.analog.osc2 = AnalogOsc{OscWave::saw, 0, 0, 6, 0.5, 0.7};
    p.filter.cutoff = 1200;
    p.filter.resonance = 0.1;
    p.filter.envAmount = 2.5;
    p.filter.velocity = 1.0;
    p.modEnv = {0.06, 0.4, 0.5, 0.3};
    p.ampEnv = {0.04, 0.3, 0.85, 0.25};
    p.lfo1 = LFOParams(LFOShape::sine, 5.0);
    p.mod[0] = ModSlot{Src::lfo1, Dst::pitch, 0.005};
    p.voice.level = 0.6;
}

void noiseSweep(SynthPatch& p) {
    p.analog.osc1 = AnalogOsc{OscWave::saw, 0, 0, 0, 0.5, 0.0};
    p.analog.noiseLevel = 1.0;
    p.filter.type = FilterType::bandpass;
    p.filter.cutoff = 300;
    p.filter.resonance = 0.6;
    p.filter.keyTrack = 0.0;
    p.filter.envAmount = 5.0;  // rises five octaves over the mod envelope's attack
    p.modEnv = {3.0, 2.0, 0.0, 1.5};
    p.ampEnv = {1.0, 1.0, 1.0, 2.0};
    p.lfo1 = LFOParams(LFOShape::triangle, 0.2);
    p.mod[0] = ModSlot{Src::lfo1, Dst::cutoff, 0.1};
    p.mod[1] = ModSlot{Src::lfo1, Dst::pan, 0.5};
    p.voice.level = 0.5;
}

// ---- wavetable -------------------------------------------------------------------------------

void vowelPad(SynthPatch& p) {
    p.wavetable.table = WavetableKind::vocal;
    p.wavetable.position = 0.2;
    p.wavetable.unison = 3;
    p.wavetable.unisonDetune = 12;
    p.filter.type = FilterType::lowpass12;
    p.filter.cutoff = 4000;
    p.ampEnv = {0.6, 1.0, 0.85, 2.0};
    p.lfo1 = LFOParams(LFOShape::triangle, 0.15);
    p.mod[0] = ModSlot{Src::lfo1, Dst::wavetablePosition, 0.35};  // the vowel drifts
    p.voice.polyphony = 12;
    p.voice.level = 0.6;
    p.voice.velocitySens = 0.3;
}

void digitalPluck(SynthPatch& p) {
    p.wavetable.table = WavetableKind::digital;
    p.wavetable.position = 0.5;
    p.filter.cutoff = 2500;
    p.filter.resonance = 0.2;
    p.filter.envAmount = 3.0;
    p.modEnv = {0.001, 0.25, 0.0, 0.2};
    p.ampEnv = {0.001, 0.45, 0.0, 0.3};
    p.mod[0] = ModSlot{Src::modEnv, Dst::wavetablePosition, 0.4};
}

void sweepLead(SynthPatch& p) {
    p.wavetable.table = WavetableKind::sweep;
    p.wavetable.position = 0.1;
    p.wavetable.unison = 2;
    p.wavetable.unisonDetune = 10;
    p.filter.cutoff = 5000;
    p.filter.resonance = 0.2;
    p.modEnv = {0.5, 1.5, 0.6, 0.5};
    p.ampEnv = {0.01, 0.3, 0.9, 0.25};
    p.mod[0] = ModSlot{Src::modEnv, Dst::wavetablePosition, 0.6};
    p.voice.mode = VoiceMode::mono;
    p.voice.glide = 0.05;
}

void pwmStrings(SynthPatch& p) {
    p.wavetable.table = WavetableKind::pwm;
    p.wavetable.position = 0.3;
    p.wavetable.unison = 4;
    p.wavetable.unisonDetune = 14;
    p.wavetable.unisonSpread = 0.8;
    p.filter.cutoff = 3000;
    p.filter.resonance = 0.05;
    p.ampEnv = {0.35, 0.8, 0.9, 1.2};
    p.lfo1 = LFOParams(LFOShape::triangle, 0.4);
    p.mod[0] = ModSlot{Src::lfo1, Dst::wavetablePosition, 0.25};  // the pulse width breathes
    p.voice.polyphony = 12;
    p.voice.level = 0.6;
}

// ---- fm ----------------------------------------------------------------------------------------

void fmEPiano(SynthPatch& p) {
    // Two stacks: 2 into carrier 1 for the body, 4 into carrier 3 for the bright tine.
    p.fm.algorithm = 4;
    p.fm.ops = {
        FMOperator{1.0, 0, 0.8, 0.001, 2.5, 0.0, 0.8, 0.6},
        FMOperator{1.0, 0, 0.35, 0.001, 1.2, 0.1, 0.6, 0.8},
        FMOperator{1.0, 3, 0.35, 0.001, 1.5, 0.0, 0.6, 0.6},
        FMOperator{14.0, 0, 0.2, 0.001, 0.25, 0.0, 0.2, 0.9},
    };
    p.filter.type = FilterType::off;
    p.ampEnv = {0.001, 1.0, 1.0, 0.6};
    p.voice.velocitySens = 0.8;
}

void fmBell(SynthPatch& p) {
    p.fm.algorithm = 3;
    p.fm.ops = {
        FMOperator{1.0, 0, 0.85, 0.002, 4.0, 0, 2.5, 0.5},
        FMOperator{3.5, 0, 0.45, 0.002, 2.5, 0, 2.0, 0.5},
        FMOperator{1.0, 0, 0.5, 0.002, 3.0, 0, 2.0, 0.5},
        FMOperator{1.41, 0, 0.4, 0.002, 2.0, 0, 2.0, 0.5},
    };
    p.filter.type = FilterType::off;
    p.ampEnv = {0.001, 1.0, 1.0, 2.5};
}

void fmBass(SynthPatch& p) {
    p.fm.algorithm = 1;
    p.fm.feedback = 0.2;
    p.fm.ops = {
        FMOperator{0.5, 0, 1.0, 0.001, 0.8, 0.6, 0.15, 0.5},
        FMOperator{0.5, 0, 0.55, 0.001, 0.3, 0.2, 0.15, 0.7},
        FMOperator{1.0, 0, 0.25, 0.001, 0.2, 0.1, 0.1, 0.5},
        FMOperator{1.0, 0, 0.0, 0.002, 0.6, 1.0, 0.4, 0.5},
    };
    p.filter.cutoff = 2500;
    p.filter.keyTrack = 0.5;
    p.ampEnv = {0.001, 0.5, 0.8, 0.1};
    p.voice.mode = VoiceMode::mono;
}

void fmOrgan(SynthPatch& p) {
    // All four carriers as drawbars: sub octave, fundamental, octave, twelfth.
    p.fm.algorithm = 8;
    p.fm.ops = {
        FMOperator{0.5, 0, 0.6, 0.005, 0.1, 1.0, 0.08, 0.0},
        FMOperator{1.0, 0, 0.8, 0.005, 0.1, 1.0, 0.08, 0.0},
        FMOperator{2.0, 0, 0.5, 0.005, 0.1, 1.0, 0.08, 0.0},
        FMOperator{3.0, 0, 0.35, 0.005, 0.1, 1.0, 0.08, 0.0},
    };
    p.filter.type = FilterType::off;
    p.ampEnv = {0.005, 0.1, 1.0, 0.08};
    p.lfo1 = LFOParams(LFOShape::sine, 6.5);
    p.mod[0] = ModSlot{Src::lfo1, Dst::volume, 0.06};  // a touch of tremolo
    p.voice.level = 0.5;
    p.voice.velocitySens = 0.0;
}

void fmBrassStab(SynthPatch& p) {
    p.fm.algorithm = 2;
    p.fm.feedback = 0.3;
    p.fm.ops = {
        FMOperator{1.0, 0, 1.0, 0.01, 0.4, 0.5, 0.2, 0.4},
        FMOperator{1.0, 0, 0.55, 0.03, 0.3, 0.3, 0.2, 0.7},
        FMOperator{1.0, 3, 0.3, 0.02, 0.3, 0.2, 0.2, 0.5},
        FMOperator{2.0, -3, 0.2, 0.02, 0.3, 0.2, 0.2, 0.5},
    };
    p.filter.cutoff = 5000;
    p.ampEnv = {0.01, 0.35, 0.3, 0.15};
    p.voice.velocitySens = 0.8;
}

// ---- additive ----------------------------------------------------------------------------------

void drawbarOrgan(SynthPatch& p) {
    // Drawbars 8', 4', 2 2/3', 2', 1 3/5', 1 1/3', 1': partials 1, 2, 3, 4, 5, 6, 8.
    p.additive.harmonics = {1.0, 0.8, 0.6, 0.5, 0.2, 0.35, 0.0, 0.3,
                            0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
    p.filter.type = FilterType::off;
    p.ampEnv = {0.005, 0.1, 1.0, 0.06};
    p.lfo1 = LFOParams(LFOShape::sine, 6.5);
    p.mod[0] = ModSlot{Src::lfo1, Dst::volume, 0.05};
    p.voice.level = 0.5;
    p.voice.velocitySens = 0.0;
}

void glassPad(SynthPatch& p) {
    p.additive.harmonics = {1.0, 0.0, 0.5, 0.0, 0.35, 0.0, 0.25, 0.0,
                            0.2, 0.0, 0.15, 0.0, 0.1, 0.0, 0.08, 0.0};
    p.additive.brightness = 0.3;
    p.additive.stretch = 0.004;  // slightly sharp upper partials ring glassy
    p.filter.type = FilterType::lowpass12;
    p.filter.cutoff = 7000;
    p.ampEnv = {1.0, 1.5, 0.8, 3.0};
    p.lfo1 = LFOParams(LFOShape::triangle, 0.2);
    p.mod[0] = ModSlot{Src::lfo1, Dst::wavetablePosition, 0.2};  // drives the brightness tilt
    p.voice.polyphony = 12;
    p.voice.level = 0.55;
    p.voice.velocitySens = 0.3;
}

void hollowReed(SynthPatch& p) {
    p.additive.evenLevel = 0.1;  // odd partials only, like a clarinet
    p.additive.brightness = -0.2;
    p.filter.type = FilterType::lowpass12;
    p.filter.cutoff = 5000;
    p.ampEnv = {0.04, 0.2, 0.9, 0.15};
    p.lfo1 = LFOParams(LFOShape::sine, 5.0);
    p.mod[0] = ModSlot{Src::lfo1, Dst::pitch, 0.008};
    p.voice.mode = VoiceMode::mono;
    p.voice.glide = 0.04;
}

// ---- pluck -------------------------------------------------------------------------------------
// The string rings down by itself; the amplitude envelope stays open so it never cuts the ring,
// and its release is how long a let-go string still sounds. Fields: brightness, damping, decay
// (seconds to -60 dB), pick position.

void nylonGuitar(SynthPatch& p) {
    p.pluck = {0.45, 0.45, 2.5, 0.18};
    p.filter.type = FilterType::lowpass12;
    p.filter.cutoff = 5000;
    p.ampEnv = {0.001, 0.3, 1.0, 0.4};
}

void harp(SynthPatch& p) {
    p.pluck = {0.65, 0.25, 5.0, 0.3};
    p.filter.type = FilterType::off;
    p.ampEnv = {0.001, 0.3, 1.0, 1.5};
    p.voice.polyphony = 16;
}

void mutedPluck(SynthPatch& p) {
    p.pluck = {0.4, 0.8, 0.4, 0.1};
    p.filter.type = FilterType::lowpass12;
    p.filter.cutoff = 3000;
    p.ampEnv = {0.001, 0.2, 1.0, 0.1};
}

// ---- modal -------------------------------------------------------------------------------------
// Fields: material, decay (seconds), damping of the upper modes, mallet hardness.

void marimba(SynthPatch& p) {
    p.modal = {ModalMaterial::bar, 1.0, 0.5, 0.4};
    p.filter.type = FilterType::off;
    p.ampEnv = {0.001, 0.3, 1.0, 0.8};
}

void tubularBells(SynthPatch& p) {
    p.modal = {ModalMaterial::bell, 6.0, 0.35, 0.65};
    p.filter.type = FilterType::off;
    p.ampEnv = {0.001, 0.3, 1.0, 4.0};
    p.voice.level = 0.6;
}

void glassHarmonics(SynthPatch& p) {
    p.modal = {ModalMaterial::glass, 3.0, 0.4, 0.7};
    p.filter.type = FilterType::off;
    p.ampEnv = {0.001, 0.3, 1.0, 2.5};
    p.voice.level = 0.6;
}

void kalimba(SynthPatch& p) {
    // A short tine: a bar whose upper modes die fast under a firm thumb.
    p.modal = {ModalMaterial::bar, 1.8, 0.8, 0.7};
    p.filter.type = FilterType::off;
    p.ampEnv = {0.001, 0.3, 1.0, 1.2};
}

// ---- drums -------------------------------------------------------------------------------------
// Each hit has its own decay and ignores the amplitude envelope; the filter's key tracking is off
// so that the General MIDI note of a drum does not move the cutoff.

void kit808(SynthPatch& p) {
    auto& d = p.drums;  // long boomy kick, soft click, short dark hats
    d.kickTune = 45; d.kickDecay = 0.9; d.kickPunch = 0.5; d.kickClick = 0.15;
    d.snareTune = 200; d.snareSnappy = 0.5; d.snareDecay = 0.18; d.clapDecay = 0.3;
    d.hatTone = 0.4; d.hatDecay = 0.3; d.cymbalDecay = 1.8;
    d.tomTune = 0.9; d.tomDecay = 0.5; d.drive = 0.15;
    p.filter.type = FilterType::off;
    p.filter.keyTrack = 0.0;
    p.voice.polyphony = 16;
    p.voice.velocitySens = 0.8;
}

void kit909(SynthPatch& p) {
    auto& d = p.drums;  // tight punchy kick with a hard click, bright snappy snare and hats
    d.kickTune = 55; d.kickDecay = 0.45; d.kickPunch = 0.8; d.kickClick = 0.6;
    d.snareTune = 220; d.snareSnappy = 0.75; d.snareDecay = 0.2; d.clapDecay = 0.22;
    d.hatTone = 0.7; d.hatDecay = 0.35; d.cymbalDecay = 2.0;
    d.tomTune = 1.1; d.tomDecay = 0.3; d.drive = 0.25;
    p.filter.type = FilterType::off;
    p.filter.keyTrack = 0.0;
    p.voice.polyphony = 16;
    p.voice.velocitySens = 0.8;
}

void kitLoFi(SynthPatch& p) {
    auto& d = p.drums;  // short, dull and driven
    d.kickTune = 50; d.kickDecay = 0.35; d.kickPunch = 0.4; d.kickClick = 0.2;
    d.snareTune = 170; d.snareSnappy = 0.4; d.snareDecay = 0.15; d.clapDecay = 0.2;
    d.hatTone = 0.25; d.hatDecay = 0.25; d.cymbalDecay = 0.9;
    d.tomTune = 0.85; d.tomDecay = 0.25; d.drive = 0.6;
    p.filter.type = FilterType::lowpass12;  // dull and crunchy, like a worn sampler
    p.filter.cutoff = 4500;
    p.filter.resonance = 0.1;
    p.filter.keyTrack = 0.0;
    p.voice.polyphony = 16;
    p.voice.velocitySens = 0.8;
}

std::vector<Preset> build() {
    const std::vector<Recipe> recipes{
        {"Init Saw", "Lead", EngineKind::analog, [](SynthPatch&) {}},
        {"Fat Bass", "Bass", EngineKind::analog, fatBass},
        {"Acid Bass", "Bass", EngineKind::analog, acidBass},
        {"Sub Bass", "Bass", EngineKind::analog, subBass},
        {"Supersaw Lead", "Lead", EngineKind::analog, supersawLead},
        {"Square Lead", "Lead", EngineKind::analog, squareLead},
        {"Warm Pad", "Pad", EngineKind::analog, warmPad},
        {"Brass", "Keys", EngineKind::analog, brass},
        {"Noise Sweep", "FX", EngineKind::analog, noiseSweep},
        {"Vowel Pad", "Pad", EngineKind::wavetable, vowelPad},
        {"Digital Pluck", "Pluck", EngineKind::wavetable, digitalPluck},
        {"Sweep Lead", "Lead", EngineKind::wavetable, sweepLead},
        {"PWM Strings", "Pad", EngineKind::wavetable, pwmStrings},
        {"FM E-Piano", "Keys", EngineKind::fm, fmEPiano},
        {"FM Bell", "Keys", EngineKind::fm, fmBell},
        {"FM Bass", "Bass", EngineKind::fm, fmBass},
        {"FM Organ", "Keys", EngineKind::fm, fmOrgan},
        {"FM Brass Stab", "Keys", EngineKind::fm, fmBrassStab},
        {"Drawbar Organ", "Keys", EngineKind::additive, drawbarOrgan},
        {"Glass Pad", "Pad", EngineKind::additive, glassPad},
        {"Hollow Reed", "Lead", EngineKind::additive, hollowReed},
        {"Nylon Guitar", "Pluck", EngineKind::pluck, nylonGuitar},
        {"Harp", "Pluck", EngineKind::pluck, harp},
        {"Muted Pluck", "Pluck", EngineKind::pluck, mutedPluck},
        {"Marimba", "Mallet", EngineKind::modal, marimba},
        {"Tubular Bells", "Mallet", EngineKind::modal, tubularBells},
        {"Glass Harmonics", "Mallet", EngineKind::modal, glassHarmonics},
        {"Kalimba", "Mallet", EngineKind::modal, kalimba},
        {"808 Kit", "Drums", EngineKind::drums, kit808},
        {"909 Kit", "Drums", EngineKind::drums, kit909},
        {"Lo-Fi Kit", "Drums", EngineKind::drums, kitLoFi},
    };

    std::vector<Preset> presets;
    presets.reserve(recipes.size());
    for (const auto& recipe : recipes) {
        SynthPatch patch;
        patch.engine = recipe.engine;
        recipe.edit(patch);
        presets.push_back(Preset{recipe.name, recipe.category, std::move(patch)});
    }
    return presets;
}

} // namespace

namespace Presets {

const std::vector<Preset>& all() {
    static const std::vector<Preset> presets = build();
    return presets;
}

const Preset* named(std::string_view name) {
    std::string wanted = lowercased(name);
    std::replace(wanted.begin(), wanted.end(), '_', ' ');
    for (const auto& preset : all())
        if (lowercased(preset.name) == wanted) return &preset;
    return nullptr;
}

const Preset* firstFor(EngineKind engine) {
    for (const auto& preset : all())
        if (preset.patch.engine == engine) return &preset;
    return nullptr;
}

std::string unknownPresetMessage(std::string_view text) {
    std::string names;
    for (const auto& preset : all()) {
        if (!names.empty()) names += ", ";
        names += preset.name;
    }
    return "Unknown preset '" + std::string(text) + "'. Presets: " + names + ".";
}

} // namespace Presets

} // namespace velmo
