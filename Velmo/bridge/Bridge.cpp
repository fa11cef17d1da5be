#include "Bridge.h"

#include "VelmoLauncher.h"

#include <nlohmann/json.hpp>

#include <cstring>
#include <thread>

namespace velmo::bridge {

namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

// Implementation-defined server errors of JSON-RPC start here.
constexpr int kUnreachable = -32000;
constexpr auto kRetryPeriod = std::chrono::milliseconds(20);
// Velmo closes a connection idle for 60 s. One idle half that long is replaced before use, so a
// request never meets a connection that Velmo is closing at that moment.
constexpr auto kReuseFor = std::chrono::seconds(30);

std::string compact(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

json errorResponse(json id, int code, const std::string& message) {
    return {{"jsonrpc", "2.0"}, {"id", std::move(id)}, {"error", {{"code", code}, {"message", message}}}};
}

// The error Velmo would have answered `message` with had it been reached, if it answers at all:
// requests get one with their id; notifications and a client's responses get none.
std::optional<json> errorFor(const json& message, const std::string& text) {
    if (message.is_object() && message.contains("method") && message["method"].is_string()) {
        if (!message.contains("id")) return std::nullopt;
        return errorResponse(message["id"], kUnreachable, text);
    }
    if (message.is_object() && (message.contains("result") || message.contains("error"))) return std::nullopt;
    return errorResponse(nullptr, kUnreachable, text);
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

} // namespace

Bridge::Bridge(Options options, Log log)
    : options_(std::move(options)), log_(std::move(log)), connection_(options_.port, options_.clientOut) {}

std::optional<std::string> Bridge::answer(const LineReader::Line& line) {
    if (line.tooLong())
        return compact(errorResponse(nullptr, -32600,
                                     "Message too large: the line holds " + std::to_string(line.length) +
                                         " bytes; Velmo accepts at most " + std::to_string(maxMessageBytes) + "."));
    const std::string_view text = trimmed(line.text);
    if (text.empty()) return std::nullopt;
    // Only an object or an array is a message, as Velmo itself decides; garbage never starts it.
    if ((text.front() != '{' && text.front() != '[') || !json::accept(text))
        return compact(errorResponse(nullptr, -32700, "Parse error"));

    if (auto failure = reach()) return clientGone_ ? std::nullopt : fail(text, *failure);
    auto result = connection_.post(text);
    if (auto* reply = std::get_if<VelmoConnection::Reply>(&result)) {
        hadVelmo_ = true;
        lastAnswer_ = Clock::now();
        return relay(text, std::move(*reply));
    }

    const auto& error = std::get<VelmoConnection::Error>(result);
    hadVelmo_ = false;
    const std::string port = std::to_string(options_.port);
    switch (error.kind) {
    case VelmoConnection::Error::clientGone:
        clientGone_ = true;
        return std::nullopt;
    case VelmoConnection::Error::notHTTP:
        return fail(text, "The program on port " + port + " is not Velmo: " + error.detail +
                              ". Quit it, or set VELMO_MCP_PORT to the port Velmo listens on.");
    default:
        return fail(text, "Velmo on port " + port + " closed the connection before answering (" + error.detail +
                              "): it may have quit or crashed, and the request may or may not have been carried out. "
                              "The next request starts Velmo again if it is not running (VELMO_MCP_PORT sets the port).");
    }
}

std::optional<std::string> Bridge::reach() {
    const std::string port = std::to_string(options_.port);
    if (options_.port == 0)
        return "VELMO_MCP_PORT is 0, which lets Velmo choose any free port, so the bridge cannot know where to "
               "find it. Set VELMO_MCP_PORT to the port Velmo listens on (7341 unless you chose another).";
    if (connection_.isOpen() && Clock::now() - lastAnswer_ < kReuseFor && !connection_.closedByPeer())
        return std::nullopt;

    connection_.close();
    const auto deadline = Clock::now() + options_.startTimeout;
    std::optional<pid_t> launched;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        auto opened = connection_.open(std::max(left, kRetryPeriod));
        auto* error = std::get_if<VelmoConnection::Error>(&opened);
        if (!error) return std::nullopt;
        switch (error->kind) {
        case VelmoConnection::Error::refused:
            // Velmo went away since the last answer: say so once, rather than start a fresh
            // Velmo on the demo song behind the client's back.
            if (hadVelmo_) {
                hadVelmo_ = false;
                return "Velmo on port " + port + " has stopped since its last answer: nothing listens there now, "
                       "so the song it held is gone unless it was saved. The next request starts Velmo again "
                       "(VELMO_MCP_PORT sets the port).";
            }
            if (!launched) {
                if (auto failure = launch()) return failure;
                launched = started_.back();
            } else if (auto end = endOf(*launched)) {
                std::erase(started_, *launched);
                return "Velmo is not running on port " + port + ", and " + velmoCommand() +
                       ", started to serve this request, " + *end +
                       " before it listened. Run it in a terminal to see why, or set VELMO_MCP_PORT to use "
                       "another port.";
            }
            break;
        case VelmoConnection::Error::lost:
        case VelmoConnection::Error::timedOut:
            // A Velmo on its way out, or one not yet serving: ask again.
            break;
        case VelmoConnection::Error::clientGone:
            clientGone_ = true;
            return "the client has gone";
        case VelmoConnection::Error::notVelmo:
        case VelmoConnection::Error::notHTTP:
            return "The program on port " + port + " is not Velmo: " + error->detail +
                   ". Quit it, or set VELMO_MCP_PORT to the port Velmo listens on.";
        case VelmoConnection::Error::other:
            return "Cannot connect to Velmo on port " + port + ": " + error->detail +
                   ". Check that Velmo runs, or set VELMO_MCP_PORT to the port it listens on.";
        }
        if (Clock::now() >= deadline) {
            const std::string seconds = std::to_string(options_.startTimeout.count() / 1000);
            if (!launched)
                return "Velmo on port " + port + " accepts connections but does not answer (" + error->detail +
                       ") after " + seconds + " seconds. Restart Velmo, or set VELMO_MCP_PORT to use another port.";
            return "Velmo is not running on port " + port + ", and " + velmoCommand() + " (process " +
                   std::to_string(*launched) + "), started to serve this request, did not listen within " + seconds +
                   " seconds. Try again in a moment, or set VELMO_MCP_PORT to use another port.";
        }
        std::this_thread::sleep_for(kRetryPeriod);
    }
}

std::optional<std::string> Bridge::launch() {
    awaitEndOfStarted();
    const Launch launch = launchDetached(options_.velmoPath, options_.velmoArguments);
    const std::string port = std::to_string(options_.port);
    if (launch.pid < 0)
        return "Velmo is not running on port " + port + " and could not be started: " + launch.error +
               ". Start Velmo, or set VELMO_MCP_PORT to the port it listens on.";
    started_.push_back(launch.pid);
    log_("nothing listens on port " + port + ": started " + velmoCommand() + " (process " +
         std::to_string(launch.pid) + ")");
    return std::nullopt;
}

void Bridge::awaitEndOfStarted() {
    // A Velmo this bridge started that no longer listens is on its way out; until its last
    // socket closes (milliseconds, more on a loaded machine), a new one could not take the port.
    const auto deadline = Clock::now() + std::chrono::seconds(3);
    for (;;) {
        std::erase_if(started_, [](pid_t pid) { return endOf(pid).has_value(); });
        if (started_.empty() || Clock::now() >= deadline) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

std::optional<std::string> Bridge::relay(std::string_view text, VelmoConnection::Reply reply) {
    const std::string port = std::to_string(options_.port);
    if (reply.status == 202) return std::nullopt;
    if (reply.status != 200)
        return fail(text, "The server on port " + port + " refused the request with HTTP " +
                              std::to_string(reply.status) + ": " + excerpt(reply.body) +
                              ". If it is not Velmo, quit it or set VELMO_MCP_PORT to the port Velmo listens on.");
    if (reply.body.empty()) return fail(text, "Velmo on port " + port + " sent an empty answer to this request.");
    if (!json::accept(reply.body))
        return fail(text, "The program on port " + port + " is not Velmo: its answer is not JSON (" +
                              excerpt(reply.body) + "). Quit it, or set VELMO_MCP_PORT to the port Velmo listens on.");
    // Line breaks can only be white space between tokens, but one would split the answer in two.
    if (std::memchr(reply.body.data(), '\n', reply.body.size())) return compact(json::parse(reply.body));
    return std::move(reply.body);
}

std::optional<std::string> Bridge::fail(std::string_view text, const std::string& message) {
    log_(message);
    const json parsed = json::parse(text);
    if (!parsed.is_array()) {
        auto error = errorFor(parsed, message);
        return error ? std::optional(compact(*error)) : std::nullopt;
    }
    // An empty batch is itself an invalid request, answered by one error as Velmo answers it.
    if (parsed.empty()) return compact(errorResponse(nullptr, kUnreachable, message));
    json errors = json::array();
    for (const json& element : parsed)
        if (auto error = errorFor(element, message)) errors.push_back(std::move(*error));
    return errors.empty() ? std::nullopt : std::optional(compact(errors));
}

std::string Bridge::velmoCommand() const {
    std::string command = options_.velmoPath;
    for (const std::string& argument : options_.velmoArguments) command += " " + argument;
    return command;
}

} // namespace velmo::bridge
