#include "server/ToolSchema.h"

namespace velmo::schema {

using nlohmann::json;

json E(std::vector<std::string> values, std::string description) {
    return {{"type", "string"}, {"enum", std::move(values)}, {"description", std::move(description)}};
}

json A(json items, std::string description) {
    return {{"type", "array"}, {"items", std::move(items)}, {"description", std::move(description)}};
}

json O(json properties, std::vector<std::string> required) {
    if (properties.is_null()) properties = json::object();
    return {{"type", "object"},
            {"properties", std::move(properties)},
            {"required", json(std::move(required))},
            {"additionalProperties", false}};
}

json P(std::string type, std::string description) {
    return {{"type", std::move(type)}, {"description", std::move(description)}};
}

const json& trackRef() {
    static const json form = {{"type", json::array({"string", "integer"})},
                              {"description", "Track id (e.g. \"t2\"), track name, or 0-based index"}};
    return form;
}

const json& targetRef() {
    static const json form = {{"type", json::array({"string", "integer"})},
                              {"description", "\"master\" for the master bus, or a track id / name / index"}};
    return form;
}

const json& pitchRef() {
    static const json form = {
        {"type", json::array({"integer", "string"})},
        {"description", "MIDI number (60 = C4) or note name like \"C4\", \"F#3\", \"Bb2\". Drum names (kick, "
                        "snare, clap, hat, open_hat, ...) also work."}};
    return form;
}

const json& noteSchema() {
    static const json form = O(
        {{"pitch", pitchRef()},
         {"start", P("number", "Start in beats from the clip start (0 = clip downbeat; 0.5 = eighth note later in 4/4)")},
         {"duration", P("number", "Length in beats (default 0.5)")},
         {"velocity", P("number", "0..1 (default 0.8)")}},
        {"pitch", "start"});
    return form;
}

} // namespace velmo::schema
