#include "catalog/ParamCoercion.h"

#include "base/NumberText.h"
#include "base/UserError.h"
#include "model/Unicode.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

namespace velmo {

using json = nlohmann::json;

namespace {

json coerceNumber(const json& value, const std::string& path, const NumberParam& range) {
    std::optional<double> number;
    if (value.is_number())
        number = value.get<double>();
    else if (value.is_boolean())
        number = value.get<bool>() ? 1.0 : 0.0;
    else if (value.is_string())
        number = parseNumber(value.get_ref<const std::string&>());
    if (!number)
        throw ParamError("'" + path + "' expects a number between " + shortestText(range.min) + " and " +
                         shortestText(range.max) + ".");
    if (!std::isfinite(*number)) throw ParamError("'" + path + "' must be finite.");

    double result = std::clamp(*number, range.min, range.max);
    if (range.integer) result = std::round(result);
    return result + 0.0;  // no negative zero: -0.3 on a whole-numbered row reads back as 0.0
}

json coerceToggle(const json& value, const std::string& path) {
    if (value.is_boolean()) return value;
    if (value.is_number() && (value == 0 || value == 1)) return value == 1;
    if (value.is_string()) {
        const auto text = lowercased(value.get_ref<const std::string&>());
        return text == "true" || text == "on" || text == "yes" || text == "1";
    }
    throw ParamError("'" + path + "' expects true or false.");
}

json coerceChoice(const json& value, const std::string& path, const ChoiceParam& choice) {
    if (value.is_string()) {
        const auto wanted = lowercased(value.get_ref<const std::string&>());
        for (const auto& option : choice.options)
            if (lowercased(option) == wanted) return option;
    }
    std::string list;
    for (const auto& option : choice.options) list += (list.empty() ? "" : ", ") + option;
    throw ParamError("'" + path + "' must be one of: " + list + ".");
}

} // namespace

json coerce(const json& value, const ParamInfo& spec) {
    if (const auto* range = spec.number()) return coerceNumber(value, spec.path, *range);
    if (const auto* choice = spec.choice()) return coerceChoice(value, spec.path, *choice);
    return coerceToggle(value, spec.path);
}

} // namespace velmo
