#include "server/IgnoredArguments.h"

#include "base/NumberText.h"

namespace velmo {

using nlohmann::json;

namespace {

// Whether `value` reads as `type` the way the tools read it: numbers also from numeric text,
// booleans also from 0, 1 and any word (ToolArgs).
bool readsAs(const std::string& type, const json& value) {
    if (type == "number" || type == "integer")
        return value.is_number() || (value.is_string() && parseNumber(value.get_ref<const std::string&>()));
    if (type == "boolean")
        return value.is_boolean() || value.is_string() || (value.is_number() && (value == 0 || value == 1));
    if (type == "string") return value.is_string();
    if (type == "array") return value.is_array();
    if (type == "object") return value.is_object();
    return value.is_null();
}

std::string typeWords(const std::string& type) {
    if (type == "integer") return "an integer";
    if (type == "array" || type == "object") return "an " + type;
    if (type == "boolean") return "true or false";
    return "a " + type;
}

// Why `value` does not fit `schema`, or "" when it does.
std::string misfit(const json& schema, const json& value) {
    const auto type = schema.find("type");
    if (type != schema.end()) {
        const json types = type->is_array() ? *type : json::array({*type});
        bool fits = false;
        std::string expected;
        for (const json& t : types) {
            fits = fits || readsAs(t.get<std::string>(), value);
            expected += (expected.empty() ? "" : " or ") + typeWords(t.get<std::string>());
        }
        if (!fits) return "expected " + expected;
    }
    return "";
}

void check(const json& schema, const json& value, const std::string& path, std::vector<std::string>& out) {
    if (const std::string why = misfit(schema, value); !why.empty()) {
        out.push_back("ignored " + path + ": " + why);
        return;
    }
    const std::string prefix = path.empty() ? "" : path + ".";
    if (value.is_object()) {
        const auto properties = schema.find("properties");
        const auto others = schema.find("additionalProperties");
        for (const auto& [key, item] : value.items()) {
            if (properties != schema.end() && properties->contains(key)) check((*properties)[key], item, prefix + key, out);
            else if (others != schema.end() && others->is_object()) check(*others, item, prefix + key, out);
            else if (others != schema.end() && *others == false) out.push_back("ignored " + prefix + key + ": unknown argument");
        }
    } else if (value.is_array()) {
        if (const auto items = schema.find("items"); items != schema.end())
            for (std::size_t i = 0; i < value.size(); ++i) check(*items, value[i], path + "[" + std::to_string(i) + "]", out);
    }
}

} // namespace

std::vector<std::string> ignoredArguments(const json& schema, const json& arguments) {
    std::vector<std::string> out;
    if (arguments.is_object()) check(schema, arguments, "", out);
    return out;
}

} // namespace velmo
