#include "catalog/SynthPatchPaths.h"

#include "catalog/JSONPath.h"
#include "catalog/ParamCoercion.h"
#include "base/UserError.h"
#include "catalog/SynthCatalog.h"
#include "model/SynthPatchJSON.h"

namespace velmo {

using json = nlohmann::json;

namespace {

void flattenValue(const json& value, const std::string& path, std::vector<PathValue>& out);

void flattenObject(const json& object, const std::string& prefix, std::vector<PathValue>& out) {
    // nlohmann's default object keeps its keys sorted, so iteration is already in key order.
    for (const auto& [key, value] : object.items())
        flattenValue(value, prefix.empty() ? key : prefix + "." + key, out);
}

void flattenValue(const json& value, const std::string& path, std::vector<PathValue>& out) {
    if (value.is_object()) {
        flattenObject(value, path, out);
    } else if (value.is_array() && !SynthCatalog::find(path)) {
        for (std::size_t i = 0; i < value.size(); ++i) {
            const auto elementPath = path + "." + std::to_string(i);
            if (value[i].is_object())
                flattenObject(value[i], elementPath, out);
            else
                out.push_back({elementPath, value[i]});
        }
    } else {
        out.push_back({path, value});
    }
}

} // namespace

json jsonObject(const SynthPatch& patch) { return toJSON(patch); }

std::vector<PathValue> flatten(const json& params, const std::string& prefix) {
    std::vector<PathValue> pairs;
    if (params.is_object())
        flattenObject(params, prefix, pairs);
    else if (!prefix.empty())
        flattenValue(params, prefix, pairs);
    return pairs;
}

std::optional<json> valueAt(const SynthPatch& patch, std::string_view path) {
    const auto tree = jsonObject(patch);
    if (const auto* value = JSONPath::get(JSONPath::components(path), tree)) return *value;
    return std::nullopt;
}

SynthPatch applying(const SynthPatch& patch, const json& params) {
    if (!params.is_object() && !params.is_null())
        throw ParamError("Synth params must be an object that maps parameter paths to values, e.g. "
                         "{\"filter.cutoff\": 900}.");

    json tree = jsonObject(patch);
    for (const auto& [path, value] : flatten(params)) {
        const auto* spec = SynthCatalog::find(path);
        if (!spec) throw ParamError("Unknown synth parameter '" + path + "'.", NotFound::synthParameter);
        tree = JSONPath::set(coerce(value, *spec), JSONPath::components(path), std::move(tree));
    }
    return synthPatchFromJSON(tree);
}

} // namespace velmo
