// The tool registry: argument readings, the reply and log of a call, the log summary, number
// tidying, the schema forms, and the full list of tools with their flags.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "base/UserError.h"
#include "server/MCPTools.h"
#include "server/ToolGroups.h"
#include "server/ToolSchema.h"
#include "server/VelmoInfo.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace velmo;
using nlohmann::json;

namespace {

json call(MCPTools& tools, const std::string& name, json arguments = json::object()) {
    json reply;
    tools.call(name, std::move(arguments), [&](json r) { reply = std::move(r); });
    return reply;
}

std::string text(const json& reply) { return reply["content"][0]["text"]; }

} // namespace

TEST(ToolArgs, ForgivingReadings) {
    ToolArgs args(json::parse(R"({"n":2,"f":1.5,"s":"1.5","bad":"1.5x","inf":"inf","over":"1e400","t":true,"one":1,
        "two":2,"TRUE":"TRUE","no":"no","maybe":"maybe","yes":"Yes",
        "half":2.5,"mhalf":-2.5,"huge":1e300,"arr":[1]})"));
    EXPECT_EQ(args.num("n"), 2.0);
    EXPECT_EQ(args.num("s"), 1.5);
    // Texts read as parseNumber reads them; what is not finite is absent.
    for (const char* absent : {"bad", "inf", "over", "t", "arr", "missing"})
        EXPECT_EQ(args.num(absent), std::nullopt) << absent;

    using Bool = std::optional<bool>;
    for (auto [key, value] : {std::pair<const char*, Bool>{"t", true}, {"one", true}, {"two", std::nullopt}, {"TRUE", true},
                              {"yes", true}, {"no", false}, {"maybe", false}, {"arr", std::nullopt}})
        EXPECT_EQ(args.boolean(key), value) << key;
    EXPECT_EQ(args.string("s"), "1.5");
    EXPECT_EQ(args.string("n"), std::nullopt);

    EXPECT_EQ(args.integer("half"), 3);
    EXPECT_EQ(args.integer("mhalf"), -3);
    EXPECT_EQ(args.integer("s"), 2);
    EXPECT_EQ(args.integer("huge"), INT64_MAX);
    EXPECT_EQ(ToolArgs(json::array({1})).json(), json::object());
}

TEST(ToolRegistry, SummarizeAndSchemas) {
    EXPECT_EQ(summarize(json::object()), "");
    EXPECT_EQ(summarize(json::parse(R"({"e":5,"d":"x","c":[1,2,3],"b":{"z":1,"y":2,"x":3,"w":4},"a":true})")),
              "a: true  b: {w, x, y, …}  c: [3]  d: x");
    EXPECT_EQ(summarize(json{{"o", {{"k", 1}}}}), "o: {k}");
    EXPECT_EQ(summarize(json{{"name", std::string(39, 'a') + "éé"}}), "name: " + std::string(39, 'a') + "é…");
    EXPECT_EQ(summarize(json{{"tempo", 128.5}}), "tempo: 128.5");

    using namespace schema;
    EXPECT_EQ(O(nullptr, {})["required"], json::array()) << "never null: clients read it as a list";
    EXPECT_EQ(trackRef()["type"], json({"string", "integer"}));
    EXPECT_EQ(trackRef()["description"], "Track id (e.g. \"t2\"), track name, or 0-based index");
    EXPECT_EQ(targetRef()["description"], "\"master\" for the master bus, or a track id / name / index");
    EXPECT_EQ(pitchRef()["type"], json({"integer", "string"}));
    EXPECT_EQ(noteSchema()["required"], json({"pitch", "start"}));
    EXPECT_EQ(noteSchema()["properties"]["velocity"]["description"], "0..1 (default 0.8)");
}

TEST(ToolRegistry, RepliesAndLogRows) {
    HeadlessMainQueue queue;
    Studio studio{Project("Untitled", 120)};
    MCPTools tools(studio, queue, [](MCPTools&) {
        std::vector<ToolDef> list;
        auto add = [&](std::string name, bool readOnly, std::function<ToolValue(const ToolArgs&)> body) {
            list.push_back({std::move(name), "d", schema::O(nullptr, {}), readOnly, immediate(std::move(body))});
        };
        add("text", true, [](const ToolArgs&) { return std::string("plain {\"a\": 0.10000000000000001}"); });
        add("json", false, [](const ToolArgs&) { return json{{"b", 0.1 + 0.2}, {"a", "x/y"}}; });
        add("studio", false, [](const ToolArgs&) -> ToolValue { throw StudioError("No track 'x'. Tracks: t1 (Bass)."); });
        add("param", false, [](const ToolArgs&) -> ToolValue { throw ParamError("Unknown parameter 'q'."); });
        add("other", false, [](const ToolArgs&) -> ToolValue { throw std::out_of_range("vector index"); });
        add("badutf8", false, [](const ToolArgs&) { return json{{"t", "\xff"}}; });
        return list;
    });
    EXPECT_EQ(tools.definitions()[0]["annotations"],
              json({{"readOnlyHint", true}, {"destructiveHint", false}, {"openWorldHint", false}}));
    auto expectRow = [&](std::string tool, std::string detail, bool ok) {
        const auto& row = studio.activity().back();
        EXPECT_EQ(std::tuple(row.tool, row.detail, row.ok), std::tuple(tool, detail, ok));
    };

    EXPECT_EQ(call(tools, "text", {{"k", 1}}),
              json({{"content", {{{"type", "text"}, {"text", "plain {\"a\": 0.10000000000000001}\nignored k: unknown argument"}}}},
                    {"isError", false}}))
        << "the reply names what the schema does not";
    expectRow("text", "k: 1", true);

    EXPECT_EQ(text(call(tools, "json")), "{\n  \"a\": \"x/y\",\n  \"b\": 0.30000000000000004\n}")
        << "seventeen digits are what the double needs, so they stay";

    for (auto [name, message] : {std::pair{"studio", "No track 'x'. Tracks: t1 (Bass)."},
                                 std::pair{"param", "Unknown parameter 'q'."}, std::pair{"other", "vector index"}}) {
        EXPECT_EQ(call(tools, name), json({{"content", {{{"type", "text"}, {"text", std::string("Error: ") + message}}}}, {"isError", true}}));
        expectRow(name, message, false);
    }
    EXPECT_EQ(call(tools, "badutf8")["isError"], true) << "an unprintable result is a failure, not garbage";

    const auto rows = studio.activity().size();
    EXPECT_EQ(text(call(tools, "JSON")), "Unknown tool 'JSON'.");
    EXPECT_EQ(studio.activity().size(), rows) << "unknown tools are not logged";
}

TEST(VelmoInfo, PortFromEnvironmentText) {
    using VelmoInfo::portFromText;
    EXPECT_EQ(portFromText(std::nullopt), 7341);
    for (auto [text, port] : {std::pair{"", 7341}, {"8080", 8080}, {"+8080", 8080}, {"-0", 0}, {"0", 0}, {"65535", 65535}})
        EXPECT_EQ(portFromText(text), port) << text;
    for (const char* bad : {"65536", "-1", " 80", "80 ", "8o", "+", "++1", "1e3", "99999999999999999999"})
        EXPECT_EQ(portFromText(bad), 7341) << bad;
}

namespace velmo {
namespace {

TEST(ToolRegistry, TheToolsInOrderWithTheirReadOnlyFlags) {
    HeadlessMainQueue queue;
    Studio studio(Project("Untitled", 120));
    MCPTools tools(studio, queue);
    const std::vector<std::string> order{
        "get_project", "get_clip", "get_track", "describe_synth", "list_presets", "new_project", "set_song",
        "transport", "history", "save_project", "open_project", "add_track", "update_track", "remove_track",
        "unmute_all", "list_midi_devices", "set_midi_output", "duplicate_track", "set_synth", "add_effect",
        "update_effect", "remove_effect", "add_clip", "update_clip", "duplicate_clip", "remove_clip", "add_notes",
        "remove_notes", "add_chords", "add_drum_pattern", "transform_notes", "play_notes", "analyze_mix",
        "export_audio", "describe_sound"};
    EXPECT_EQ(tools.toolNames(), order);
    const std::vector<std::string> readOnly{"get_project", "get_clip", "get_track", "describe_synth",
                                            "list_presets", "list_midi_devices", "analyze_mix", "describe_sound"};
    json byName;
    for (const auto& definition : tools.definitions()) {
        const std::string name = definition["name"];
        byName[name] = definition;
        const bool expected = std::find(readOnly.begin(), readOnly.end(), name) != readOnly.end();
        EXPECT_EQ(definition["annotations"]["readOnlyHint"], expected) << name;
        EXPECT_EQ(definition["inputSchema"]["additionalProperties"], false) << name;
    }
    EXPECT_EQ(byName["history"],
              json::parse(R"json({"name":"history","description":"Undo or redo edits.",
                "annotations":{"readOnlyHint":false,"destructiveHint":false,"openWorldHint":false},
                "inputSchema":{"type":"object","additionalProperties":false,"required":["action"],"properties":{
                  "action":{"type":"string","enum":["undo","redo"],"description":"Direction"},
                  "steps":{"type":"integer","description":"How many steps (default 1)"}}}})json"));
    EXPECT_EQ(byName["add_effect"]["description"],
              "Insert an effect on a track or the master bus. Kinds: drive, bitcrush, chorus, phaser, delay, reverb, "
              "eq, compressor, autofilter. See describe_synth for each kind's params.");
}

} // namespace
} // namespace velmo
