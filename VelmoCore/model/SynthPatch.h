// The complete sound of one track: the engine that speaks, the parameters of all seven engines
// at once (so switching engines loses nothing), and the filter, envelopes, LFOs, modulation
// matrix and voice settings they share. Plain values: the model never clamps or rounds; ranges
// belong to the synth catalog and are enforced when a parameter is set by path.
#pragma once

#include "dsp/FilterType.h"
#include "model/EnumTable.h"

#include <array>
#include <string_view>
#include <vector>

namespace velmo {

enum class EngineKind { analog, wavetable, fm, additive, pluck, modal, drums };
enum class OscWave { sine, triangle, saw, square, pulse, noise };
enum class WavetableKind { basic, pwm, vocal, sweep, digital, organ };
enum class ModalMaterial { bar, bell, glass, membrane, string, tube };
enum class LFOShape { sine, triangle, saw, square, random };
enum class ModSource { none, lfo1, lfo2, modEnv, ampEnv, velocity, keytrack, random };
enum class ModDestination {
    none, pitch, cutoff, resonance, volume, pan, pulseWidth, wavetablePosition, fmAmount, osc2Pitch,
    noise, lfo1Rate, lfo2Rate
};
enum class VoiceMode { poly, mono, legato };

template <> struct EnumNames<EngineKind> {
    static constexpr std::array<std::string_view, 7> names{"analog", "wavetable", "fm", "additive", "pluck", "modal", "drums"};
};
template <> struct EnumNames<OscWave> {
    static constexpr std::array<std::string_view, 6> names{"sine", "triangle", "saw", "square", "pulse", "noise"};
};
template <> struct EnumNames<WavetableKind> {
    static constexpr std::array<std::string_view, 6> names{"basic", "pwm", "vocal", "sweep", "digital", "organ"};
};
template <> struct EnumNames<ModalMaterial> {
    static constexpr std::array<std::string_view, 6> names{"bar", "bell", "glass", "membrane", "string", "tube"};
};
template <> struct EnumNames<FilterType> {
    static constexpr std::array<std::string_view, 7> names{"off", "lowpass12", "lowpass24", "ladder", "highpass12", "bandpass", "notch"};
};
template <> struct EnumNames<LFOShape> {
    static constexpr std::array<std::string_view, 5> names{"sine", "triangle", "saw", "square", "random"};
};
template <> struct EnumNames<ModSource> {
    static constexpr std::array<std::string_view, 8> names{"none", "lfo1", "lfo2", "modEnv", "ampEnv", "velocity", "keytrack", "random"};
};
template <> struct EnumNames<ModDestination> {
    static constexpr std::array<std::string_view, 13> names{
        "none", "pitch", "cutoff", "resonance", "volume", "pan", "pulseWidth", "wavetablePosition", "fmAmount",
        "osc2Pitch", "noise", "lfo1Rate", "lfo2Rate"};
};
template <> struct EnumNames<VoiceMode> {
    static constexpr std::array<std::string_view, 3> names{"poly", "mono", "legato"};
};

// Display name and one-line description of an engine, as menus and the catalog show them.
std::string_view label(EngineKind kind);
std::string_view summary(EngineKind kind);

struct AnalogOsc {
    OscWave wave = OscWave::saw;
    double octave = 0.0;
    double semitone = 0.0;
    double detune = 0.0;      // cents
    double pulseWidth = 0.5;
    double level = 1.0;

    bool operator==(const AnalogOsc&) const = default;
};

struct AnalogParams {
    AnalogOsc osc1{OscWave::saw, 0.0, 0.0, 0.0, 0.5, 1.0};
    AnalogOsc osc2{OscWave::saw, 0.0, 0.0, 7.0, 0.5, 0.0};
    double subLevel = 0.0;
    double noiseLevel = 0.0;
    double unison = 1.0;
    double unisonDetune = 20.0;  // cents
    double unisonSpread = 0.7;

    bool operator==(const AnalogParams&) const = default;
};

struct WavetableParams {
    WavetableKind table = WavetableKind::basic;
    double position = 0.0;
    double octave = 0.0;
    double semitone = 0.0;
    double unison = 1.0;
    double unisonDetune = 15.0;  // cents
    double unisonSpread = 0.6;
    double subLevel = 0.0;
    double noiseLevel = 0.0;

    bool operator==(const WavetableParams&) const = default;
};

struct FMOperator {
    double ratio = 1.0;
    double detune = 0.0;
    double level = 1.0;
    double attack = 0.002;   // seconds
    double decay = 0.6;      // seconds
    double sustain = 1.0;
    double release = 0.4;    // seconds
    double velocity = 0.5;

    bool operator==(const FMOperator&) const = default;
};

struct FMParams {
    double algorithm = 1.0;
    double feedback = 0.0;
    std::vector<FMOperator> ops{
        {1.0, 0.0, 1.0, 0.002, 0.6, 1.0, 0.4, 0.5},
        {2.0, 0.0, 0.45, 0.002, 0.8, 0.4, 0.4, 0.5},
        {1.0, 0.0, 0.0, 0.002, 0.6, 1.0, 0.4, 0.5},
        {1.0, 0.0, 0.0, 0.002, 0.6, 1.0, 0.4, 0.5},
    };

    bool operator==(const FMParams&) const = default;
};

struct AdditiveParams {
    std::vector<double> harmonics{1.0 / 1, 1.0 / 2, 1.0 / 3, 1.0 / 4, 1.0 / 5, 1.0 / 6, 1.0 / 7, 1.0 / 8,
                                  1.0 / 9, 1.0 / 10, 1.0 / 11, 1.0 / 12, 1.0 / 13, 1.0 / 14, 1.0 / 15, 1.0 / 16};
    double brightness = 0.0;
    double evenLevel = 1.0;
    double stretch = 0.0;

    bool operator==(const AdditiveParams&) const = default;
};

struct PluckParams {
    double brightness = 0.7;
    double damping = 0.35;
    double decay = 3.0;  // seconds to -60 dB
    double pickPosition = 0.15;

    bool operator==(const PluckParams&) const = default;
};

struct ModalParams {
    ModalMaterial material = ModalMaterial::bar;
    double decay = 1.5;  // seconds
    double damping = 0.5;
    double hardness = 0.5;

    bool operator==(const ModalParams&) const = default;
};

struct DrumParams {
    double kickTune = 48.0;  // Hz
    double kickDecay = 0.45;
    double kickPunch = 0.6;
    double kickClick = 0.4;
    double snareTune = 180.0;  // Hz
    double snareSnappy = 0.6;
    double snareDecay = 0.22;
    double clapDecay = 0.25;
    double hatTone = 0.5;
    double hatDecay = 0.5;
    double tomTune = 1.0;  // factor
    double tomDecay = 0.35;
    double cymbalDecay = 1.5;
    double drive = 0.1;

    bool operator==(const DrumParams&) const = default;
};

struct FilterParams {
    FilterType type = FilterType::lowpass24;
    double cutoff = 8000.0;  // Hz
    double resonance = 0.1;
    double drive = 0.0;
    double keyTrack = 0.3;
    double envAmount = 0.0;  // octaves
    double velocity = 0.0;   // octaves

    bool operator==(const FilterParams&) const = default;
};

struct EnvelopeParams {
    double attack = 0.005;   // seconds
    double decay = 0.3;      // seconds
    double sustain = 0.8;    // level 0 to 1
    double release = 0.3;    // seconds

    bool operator==(const EnvelopeParams&) const = default;
};

struct LFOParams {
    LFOShape shape = LFOShape::sine;
    double rate = 4.0;  // Hz when not synced
    bool sync = false;
    double beats = 1.0;  // cycle length when synced
    bool retrigger = true;

    LFOParams() = default;
    LFOParams(LFOShape shape, double rate) : shape(shape), rate(rate) {}
    LFOParams(LFOShape shape, double rate, bool sync, double beats, bool retrigger)
        : shape(shape), rate(rate), sync(sync), beats(beats), retrigger(retrigger) {}

    bool operator==(const LFOParams&) const = default;
};

struct ModSlot {
    ModSource source = ModSource::none;
    ModDestination destination = ModDestination::none;
    double amount = 0.0;

    bool operator==(const ModSlot&) const = default;
};

struct VoiceParams {
    VoiceMode mode = VoiceMode::poly;
    double polyphony = 8.0;
    double glide = 0.0;  // seconds
    double level = 0.7;
    double velocitySens = 0.6;

    bool operator==(const VoiceParams&) const = default;
};

struct SynthPatch {
    static constexpr int modSlotCount = 6;

    EngineKind engine = EngineKind::analog;
    AnalogParams analog;
    WavetableParams wavetable;
    FMParams fm;
    AdditiveParams additive;
    PluckParams pluck;
    ModalParams modal;
    DrumParams drums;
    FilterParams filter;
    EnvelopeParams ampEnv{0.005, 0.3, 0.8, 0.3};
    EnvelopeParams modEnv{0.005, 0.4, 0.0, 0.4};
    LFOParams lfo1{LFOShape::sine, 4.0};
    LFOParams lfo2{LFOShape::triangle, 0.3};
    std::vector<ModSlot> mod = std::vector<ModSlot>(modSlotCount);
    VoiceParams voice;

    bool operator==(const SynthPatch&) const = default;
};

} // namespace velmo
