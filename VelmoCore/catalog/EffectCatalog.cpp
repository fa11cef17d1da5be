#include "catalog/EffectCatalog.h"

#include "base/NumberText.h"
#include "base/UserError.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace velmo::EffectCatalog {

namespace {

using P = EffectParamInfo;

// name, label, min, max, default, unit, log, help
constexpr std::array driveSpecs{
    P{"drive", "Drive", 0, 1, 0.3, "", false, ""},
    P{"tone", "Tone", 0, 1, 0.7, "", false, ""},
    P{"level", "Level", -24, 12, 0, "dB", false, ""},
    P{"mix", "Mix", 0, 1, 1, "", false, ""},
};
constexpr std::array bitcrushSpecs{
    P{"bits", "Bits", 1, 16, 8, "", false, ""},
    P{"downsample", "Downsmp", 1, 32, 4, "", true, ""},
    P{"mix", "Mix", 0, 1, 1, "", false, ""},
};
constexpr std::array chorusSpecs{
    P{"rate", "Rate", 0.05, 5, 0.6, "Hz", true, ""},
    P{"depth", "Depth", 0, 1, 0.5, "", false, ""},
    P{"mix", "Mix", 0, 1, 0.5, "", false, ""},
};
constexpr std::array phaserSpecs{
    P{"rate", "Rate", 0.02, 5, 0.3, "Hz", true, ""},
    P{"depth", "Depth", 0, 1, 0.7, "", false, ""},
    P{"feedback", "Feedback", 0, 0.95, 0.5, "", false, ""},
    P{"mix", "Mix", 0, 1, 0.5, "", false, ""},
};
constexpr std::array delaySpecs{
    P{"time", "Time", 0.0625, 4, 0.75, "beats", true, "Delay time in beats (0.75 = dotted eighth)"},
    P{"feedback", "Feedback", 0, 0.95, 0.4, "", false, ""},
    P{"tone", "Tone", 0, 1, 0.6, "", false, ""},
    P{"pingpong", "PingPong", 0, 1, 1, "", false, "0 = stereo, 1 = ping-pong"},
    P{"mix", "Mix", 0, 1, 0.3, "", false, ""},
};
constexpr std::array reverbSpecs{
    P{"size", "Size", 0, 1, 0.7, "", false, ""},
    P{"damping", "Damping", 0, 1, 0.5, "", false, ""},
    P{"width", "Width", 0, 1, 1, "", false, ""},
    P{"mix", "Mix", 0, 1, 0.3, "", false, ""},
};
constexpr std::array eqSpecs{
    P{"low", "Low", -18, 18, 0, "dB", false, ""},
    P{"mid", "Mid", -18, 18, 0, "dB", false, ""},
    P{"midFreq", "Mid Hz", 150, 8000, 1000, "Hz", true, ""},
    P{"high", "High", -18, 18, 0, "dB", false, ""},
};
constexpr std::array compressorSpecs{
    P{"threshold", "Thresh", -60, 0, -18, "dB", false, ""},
    P{"ratio", "Ratio", 1, 20, 4, "", true, ""},
    P{"attack", "Attack", 0.1, 100, 10, "ms", true, ""},
    P{"release", "Release", 10, 1000, 120, "ms", true, ""},
    P{"makeup", "Makeup", 0, 24, 3, "dB", false, ""},
};
constexpr std::array autofilterSpecs{
    P{"mode", "Mode", 0, 2, 0, "", false, "0 lowpass, 1 highpass, 2 bandpass"},
    P{"cutoff", "Cutoff", 20, 20000, 1200, "Hz", true, ""},
    P{"resonance", "Reso", 0, 1, 0.4, "", false, ""},
    P{"rate", "Rate", 0.01, 20, 0.5, "Hz", true, ""},
    P{"depth", "Depth", 0, 1, 0.5, "", false, "Sweep depth (1 = \u00b14 octaves)"},
    P{"mix", "Mix", 0, 1, 1, "", false, ""},
};

std::string joinedParamNames(EffectKind kind) {
    std::string names;
    for (const auto& s : specs(kind)) {
        if (!names.empty()) names += ", ";
        names += s.name;
    }
    return names;
}

} // namespace

std::span<const EffectParamInfo> specs(EffectKind kind) {
    switch (kind) {
    case EffectKind::drive: return driveSpecs;
    case EffectKind::bitcrush: return bitcrushSpecs;
    case EffectKind::chorus: return chorusSpecs;
    case EffectKind::phaser: return phaserSpecs;
    case EffectKind::delay: return delaySpecs;
    case EffectKind::reverb: return reverbSpecs;
    case EffectKind::eq: return eqSpecs;
    case EffectKind::compressor: return compressorSpecs;
    case EffectKind::autofilter: return autofilterSpecs;
    }
    return {};
}

const EffectParamInfo* spec(EffectKind kind, std::string_view name) {
    for (const auto& s : specs(kind))
        if (s.name == name) return &s;
    return nullptr;
}

EffectParams defaults(EffectKind kind) {
    EffectParams params;
    for (const auto& s : specs(kind)) params.emplace(std::string(s.name), s.defaultValue);
    return params;
}

EffectParams merge(EffectKind kind, const EffectParams& base, const nlohmann::json& changes) {
    EffectParams merged = base;
    if (changes.is_null()) return merged;
    if (!changes.is_object())
        throw ParamError("Effect parameters must be an object of parameter names to numbers. Valid: " +
                         joinedParamNames(kind));
    for (const auto& [key, raw] : changes.items()) {
        const EffectParamInfo* s = spec(kind, key);
        if (!s)
            throw ParamError("Effect '" + std::string(toString(kind)) + "' has no parameter '" + key +
                             "'. Valid: " + joinedParamNames(kind));
        std::optional<double> number;
        if (raw.is_boolean())
            number = raw.get<bool>() ? 1.0 : 0.0;
        else if (raw.is_number())
            number = raw.get<double>();
        else if (raw.is_string())
            number = parseNumber(raw.get_ref<const std::string&>());
        // An infinity clamps to an end of the range; no range holds NaN.
        if (!number || std::isnan(*number)) throw ParamError("Effect parameter '" + key + "' expects a number.");
        merged[key] = std::clamp(*number, s->min, s->max);
    }
    return merged;
}

EffectParams merge(EffectKind kind, const EffectParams& base, const EffectParams& changes) {
    return merge(kind, base, nlohmann::json(changes));
}

std::string_view summary(EffectKind kind) {
    switch (kind) {
    case EffectKind::drive: return "Tube-style tanh saturation with tone control";
    case EffectKind::bitcrush: return "Bit-depth and sample-rate reduction";
    case EffectKind::chorus: return "Stereo modulated-delay chorus";
    case EffectKind::phaser: return "6-stage stereo phaser";
    case EffectKind::delay: return "Tempo-synced stereo/ping-pong delay";
    case EffectKind::reverb: return "Freeverb-style algorithmic reverb";
    case EffectKind::eq: return "3-band EQ: low shelf, sweepable mid, high shelf";
    case EffectKind::compressor: return "Stereo-linked feed-forward compressor";
    case EffectKind::autofilter: return "Resonant filter with LFO sweep";
    }
    return {};
}

EffectSlot makeSlot(std::string id, EffectKind kind, bool enabled, std::optional<EffectParams> params) {
    EffectSlot slot;
    slot.id = std::move(id);
    slot.kind = kind;
    slot.enabled = enabled;
    slot.params = params ? std::move(*params) : defaults(kind);
    return slot;
}

// Processors read through here on the audio thread when a project loads, so the lookup walks the
// few entries instead of building a std::string key.
double value(const EffectSlot& slot, std::string_view name) {
    for (const auto& [key, stored] : slot.params)
        if (key == name) return stored;
    if (const EffectParamInfo* s = spec(slot.kind, name)) return s->defaultValue;
    return 0.0;
}

} // namespace velmo::EffectCatalog
