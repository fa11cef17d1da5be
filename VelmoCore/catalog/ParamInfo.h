// One settable synth parameter as the catalog describes it: its dotted path, label, panel
// section, kind with range or options, owning engine and help line. The tools validate against
// it, the agent's synth reference prints it and the synth editor builds a control from it.
#pragma once

#include "model/SynthPatch.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace velmo {

// A continuous or whole-number parameter. Values outside min...max are clamped, never rejected.
struct NumberParam {
    double min = 0.0;
    double max = 1.0;
    std::string unit;      // shown after the value; empty for plain levels and ratios
    bool log = false;      // the control moves on a logarithmic scale
    bool integer = false;  // coerce rounds the clamped value, halves away from zero

    bool operator==(const NumberParam&) const = default;
};

// One of a fixed list of texts, spelled as the enumeration's wire strings.
struct ChoiceParam {
    std::vector<std::string> options;

    bool operator==(const ChoiceParam&) const = default;
};

struct ToggleParam {
    bool operator==(const ToggleParam&) const = default;
};

using ParamKind = std::variant<NumberParam, ChoiceParam, ToggleParam>;

struct ParamInfo {
    std::string path;     // unique in the catalog, e.g. "fm.ops.1.ratio"
    std::string label;    // short control label; several rows may share one ("Level")
    std::string section;  // panel heading, e.g. "Operator 2"
    ParamKind kind;
    std::optional<EngineKind> engine;  // absent for rows every engine shares
    std::string help;                  // one line for the reference; empty for most rows
    // The value a fresh SynthPatch holds at `path`, in its JSON form (number, text or boolean).
    nlohmann::json defaultValue;

    const NumberParam* number() const { return std::get_if<NumberParam>(&kind); }
    const ChoiceParam* choice() const { return std::get_if<ChoiceParam>(&kind); }
    bool isToggle() const { return std::holds_alternative<ToggleParam>(kind); }

    bool operator==(const ParamInfo&) const = default;
};

} // namespace velmo
