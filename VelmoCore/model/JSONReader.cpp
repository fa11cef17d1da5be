#include "model/JSONReader.h"

#include <cmath>
#include <limits>

namespace velmo {

JSONReader::JSONReader(const json& value, std::string path) : value_(value), path_(std::move(path)) {
    if (!value_.is_object())
        fail("Expected an object" + std::string(path_.empty() ? " at the top level" : " at " + path_) + ", found " +
             typeName(value_));
}

std::string JSONReader::where() const { return path_.empty() ? " at the top level" : " in " + path_; }

std::string JSONReader::childPath(const char* key) const { return path_.empty() ? key : path_ + "." + key; }

std::string JSONReader::typeName(const json& value) {
    switch (value.type()) {
    case json::value_t::null: return "null";
    case json::value_t::boolean: return "a boolean";
    case json::value_t::string: return "a string";
    case json::value_t::array: return "an array";
    case json::value_t::object: return "an object";
    case json::value_t::number_integer:
    case json::value_t::number_unsigned:
    case json::value_t::number_float: return "a number";
    default: return "an unreadable value";
    }
}

void JSONReader::fail(const std::string& message) { throw DecodeError(message); }

const nlohmann::json& JSONReader::field(const char* key) const {
    auto it = value_.find(key);
    if (it == value_.end()) fail("Missing key \"" + std::string(key) + "\"" + where());
    return *it;
}

int JSONReader::wholeNumber(const json& value, const std::string& what) {
    if (value.is_number_integer()) {
        auto n = value.get<std::int64_t>();
        if (n < std::numeric_limits<int>::min() || n > std::numeric_limits<int>::max())
            fail(what + " is out of range: " + value.dump());
        return static_cast<int>(n);
    }
    if (value.is_number_unsigned()) fail(what + " is out of range: " + value.dump());
    if (value.is_number_float()) {
        double d = value.get<double>();
        if (std::floor(d) != d) fail(what + " must be a whole number, not " + value.dump());
        if (d < std::numeric_limits<int>::min() || d > std::numeric_limits<int>::max())
            fail(what + " is out of range: " + value.dump());
        return static_cast<int>(d);
    }
    fail(what + " must be an integer, found " + typeName(value));
}

double JSONReader::numberValue(const json& value, const std::string& what) {
    if (!value.is_number()) fail(what + " must be a number, found " + typeName(value));
    return value.get<double>();
}

double JSONReader::number(const char* key) const {
    return numberValue(field(key), "Key \"" + std::string(key) + "\"" + where());
}

int JSONReader::integer(const char* key) const {
    return wholeNumber(field(key), "Key \"" + std::string(key) + "\"" + where());
}

bool JSONReader::boolean(const char* key) const {
    const auto& v = field(key);
    if (!v.is_boolean()) fail("Key \"" + std::string(key) + "\"" + where() + " must be a boolean, found " + typeName(v));
    return v.get<bool>();
}

std::string JSONReader::string(const char* key) const {
    const auto& v = field(key);
    if (!v.is_string()) fail("Key \"" + std::string(key) + "\"" + where() + " must be a string, found " + typeName(v));
    return v.get<std::string>();
}

JSONReader JSONReader::object(const char* key) const { return JSONReader(field(key), childPath(key)); }

const nlohmann::json& JSONReader::array(const char* key) const {
    const auto& v = field(key);
    if (!v.is_array()) fail("Key \"" + std::string(key) + "\"" + where() + " must be an array, found " + typeName(v));
    return v;
}

JSONReader JSONReader::element(const char* key, std::size_t index) const {
    return JSONReader(array(key)[index], childPath(key) + "[" + std::to_string(index) + "]");
}

bool JSONReader::hasNonNull(const char* key) const {
    auto it = value_.find(key);
    return it != value_.end() && !it->is_null();
}

} // namespace velmo
