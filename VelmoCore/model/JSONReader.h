// Strict reading of documents: every required key must be present with the right JSON type, and
// the first failure throws a DecodeError that names the key and where it sits, e.g.
//   Missing key "velocity" in tracks[0].patch.filter
// Unknown keys are ignored. Integers accept only whole numbers. Text from the document is
// quoted only as a short excerpt.
#pragma once

#include "base/TextExcerpt.h"
#include "model/EnumTable.h"

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <string>

namespace velmo {

struct DecodeError : std::runtime_error {
    explicit DecodeError(const std::string& message) : std::runtime_error(message) {}
};

class JSONReader {
public:
    using json = nlohmann::json;

    // `path` locates `value` in the document ("" for the root).
    JSONReader(const json& value, std::string path);

    double number(const char* key) const;
    int integer(const char* key) const;
    bool boolean(const char* key) const;
    std::string string(const char* key) const;
    JSONReader object(const char* key) const;
    const json& array(const char* key) const;
    bool hasNonNull(const char* key) const;

    template <class E>
    E enumeration(const char* key) const {
        auto text = string(key);
        if (auto value = fromString<E>(text)) return *value;
        fail("Unknown value \"" + excerpt(text) + "\" for key \"" + key + "\"" + where() + "; expected one of: " + joinedNames<E>());
    }

    // A reader for element `index` of the array under `key`, which must be an object.
    JSONReader element(const char* key, std::size_t index) const;

    // Reads a whole-number JSON value; `what` names it in the error.
    static int wholeNumber(const json& value, const std::string& what);
    static double numberValue(const json& value, const std::string& what);

    const json& value() const { return value_; }
    const std::string& path() const { return path_; }

    [[noreturn]] static void fail(const std::string& message);

private:
    const json& field(const char* key) const;
    std::string childPath(const char* key) const;
    std::string where() const;
    static std::string typeName(const json& value);

    const json& value_;
    std::string path_;
};

} // namespace velmo
