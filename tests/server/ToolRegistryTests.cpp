// The tool registry: argument readings, the reply and log of a call, the log summary, number
// tidying, the schema forms, and the history tool against a real Studio.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "catalog/ParamError.h"
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
    ToolArgs args(json::parse(R"({"n":2,"f":1.5,"s":"1.5","plus":"+4","bad":"1.5x","lead":" 1","empty":"",
        "inf":"inf","hex":"0x10","t":true,"one":1,"two":2,"TRUE":"TRUE","no":"no","maybe":"maybe","yes":"Yes",
        "half":2.5,"mhalf":-2.5,"huge":1e300,"arr":[1]})"));
    EXPECT_EQ(args.num("n"), 2.0);
    EXPECT_EQ(args.num("s"), 1.5);
    EXPECT_EQ(args.num("plus"), 4.0);
    EXPECT_EQ(args.num("hex"), 16.0);
    for (const char* absent : {"bad", "lead", "empty", "inf", "t", "arr", "missing"})
        EXPECT_EQ(args.num(absent), std::nullopt) << absent;

    EXPECT_EQ(args.boolean("t"), true);
    EXPECT_EQ(args.boolean("one"), true);
    EXPECT_EQ(args.boolean("two"), std::nullopt);
    EXPECT_EQ(args.boolean("TRUE"), true);
    EXPECT_EQ(args.boolean("yes"), true);
    EXPECT_EQ(args.boolean("no"), false);
    EXPECT_EQ(args.boolean("maybe"), false);
    EXPECT_EQ(args.boolean("arr"), std::nullopt);

    EXPECT_EQ(args.string("s"), "1.5");
    EXPECT_EQ(args.string("n"), std::nullopt);

    EXPECT_EQ(args.integer("half"), 3);
    EXPECT_EQ(args.integer("mhalf"), -3);
    EXPECT_EQ(args.integer("s"), 2);
    EXPECT_EQ(args.integer("huge"), INT64_MAX);
    EXPECT_EQ(ToolArgs(json::array({1})).json(), json::object());
}

TEST(ToolRegistry, SummarizeTidyNumbersAndSchemas) {
    EXPECT_EQ(summarize(json::object()), "");
    EXPECT_EQ(summarize(json::parse(R"({"e":5,"d":"x","c":[1,2,3],"b":{"z":1,"y":2,"x":3,"w":4},"a":true})")),
              "a: true  b: {w, x, y, …}  c: [3]  d: x");
    EXPECT_EQ(summarize(json{{"o", {{"k", 1}}}}), "o: {k}");
    EXPECT_EQ(summarize(json{{"name", std::string(39, 'a') + "éé"}}), "name: " + std::string(39, 'a') + "é…");
    EXPECT_EQ(summarize(json{{"tempo", 128.5}}), "tempo: 128.5");

    EXPECT_EQ(tidyNumbers("{\"a\": 0.10000000000000001, \"b\": -2.300000000000000"), "{\"a\": 0.1, \"b\": -2.3");
    EXPECT_EQ(tidyNumbers("[12, 0.12345678901, 1.5]"), "[12, 0.12345678901, 1.5]");
    EXPECT_EQ(tidyNumbers("3.000000000000"), "3.0");
    EXPECT_EQ(tidyNumbers("x1.5.123456789012345y"), "x1.5.123456789012345y");

    using namespace schema;
    EXPECT_EQ(O({{"a", P("number", "A")}}, {"a"}),
              json::parse(R"({"type":"object","properties":{"a":{"type":"number","description":"A"}},
                               "required":["a"],"additionalProperties":false})"));
    EXPECT_EQ(O(nullptr, {})["required"], json::array());
    EXPECT_EQ(E({"x", "y"}, "D"), json::parse(R"({"type":"string","enum":["x","y"],"description":"D"})"));
    EXPECT_EQ(A(P("integer", "i"), "D")["items"]["type"], "integer");
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
    EXPECT_EQ(tools.toolNames(), (std::vector<std::string>{"text", "json", "studio", "param", "other", "badutf8"}));
    EXPECT_EQ(tools.definitions()[0]["annotations"],
              json({{"readOnlyHint", true}, {"destructiveHint", false}, {"openWorldHint", false}}));
    EXPECT_EQ(tools.definitions()[1]["inputSchema"]["type"], "object");

    json reply = call(tools, "text", {{"k", 1}});
    EXPECT_EQ(reply, json({{"content", {{{"type", "text"}, {"text", "plain {\"a\": 0.10000000000000001}"}}}}, {"isError", false}}));
    EXPECT_EQ(studio.activity().back().detail, "k: 1");
    EXPECT_TRUE(studio.activity().back().ok);

    EXPECT_EQ(text(call(tools, "json")), "{\n  \"a\": \"x/y\",\n  \"b\": 0.30000000000000004\n}")
        << "seventeen digits are what the double needs, so they stay";

    for (auto [name, message] : {std::pair{"studio", "No track 'x'. Tracks: t1 (Bass)."},
                                 std::pair{"param", "Unknown parameter 'q'."}, std::pair{"other", "vector index"}}) {
        json failed = call(tools, name);
        EXPECT_EQ(failed["isError"], true) << name;
        EXPECT_EQ(text(failed), std::string("Error: ") + message);
        EXPECT_EQ(studio.activity().back().tool, name);
        EXPECT_EQ(studio.activity().back().detail, message);
        EXPECT_FALSE(studio.activity().back().ok);
    }
    EXPECT_EQ(call(tools, "badutf8")["isError"], true) << "an unprintable result is a failure, not garbage";

    const auto rows = studio.activity().size();
    EXPECT_EQ(text(call(tools, "JSON")), "Unknown tool 'JSON'.");
    EXPECT_EQ(studio.activity().size(), rows) << "unknown tools are not logged";
}

TEST(ToolRegistry, HistoryUndoesAndRedoesThroughTheStudio) {
    HeadlessMainQueue queue;
    Studio studio{Project("Untitled", 120)};
    // The history tool alone, so the definition under test is the only one.
    MCPTools tools(studio, queue, [](MCPTools& registry) { return std::vector<ToolDef>{historyTool(registry)}; });
    ASSERT_EQ(tools.toolNames(), std::vector<std::string>{"history"});
    EXPECT_EQ(tools.definitions()[0],
              json::parse(R"json({"name":"history","description":"Undo or redo edits.",
                "annotations":{"readOnlyHint":false,"destructiveHint":false,"openWorldHint":false},
                "inputSchema":{"type":"object","additionalProperties":false,"required":["action"],"properties":{
                  "action":{"type":"string","enum":["undo","redo"],"description":"Direction"},
                  "steps":{"type":"integer","description":"How many steps (default 1)"}}}})json"));

    for (double tempo : {100.0, 110.0, 130.0}) studio.mutate([=](Project& p) { p.tempo = tempo; });

    json result = json::parse(text(call(tools, "history", {{"action", "undo"}, {"steps", 2}})));
    EXPECT_EQ(result, json({{"can_undo", true}, {"can_redo", true}, {"tracks", 0}}));
    EXPECT_EQ(studio.project().tempo, 100);
    EXPECT_EQ(studio.activity().back().detail, "action: undo  steps: 2");

    call(tools, "history", {{"action", "redo"}, {"steps", "0.4"}});  // rounds to 0, clamped to 1
    EXPECT_EQ(studio.project().tempo, 110);
    call(tools, "history", {{"action", "sideways"}, {"steps", 1000}});  // unknown action undoes, at most 100
    EXPECT_EQ(studio.project().tempo, 120);
    EXPECT_FALSE(studio.canUndo());
    call(tools, "history", {{"action", "REDO"}});
    EXPECT_EQ(studio.project().tempo, 120) << "only exactly \"redo\" redoes";
}

TEST(VelmoInfo, PortFromEnvironmentText) {
    using VelmoInfo::portFromText;
    EXPECT_EQ(portFromText(std::nullopt), 7341);
    EXPECT_EQ(portFromText(""), 7341);
    EXPECT_EQ(portFromText("8080"), 8080);
    EXPECT_EQ(portFromText("+8080"), 8080);
    EXPECT_EQ(portFromText("-0"), 0);
    EXPECT_EQ(portFromText("0"), 0);
    EXPECT_EQ(portFromText("65535"), 65535);
    for (const char* bad : {"65536", "-1", " 80", "80 ", "8o", "+", "++1", "1e3", "99999999999999999999"})
        EXPECT_EQ(portFromText(bad), 7341) << bad;
}

namespace velmo {
namespace {

TEST(ToolRegistry, AllThirtyFourToolsInOrderWithTheirReadOnlyFlags) {
    HeadlessMainQueue queue;
    Studio studio(Project("Untitled", 120));
    MCPTools tools(studio, queue);
    const std::vector<std::string> order{
        "get_project", "get_clip", "get_track", "describe_synth", "list_presets", "new_project", "set_song",
        "transport", "history", "save_project", "open_project", "add_track", "update_track", "remove_track",
        "unmute_all", "list_midi_devices", "set_midi_output", "duplicate_track", "set_synth", "add_effect",
        "update_effect", "remove_effect", "add_clip", "update_clip", "duplicate_clip", "remove_clip", "add_notes",
        "remove_notes", "add_chords", "add_drum_pattern", "transform_notes", "play_notes", "analyze_mix",
        "export_audio"};
    EXPECT_EQ(tools.toolNames(), order);
    const std::vector<std::string> readOnly{"get_project", "get_clip", "get_track", "describe_synth",
                                            "list_presets", "list_midi_devices", "analyze_mix"};
    for (const auto& definition : tools.definitions()) {
        const std::string name = definition["name"];
        const bool expected = std::find(readOnly.begin(), readOnly.end(), name) != readOnly.end();
        EXPECT_EQ(definition["annotations"]["readOnlyHint"], expected) << name;
        EXPECT_EQ(definition["inputSchema"]["additionalProperties"], false) << name;
    }
}

} // namespace
} // namespace velmo
