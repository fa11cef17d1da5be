// Reading and editing a SynthPatch by dotted parameter paths ("filter.cutoff", "fm.ops.1.ratio",
// "mod.0.source") with no per-field code: the patch is encoded to its JSON tree, the tree is
// edited by path, and the tree is decoded back. The synth catalog is the gate: only its paths
// are accepted, and every value is coerced to its row first. Control side only: each call
// encodes the whole patch, which is fine once per tool call or gesture, never per audio block.
#pragma once

#include "model/SynthPatch.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmo {

struct PathValue {
    std::string path;
    nlohmann::json value;

    bool operator==(const PathValue&) const = default;
};

// The patch as a JSON tree of objects, arrays, numbers, texts and booleans.
nlohmann::json jsonObject(const SynthPatch& patch);

// A nested params object as (path, value) pairs, keys in ascending order at every level, so that
// {"filter": {"cutoff": 900}} and {"filter.cutoff": 900} give the same pair. An array is kept
// whole when its path is a catalog path and otherwise expanded by index, so
// {"additive.harmonics": [1, 0.5]} gives "additive.harmonics.0" and "additive.harmonics.1".
// A non-object `params` gives the single pair (prefix, params), or nothing when prefix is empty.
std::vector<PathValue> flatten(const nlohmann::json& params, const std::string& prefix = "");

// The value at `path` in the patch's JSON tree (empty components ignored), or nothing.
std::optional<nlohmann::json> valueAt(const SynthPatch& patch, std::string_view path);

// A new patch with every pair of flatten(params) applied in order, each value coerced to its
// catalog row (out-of-range numbers are clamped). `params` must be a JSON object; null counts
// as empty. Throws ParamError for the first unknown path or unusable value, and then nothing
// has been applied; a DecodeError from decoding the edited tree passes up unchanged.
SynthPatch applying(const SynthPatch& patch, const nlohmann::json& params);

} // namespace velmo
