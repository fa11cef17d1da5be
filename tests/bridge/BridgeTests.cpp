// The bridge's own decisions, away from a real Velmo: how standard input splits into lines, what
// each client message gets back when nothing can be reached, and that a program on the port
// which is not Velmo never gets a byte of it onto the client's standard output.
#include "Bridge.h"
#include "LineReader.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <thread>

using namespace velmo::bridge;
using nlohmann::json;

namespace {

struct Expected {
    std::string text;
    std::size_t length;
};

std::vector<Expected> readLines(const std::string& input, std::size_t maxLength) {
    int fds[2];
    EXPECT_EQ(::pipe(fds), 0);
    std::thread writer([&] {
        for (std::size_t at = 0; at < input.size();) at += std::size_t(std::max<ssize_t>(0, ::write(fds[1], input.data() + at, input.size() - at)));
        ::close(fds[1]);
    });
    LineReader reader(fds[0], maxLength);
    std::vector<Expected> lines;
    while (auto line = reader.next()) lines.push_back({line->text, line->length});
    writer.join();
    ::close(fds[0]);
    return lines;
}

TEST(LineReader, SplitsLinesAndSkipsThoseOverTheLimit) {
    const std::string big(200'000, 'x');  // spans several reads
    struct Case {
        std::string input;
        std::size_t maxLength;
        std::vector<Expected> lines;
    } cases[] = {
        {"a\nbc\r\n\nlast", 8, {{"a", 1}, {"bc", 3}, {"", 0}, {"last", 4}}},
        {"1234\n12345\nab\n", 4, {{"1234", 4}, {"", 5}, {"ab", 2}}},
        {"123456", 4, {{"", 6}}},
        {big + "\nok\n" + big + "\n", 150'000, {{"", 200'000}, {"ok", 2}, {"", 200'000}}},
        {big + "\n", 200'000, {{big, 200'000}}},
        {"", 4, {}},
    };
    for (const Case& c : cases) {
        const auto lines = readLines(c.input, c.maxLength);
        ASSERT_EQ(lines.size(), c.lines.size()) << c.input.substr(0, 20);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            EXPECT_EQ(lines[i].text, c.lines[i].text) << c.input.substr(0, 20) << " line " << i;
            EXPECT_EQ(lines[i].length, c.lines[i].length) << c.input.substr(0, 20) << " line " << i;
        }
    }
}

std::optional<json> answer(Bridge& bridge, const std::string& text) {
    auto line = bridge.answer({text, text.size()});
    if (!line) return std::nullopt;
    EXPECT_EQ(line->find('\n'), std::string::npos);
    return json::parse(*line);
}

TEST(Bridge, AnswersEveryRequestOfAMessageWhenVelmoCannotBeStarted) {
    std::vector<std::string> logged;
    Bridge bridge({.port = 9, .velmoPath = "/nonexistent/velmo"}, [&](const std::string& line) { logged.push_back(line); });
    const std::string unreachable =
        "Velmo is not running on port 9 and could not be started: there is no velmo program at /nonexistent/velmo "
        "(No such file or directory). Start Velmo, or set VELMO_MCP_PORT to the port it listens on.";
    auto error = [&](json id) {
        return json{{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", -32000}, {"message", unreachable}}}};
    };
    EXPECT_EQ(answer(bridge, R"({"jsonrpc":"2.0","id":"a","method":"ping"})"), error("a"));
    EXPECT_EQ(answer(bridge, R"([{"jsonrpc":"2.0","id":1,"method":"ping"},{"jsonrpc":"2.0","method":"n"},
                                {"jsonrpc":"2.0","id":2,"result":{}},7,{"jsonrpc":"2.0","id":3,"method":"x"}])"),
              json::array({error(1), error(nullptr), error(3)}));
    EXPECT_EQ(answer(bridge, R"({"jsonrpc":"2.0","method":"notifications/initialized"})"), std::nullopt);
    EXPECT_EQ(answer(bridge, "[]"), error(nullptr));
    EXPECT_EQ(answer(bridge, R"([{"jsonrpc":"2.0","method":"n"}])"), std::nullopt);
    EXPECT_EQ(logged.size(), 5u);
    EXPECT_EQ(logged[0], unreachable);

    Bridge anyPort({.port = 0, .velmoPath = "/nonexistent/velmo"}, [](const std::string&) {});
    EXPECT_EQ(answer(anyPort, R"({"jsonrpc":"2.0","id":1,"method":"ping"})")->at("error").at("message"),
              "VELMO_MCP_PORT is 0, which lets Velmo choose any free port, so the bridge cannot know where to find it. "
              "Set VELMO_MCP_PORT to the port Velmo listens on (7341 unless you chose another).");
}

// Another program on the port: it answers GET /health with `health` and POST with `post`, one
// request at a time, on each connection until the client closes it.
class OtherProgram {
public:
    OtherProgram(std::string health, std::string post) : health_(std::move(health)), post_(std::move(post)) {
        listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(::bind(listener_, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(::listen(listener_, 4), 0);
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~OtherProgram() {
        ::shutdown(listener_, SHUT_RDWR);
        thread_.join();
        ::close(listener_);
    }
    std::uint16_t port() const { return port_; }

private:
    void serve() {
        for (int fd; (fd = ::accept(listener_, nullptr, nullptr)) >= 0; ::close(fd)) {
            std::string received;
            char chunk[4096];
            for (ssize_t count; (count = ::recv(fd, chunk, sizeof chunk, 0)) > 0;) {
                received.append(chunk, std::size_t(count));
                const std::size_t end = received.find("\r\n\r\n");
                const std::size_t lengthAt = received.find("Content-Length: ");
                const std::size_t length = lengthAt < end ? std::stoul(received.substr(lengthAt + 16)) : 0;
                if (end == std::string::npos || received.size() < end + 4 + length) continue;
                const std::string& reply = received.starts_with("GET") ? health_ : post_;
                ::send(fd, reply.data(), reply.size(), MSG_NOSIGNAL);
                received.erase(0, end + 4 + length);
            }
        }
    }
    std::string health_, post_;
    int listener_;
    std::uint16_t port_;
    std::thread thread_;
};

std::string response(const std::string& statusLine, const std::string& body) {
    return statusLine + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

TEST(Bridge, NeverRelaysWhatIsNotJSONRPCFromAProgramThatIsNotVelmo) {
    const std::string velmoHealth = response("HTTP/1.1 200 OK", "Velmo MCP server");
    const std::string ping = R"({"jsonrpc":"2.0","id":1,"method":"ping"})";
    struct Case {
        std::string health, post;
        std::string expected;  // the whole line, or the start of the error message
    } cases[] = {
        {velmoHealth, response("HTTP/1.1 200 OK", "{\n \"jsonrpc\": \"2.0\", \"id\": 1,\n \"result\": {}}"),
         R"({"id":1,"jsonrpc":"2.0","result":{}})"},
        {velmoHealth, response("HTTP/1.1 200 OK", "<html>"),
         "The program on port P is not Velmo: its answer is not JSON (<html>)."},
        {velmoHealth, response("HTTP/1.1 415 Unsupported", "JSON only\r\n."),
         "The server on port P refused the request with HTTP 415: JSON only  ."},
        {velmoHealth, "SSH-2.0-OpenSSH\r\n\r\n",
         "The program on port P is not Velmo: the answer does not begin with an HTTP/1.x status line."},
        {response("HTTP/1.0 404 Not Found", "Not found"), "",
         "The program on port P is not Velmo: it answered GET /health with HTTP 404: Not found."},
    };
    for (const Case& c : cases) {
        OtherProgram other(c.health, c.post);
        Bridge bridge({.port = other.port(), .velmoPath = "/nonexistent/velmo"}, [](const std::string&) {});
        const auto line = bridge.answer({ping, ping.size()});
        ASSERT_TRUE(line);
        ASSERT_EQ(line->find('\n'), std::string::npos) << *line;
        const json reply = json::parse(*line);
        std::string expected = c.expected;
        if (const std::size_t at = expected.find("port P"); at != std::string::npos)
            expected.replace(at + 5, 1, std::to_string(other.port()));
        if (expected.starts_with("{")) {
            EXPECT_EQ(*line, expected);
        } else {
            EXPECT_EQ(reply["id"], 1);
            EXPECT_TRUE(reply["error"]["message"].get<std::string>().starts_with(expected)) << reply.dump();
        }
    }
}

} // namespace
