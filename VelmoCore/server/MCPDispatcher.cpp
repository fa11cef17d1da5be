#include "server/MCPDispatcher.h"

#include "Studio/MainQueue.h"
#include "Studio/Studio.h"
#include "server/VelmoInfo.h"

#include <algorithm>
#include <memory>

namespace velmo {

using nlohmann::json;

MCPDispatcher::MCPDispatcher(Studio& studio, MainQueue& mainQueue, const MCPTools::Factory& tools)
    : studio_(studio), mainQueue_(mainQueue), tools_(studio, mainQueue, tools) {}

void MCPDispatcher::handle(std::string data, Completion done) {
    mainQueue_.post([this, data = std::move(data), done = std::move(done)]() mutable {
        handleOnMain(data, std::move(done));
    });
}

namespace {

// True when arrays and objects nest no deeper than `limit`. Brackets inside strings don't count.
bool nestingWithin(const std::string& data, int limit) {
    int depth = 0;
    bool inString = false;
    bool escaped = false;
    for (char c : data) {
        if (inString) {
            if (escaped) escaped = false;
            else if (c == '\\') escaped = true;
            else if (c == '"') inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > limit) return false;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return true;
}

} // namespace

void MCPDispatcher::handleOnMain(const std::string& data, Completion done) {
    json message;
    bool parsed = false;
    if (nestingWithin(data, maxNesting)) {
        try {
            message = json::parse(data);
            parsed = message.is_object() || message.is_array();
        } catch (const json::exception&) {
        }
    }
    if (!parsed) {
        done(serialize(errorResponse(nullptr, -32700, "Parse error")));
        return;
    }
    if (message.is_array()) {
        // An empty batch is no batch at all: JSON-RPC answers it as a malformed request.
        if (message.empty()) {
            done(serialize(errorResponse(nullptr, -32600, "Invalid Request")));
            return;
        }
        handleBatch(std::move(message), std::move(done));
        return;
    }
    handleMessage(message, [done = std::move(done)](std::optional<json> response) {
        if (!response) done(std::nullopt);
        else done(serialize(*response));
    });
}

namespace {

// Runs the messages of a batch one after the other. A message that finishes before
// `handleMessage` returns is followed in a loop rather than by recursion, so a batch of a
// million pings does not grow the stack.
struct BatchRun : std::enable_shared_from_this<BatchRun> {
    json messages;
    json responses = json::array();
    std::size_t next = 0;
    std::function<void(const json&, std::function<void(std::optional<json>)>)> handleMessage;
    std::function<void(json)> finish;

    void advance() {
        while (next < messages.size()) {
            const std::size_t index = next++;
            // 0: inside the call, 1: finished inside the call, 2: will finish later.
            auto state = std::make_shared<int>(0);
            handleMessage(messages[index], [self = shared_from_this(), state](std::optional<json> response) {
                if (response) self->responses.push_back(std::move(*response));
                if (*state == 0) *state = 1;
                else self->advance();
            });
            if (*state == 0) {
                *state = 2;
                return;
            }
        }
        finish(std::move(responses));
    }
};

} // namespace

void MCPDispatcher::handleBatch(json messages, Completion done) {
    auto run = std::make_shared<BatchRun>();
    run->messages = std::move(messages);
    run->handleMessage = [this](const json& message, std::function<void(std::optional<json>)> next) {
        handleMessage(message, std::move(next));
    };
    run->finish = [done = std::move(done)](json responses) {
        if (responses.empty()) done(std::nullopt);
        else done(serialize(responses));
    };
    run->advance();
}

void MCPDispatcher::handleMessage(const json& message, MessageCompletion done) {
    if (!message.is_object()) {
        done(errorResponse(nullptr, -32600, "Invalid Request"));
        return;
    }
    auto method = message.find("method");
    if (method == message.end() || !method->is_string()) {
        if (message.contains("result") || message.contains("error")) done(std::nullopt);
        else done(errorResponse(nullptr, -32600, "Invalid Request"));
        return;
    }
    auto idEntry = message.find("id");
    if (idEntry == message.end()) {
        // A notification, whatever its method: not even a tools/call is carried out.
        done(std::nullopt);
        return;
    }
    // An id is text, a number or null; anything else could not be matched to its answer.
    if (!idEntry->is_string() && !idEntry->is_number() && !idEntry->is_null()) {
        done(errorResponse(nullptr, -32600, "Invalid Request"));
        return;
    }
    const json id = *idEntry;
    const std::string& name = method->get_ref<const std::string&>();
    auto paramsEntry = message.find("params");
    const json params = paramsEntry != message.end() && paramsEntry->is_object() ? *paramsEntry : json::object();

    if (name == "initialize") {
        done(successResponse(id, initialize(params)));
    } else if (name == "ping") {
        done(successResponse(id, json::object()));
    } else if (name == "tools/list") {
        done(successResponse(id, {{"tools", tools_.definitions()}}));
    } else if (name == "tools/call") {
        auto toolName = params.find("name");
        if (toolName == params.end() || !toolName->is_string()) {
            done(errorResponse(id, -32602, "Missing tool name"));
            return;
        }
        auto argumentsEntry = params.find("arguments");
        json arguments =
            argumentsEntry != params.end() && argumentsEntry->is_object() ? *argumentsEntry : json::object();
        tools_.call(toolName->get<std::string>(), std::move(arguments),
                    [id, done = std::move(done)](json result) { done(successResponse(id, std::move(result))); });
    } else if (name == "resources/list") {
        done(successResponse(id, {{"resources", json::array()}}));
    } else if (name == "resources/templates/list") {
        done(successResponse(id, {{"resourceTemplates", json::array()}}));
    } else if (name == "prompts/list") {
        done(successResponse(id, {{"prompts", json::array()}}));
    } else {
        done(errorResponse(id, -32601, "Method not found: " + name));
    }
}

json MCPDispatcher::initialize(const json& params) {
    std::string version(supportedVersions.front());
    auto requested = params.find("protocolVersion");
    if (requested != params.end() && requested->is_string()) {
        const std::string& asked = requested->get_ref<const std::string&>();
        if (std::find(supportedVersions.begin(), supportedVersions.end(), asked) != supportedVersions.end())
            version = asked;
    }
    auto clientInfo = params.find("clientInfo");
    if (clientInfo != params.end() && clientInfo->is_object()) {
        auto name = clientInfo->find("name");
        if (name != clientInfo->end() && name->is_string()) clientName_ = name->get<std::string>();
        else clientName_.reset();
    }
    studio_.log("initialize", "Client connected: " + clientName_.value_or("unknown"), true);
    return {{"protocolVersion", version},
            {"capabilities", {{"tools", {{"listChanged", false}}}}},
            {"serverInfo", {{"name", "velmo"}, {"title", "Velmo Synth Studio"}, {"version", VelmoInfo::version}}},
            {"instructions", MCPTools::instructions}};
}

json MCPDispatcher::errorResponse(json id, int code, std::string message) {
    return {{"jsonrpc", "2.0"}, {"id", std::move(id)}, {"error", {{"code", code}, {"message", std::move(message)}}}};
}

json MCPDispatcher::successResponse(json id, json result) {
    return {{"jsonrpc", "2.0"}, {"id", std::move(id)}, {"result", std::move(result)}};
}

std::string MCPDispatcher::serialize(const json& value) {
    try {
        return value.dump();
    } catch (const json::exception&) {
        return {};
    }
}

} // namespace velmo
