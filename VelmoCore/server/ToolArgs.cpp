#include "server/ToolArgs.h"

#include "base/NumberText.h"
#include "model/Unicode.h"

#include <cmath>
#include <limits>

namespace velmo {

ToolArgs::ToolArgs(nlohmann::json object)
    : object_(object.is_object() ? std::move(object) : nlohmann::json::object()) {}

const nlohmann::json* ToolArgs::value(const std::string& key) const {
    auto found = object_.find(key);
    return found == object_.end() ? nullptr : &*found;
}

std::optional<double> ToolArgs::num(const std::string& key) const {
    const nlohmann::json* v = value(key);
    if (!v) return std::nullopt;
    if (v->is_number()) {
        double number = v->get<double>();
        if (!std::isfinite(number)) return std::nullopt;
        return number;
    }
    if (v->is_string()) {
        auto number = parseNumber(v->get_ref<const std::string&>());
        if (number && std::isfinite(*number)) return number;
    }
    return std::nullopt;
}

std::optional<bool> ToolArgs::boolean(const std::string& key) const {
    const nlohmann::json* v = value(key);
    if (!v) return std::nullopt;
    if (v->is_boolean()) return v->get<bool>();
    if (v->is_number()) {
        double number = v->get<double>();
        if (number == 0) return false;
        if (number == 1) return true;
        return std::nullopt;
    }
    if (v->is_string()) {
        std::string word = lowercased(v->get_ref<const std::string&>());
        return word == "true" || word == "yes" || word == "on" || word == "1";
    }
    return std::nullopt;
}

std::optional<std::string> ToolArgs::string(const std::string& key) const {
    const nlohmann::json* v = value(key);
    if (!v || !v->is_string()) return std::nullopt;
    return v->get<std::string>();
}

std::optional<std::int64_t> ToolArgs::integer(const std::string& key) const {
    std::optional<double> number = num(key);
    if (!number) return std::nullopt;
    double rounded = std::round(*number);
    // 2^63 is exactly representable; anything at or beyond it would overflow the conversion.
    constexpr double limit = 9223372036854775808.0;
    if (rounded >= limit) return std::numeric_limits<std::int64_t>::max();
    if (rounded < -limit) return std::numeric_limits<std::int64_t>::min();
    return std::int64_t(rounded);
}

} // namespace velmo
