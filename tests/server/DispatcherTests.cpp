// The JSON-RPC layer: framing, batches, notifications, every error code and text, and the
// protocol handshake, driven through `handle` with the bytes a client would send.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "server/MCPDispatcher.h"

#include <gtest/gtest.h>

#include <thread>

using namespace velmo;
using nlohmann::json;

namespace {

struct Dispatch : ::testing::Test {
    HeadlessMainQueue queue;
    Studio studio{Project("Untitled", 120)};
    MCPDispatcher dispatcher{studio, queue};

    // The answer to `body`: nothing, or the response bytes.
    std::optional<std::string> answer(const std::string& body) {
        std::optional<std::optional<std::string>> result;
        dispatcher.handle(body, [&](std::optional<std::string> bytes) { result = std::move(bytes); });
        EXPECT_FALSE(result) << "handle must hop to the main queue before answering";
        while (!result && queue.poll() > 0) {
        }
        EXPECT_TRUE(result) << "no answer to " << body;
        return result.value_or(std::nullopt);
    }
    json answerJSON(const std::string& body) {
        auto bytes = answer(body);
        EXPECT_TRUE(bytes) << "no response bytes for " << body;
        return bytes ? json::parse(*bytes) : json();
    }
};

json error(json id, int code, std::string message) {
    return {{"jsonrpc", "2.0"}, {"id", std::move(id)}, {"error", {{"code", code}, {"message", std::move(message)}}}};
}

} // namespace

TEST_F(Dispatch, ErrorCodesAndTexts) {
    for (const char* body : {"5", "\"text\"", "{\"jsonrpc\":", "", "nul", "[1,]"})
        EXPECT_EQ(answerJSON(body), error(nullptr, -32700, "Parse error")) << body;
    // Nesting deep enough to threaten the stack is refused as unparseable, not crashed on.
    EXPECT_EQ(answerJSON(std::string(100000, '[') + std::string(100000, ']')), error(nullptr, -32700, "Parse error"));

    for (const auto& [body, expected] : std::vector<std::pair<std::string, json>>{
             {R"({"id":1})", error(nullptr, -32600, "Invalid Request")},
             {R"({"jsonrpc":"2.0","id":4,"method":7})", error(nullptr, -32600, "Invalid Request")},
             {"[]", error(nullptr, -32600, "Invalid Request")},
             {R"({"jsonrpc":"2.0","id":{"a":[1]},"method":"ping"})", error(nullptr, -32600, "Invalid Request")},
             {R"({"jsonrpc":"2.0","id":[1],"method":"ping"})", error(nullptr, -32600, "Invalid Request")},
             {R"({"jsonrpc":"2.0","id":true,"method":"ping"})", error(nullptr, -32600, "Invalid Request")},
             {R"({"jsonrpc":"2.0","id":4,"method":"tools/run"})", error(4, -32601, "Method not found: tools/run")},
             {R"({"jsonrpc":"2.0","id":"x","method":"tools/call","params":[1]})", error("x", -32602, "Missing tool name")},
             {R"({"jsonrpc":"2.0","id":2,"method":"tools/call","params":{"name":3}})", error(2, -32602, "Missing tool name")}})
        EXPECT_EQ(answerJSON(body), expected) << body;
}

TEST_F(Dispatch, NotificationsAndClientResponsesGetNoBytes) {
    EXPECT_EQ(answer(R"({"jsonrpc":"2.0","method":"notifications/initialized"})"), std::nullopt);
    EXPECT_EQ(answer(R"({"id":1,"result":{}})"), std::nullopt);
    EXPECT_EQ(answer(R"({"id":1,"error":{"code":1,"message":"x"}})"), std::nullopt);
    EXPECT_EQ(answer(R"([{"jsonrpc":"2.0","method":"a"},{"jsonrpc":"2.0","method":"b"}])"), std::nullopt);

    // A tools/call without an id is not carried out: the undo step survives.
    studio.mutate([](Project& p) { p.tempo = 90; });
    EXPECT_EQ(answer(R"({"jsonrpc":"2.0","method":"tools/call","params":{"name":"history","arguments":{"action":"undo"}}})"),
              std::nullopt);
    EXPECT_EQ(studio.project().tempo, 90);
    EXPECT_TRUE(studio.activity().empty());
}

TEST_F(Dispatch, BatchesAnswerInOrderAndSkipNotifications) {
    EXPECT_EQ(answerJSON(R"([{"jsonrpc":"2.0","method":"x"},{"jsonrpc":"2.0","id":7,"method":"ping"}])"),
              json::array({{{"jsonrpc", "2.0"}, {"id", 7}, {"result", json::object()}}}));
    EXPECT_EQ(answerJSON(R"([5,{"jsonrpc":"2.0","id":"a","method":"prompts/list"}])"),
              json::array({error(nullptr, -32600, "Invalid Request"),
                           {{"jsonrpc", "2.0"}, {"id", "a"}, {"result", {{"prompts", json::array()}}}}}));

    // A large batch of instant calls must not recurse once per element.
    std::string big = "[";
    for (int i = 0; i < 200000; ++i) big += std::string(i ? "," : "") + R"({"jsonrpc":"2.0","id":)" + std::to_string(i) + R"(,"method":"ping"})";
    big += "]";
    json responses = answerJSON(big);
    ASSERT_EQ(responses.size(), 200000u);
    EXPECT_EQ(responses.back()["id"], 199999);
}

TEST_F(Dispatch, IdsAreEchoedVerbatim) {
    for (const char* id : {"\"7\"", "1.5", "null", "18446744073709551615"})
        EXPECT_EQ(answerJSON(R"({"jsonrpc":"2.0","id":)" + std::string(id) + R"(,"method":"ping"})")["id"], json::parse(id)) << id;
}

TEST_F(Dispatch, InitializeNegotiatesTheVersionAndRecordsTheClient) {
    auto initialize = [&](const std::string& params) {
        return answerJSON(R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":)" + params + "}")["result"];
    };
    json result = initialize(R"({"protocolVersion":"2024-11-05","clientInfo":{"name":"Claude"}})");
    EXPECT_EQ(result["protocolVersion"], "2024-11-05");
    EXPECT_EQ(result["capabilities"], json({{"tools", {{"listChanged", false}}}}));
    EXPECT_EQ(result["serverInfo"], json({{"name", "velmo"}, {"title", "Velmo Synth Studio"}, {"version", "1.0.0"}}));
    EXPECT_TRUE(result["instructions"].get<std::string>().starts_with("Velmo is a native desktop synthesizer studio."));
    EXPECT_EQ(dispatcher.clientName(), "Claude");
    ASSERT_EQ(studio.activity().size(), 1u);
    const auto& row = studio.activity().back();
    EXPECT_EQ(std::tuple(row.tool, row.detail, row.ok), std::tuple("initialize", "Client connected: Claude", true));

    EXPECT_EQ(initialize(R"({"protocolVersion":"1999-01-01"})")["protocolVersion"], "2025-11-25");
    EXPECT_EQ(dispatcher.clientName(), "Claude") << "no clientInfo object: the name stays";
    EXPECT_EQ(initialize(R"({"protocolVersion":5,"clientInfo":{"name":5}})")["protocolVersion"], "2025-11-25");
    EXPECT_EQ(dispatcher.clientName(), std::nullopt);
    EXPECT_EQ(studio.activity().back().detail, "Client connected: unknown");
    EXPECT_EQ(answerJSON(R"({"jsonrpc":"2.0","id":1,"method":"initialize"})")["result"]["protocolVersion"], "2025-11-25");
}

TEST_F(Dispatch, ListsAndToolCalls) {
    for (auto [method, key] : {std::pair{"resources/list", "resources"}, {"resources/templates/list", "resourceTemplates"}})
        EXPECT_EQ(answerJSON(R"({"jsonrpc":"2.0","id":1,"method":")" + std::string(method) + "\"}")["result"],
                  json({{key, json::array()}})) << method;
    json tools = answerJSON(R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})")["result"]["tools"];
    EXPECT_EQ(tools, dispatcher.tools().definitions());

    // An unknown tool, also one in another letter case, is a result with isError, not -32601.
    json unknown = answerJSON(R"({"jsonrpc":"2.0","id":3,"method":"tools/call","params":{"name":"History"}})");
    EXPECT_EQ(unknown["result"], json({{"content", {{{"type", "text"}, {"text", "Unknown tool 'History'."}}}},
                                       {"isError", true}}));
    EXPECT_TRUE(studio.activity().empty());

    // Arguments that are not an object run the tool with none: history, given no action, undoes nothing.
    studio.mutate([](Project& p) { p.tempo = 90; });
    json call = answerJSON(R"({"jsonrpc":"2.0","id":4,"method":"tools/call","params":{"name":"history","arguments":"redo"}})");
    EXPECT_EQ(call["result"]["isError"], true);
    EXPECT_EQ(studio.project().tempo, 90);
}

TEST_F(Dispatch, HandleFromAnotherThreadCompletesOnTheMainQueue) {
    std::thread::id completedOn;
    std::thread caller([&] {
        dispatcher.handle(R"({"jsonrpc":"2.0","id":1,"method":"ping"})", [&](std::optional<std::string>) {
            completedOn = std::this_thread::get_id();
            queue.stop();
        });
    });
    caller.join();
    queue.run();
    EXPECT_EQ(completedOn, std::this_thread::get_id());
}

TEST(DispatchAsync, ABatchWaitsForASuspendedToolBeforeTheNextMessage) {
    HeadlessMainQueue queue;
    Studio studio{Project("Untitled", 120)};
    std::vector<std::string> events;
    MCPDispatcher dispatcher{studio, queue, [&](MCPTools& tools) {
        auto slow = [&](const ToolArgs&, ToolCompletion done) {
            events.push_back("slow started");
            tools.mainQueue().post([&, done] {
                events.push_back("slow finished");
                done(ToolValue(std::string("slow")));
            });
        };
        auto fast = [&](const ToolArgs&) -> ToolValue {
            events.push_back("fast");
            return std::string("fast");
        };
        return std::vector<ToolDef>{{"slow", "Finishes later.", json::object(), true, slow},
                                    {"fast", "Finishes at once.", json::object(), true, immediate(fast)}};
    }};
    std::optional<std::string> bytes;
    dispatcher.handle(R"([{"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"slow"}},
                          {"jsonrpc":"2.0","id":2,"method":"tools/call","params":{"name":"fast"}}])",
                      [&](std::optional<std::string> b) { bytes = std::move(b); });
    while (!bytes && queue.poll() > 0) {
    }
    ASSERT_TRUE(bytes);
    EXPECT_EQ(events, (std::vector<std::string>{"slow started", "slow finished", "fast"}));
    json responses = json::parse(*bytes);
    ASSERT_EQ(responses.size(), 2u);
    EXPECT_EQ(responses[0]["result"]["content"][0]["text"], "slow");
    EXPECT_EQ(responses[1]["result"]["content"][0]["text"], "fast");
}
