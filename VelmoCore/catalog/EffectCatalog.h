// What each of the nine insert effects can be set to: names, ranges, defaults, units and labels,
// declared once for the tools, the effect processors and the effects view. A slot stores its
// parameters as a plain name-to-number map; this table gives the names their meaning.
#pragma once

#include "model/Project.h"

#include <nlohmann/json.hpp>

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace velmo {

struct EffectParamInfo {
    std::string_view name;   // key in EffectSlot::params
    std::string_view label;  // control label
    double min = 0;
    double max = 1;
    double defaultValue = 0;
    std::string_view unit;   // possibly empty
    bool log = false;        // the control moves on a logarithmic scale
    std::string_view help;   // possibly empty

    bool operator==(const EffectParamInfo&) const = default;
};

using EffectParams = std::map<std::string, double>;

// Stateless: every table is a constant, so any thread may read it.
namespace EffectCatalog {

// The kind's parameters in their fixed order (the order of the knobs).
std::span<const EffectParamInfo> specs(EffectKind kind);

// The first spec of that name, or nothing. Names are case-sensitive.
const EffectParamInfo* spec(EffectKind kind, std::string_view name);

// Every parameter of the kind at its default.
EffectParams defaults(EffectKind kind);

// `base` with `changes` (a JSON object of name to value) applied in key order. A value is a
// JSON number (a boolean reads as 0 or 1) or a text that parseNumber reads whole; it is clamped
// to the parameter's range, an infinity to an end of it. Throws ParamError naming the valid parameters for an unknown key, or
// the key for a value that is no number; nothing is returned half-applied. Keys of `base` that
// the table lacks are kept. `bits` and `mode` are not rounded: the processors take fractions.
EffectParams merge(EffectKind kind, const EffectParams& base, const nlohmann::json& changes);
// The same for changes that are already numbers, as a knob's gesture gives them.
EffectParams merge(EffectKind kind, const EffectParams& base, const EffectParams& changes);

// One line on what the effect does, for menus and the agent's reference.
std::string_view summary(EffectKind kind);

// A new slot; without `params` it holds every default of the kind.
EffectSlot makeSlot(std::string id, EffectKind kind, bool enabled = true,
                    std::optional<EffectParams> params = std::nullopt);

// The slot's stored value for `name`, else the kind's default, else 0. This is how every
// processor and knob reads a parameter, so a slot that stores only what differs sounds right.
double value(const EffectSlot& slot, std::string_view name);

} // namespace EffectCatalog

} // namespace velmo
