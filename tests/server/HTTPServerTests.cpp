// The HTTP transport over real loopback sockets: framing (split, pipelined, chunked requests),
// connection handling, the origin rule, the routes, the size limits, and that neither idle
// half-sent requests nor a shortage of file descriptors stop the server from serving.
#include "ServerHarness.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <fcntl.h>

#include <memory>
#include <vector>

using namespace velmo;
using namespace velmo::testing;
using nlohmann::json;

namespace {

const std::string ping = R"({"jsonrpc":"2.0","id":1,"method":"ping"})";
const std::string healthText = "Velmo MCP server 1.0.0. POST JSON-RPC to /mcp\n";

struct HTTP : ::testing::Test {
    ServerHarness harness;

    Response exchange(const std::string& request) {
        Client client(harness.port());
        EXPECT_TRUE(client.connected());
        client.send(request);
        auto response = client.receive();
        if (!response) {
            ADD_FAILURE() << "no response to " << request;
            return {};
        }
        return *response;
    }
};

} // namespace

TEST_F(HTTP, ARequestSplitAtAnyByteIsAnsweredOnceWhenComplete) {
    const std::string request = post(ping);
    Client client(harness.port());
    for (std::size_t split = 1; split < request.size(); ++split) {
        client.send(request.substr(0, split));
        ASSERT_FALSE(client.readable(5)) << "answered before the request was complete, split at " << split;
        client.send(request.substr(split));
        auto response = client.receive();
        ASSERT_TRUE(response) << "split at " << split;
        EXPECT_EQ(response->status, 200);
        EXPECT_EQ(json::parse(response->body)["id"], 1);
    }
    EXPECT_FALSE(client.readable(20)) << "exactly one response per request";
}

TEST_F(HTTP, PipelinedRequestsAreAnsweredInOrder) {
    Client client(harness.port());
    client.send(post(R"({"jsonrpc":"2.0","id":"first","method":"ping"})") + "GET /health HTTP/1.1\r\n\r\n" +
                post(R"({"jsonrpc":"2.0","id":"third","method":"ping"})"));
    auto first = client.receive(), second = client.receive(), third = client.receive();
    ASSERT_TRUE(first && second && third);
    EXPECT_EQ(json::parse(first->body)["id"], "first");
    EXPECT_EQ(second->body, healthText);
    EXPECT_EQ(json::parse(third->body)["id"], "third");
}

TEST_F(HTTP, ChunkedBodiesAndLenientLengths) {
    Response chunked = exchange("POST /mcp HTTP/1.1\r\nTransfer-Encoding: Chunked\r\n\r\n" + std::string("14;x=1\r\n") +
                                ping.substr(0, 20) + "\r\n" + "14\r\n" + ping.substr(20) + "\r\n0\r\n\r\n");
    EXPECT_EQ(chunked.status, 200);
    EXPECT_EQ(json::parse(chunked.body)["result"], json::object());

    // Header names in any case; an unparseable length counts as 0 and what follows the head is
    // read as the next request.
    Client client(harness.port());
    client.send("POST /mcp HTTP/1.1\r\nCONTENT-LENGTH: " + std::to_string(ping.size()) + "\r\n\r\n" + ping);
    EXPECT_EQ(client.receive()->status, 200);
    client.send("GET /nowhere HTTP/1.1\r\nContent-Length: abc\r\n\r\nGET /health HTTP/1.1\r\n\r\n");
    EXPECT_EQ(client.receive()->status, 404);
    EXPECT_EQ(client.receive()->body, healthText);
}

TEST_F(HTTP, ConnectionHandling) {
    {
        Client client(harness.port());
        client.send("GET /health HTTP/1.1\r\nConnection: CLOSE\r\n\r\n");
        auto response = client.receive();
        ASSERT_TRUE(response);
        EXPECT_EQ(response->headers["connection"], "close");
        EXPECT_TRUE(client.closedByServer());
    }
    {
        // Only the whole value "close" closes; HTTP/1.0 without the header stays open too.
        Client client(harness.port());
        client.send("GET /health HTTP/1.1\r\nConnection: Close, Foo\r\n\r\nGET /health HTTP/1.0\r\n\r\n");
        EXPECT_EQ(client.receive()->headers["connection"], "keep-alive");
        EXPECT_EQ(client.receive()->headers["connection"], "keep-alive");
        client.send("GET /health HTTP/1.1\r\n\r\n");
        EXPECT_EQ(client.receive()->status, 200);
    }
    {
        // A client that half-closes after its request still gets the response.
        Client client(harness.port());
        client.send(post(ping));
        client.halfClose();
        auto response = client.receive();
        ASSERT_TRUE(response);
        EXPECT_EQ(response->status, 200);
    }
    {
        // A malformed head is dropped without an answer; the connection serves what comes next.
        Client client(harness.port());
        client.send("GET\r\n\r\n");
        client.send("GET /h\xff HTTP/1.1\r\n\r\n");
        EXPECT_FALSE(client.readable(20));
        client.send("GET /health HTTP/1.1\r\n\r\n");
        EXPECT_EQ(client.receive()->body, healthText);
    }
}

TEST_F(HTTP, RoutesAndHeaders) {
    Response health = exchange("GET /health HTTP/1.1\r\n\r\n");
    EXPECT_EQ(health.headers["(status line)"], "HTTP/1.1 200 OK");
    EXPECT_EQ(health.headers["content-type"], "text/plain");
    EXPECT_EQ(health.headers["cache-control"], "no-store");
    EXPECT_EQ(health.headers["content-length"], std::to_string(healthText.size()));
    EXPECT_EQ(exchange("GET /?q=1 HTTP/1.1\r\n\r\n").body, healthText);

    for (const char* method : {"GET", "DELETE"}) {
        Response response = exchange(std::string(method) + " /mcp HTTP/1.1\r\n\r\n");
        EXPECT_EQ(response.headers["(status line)"], "HTTP/1.1 405 Method Not Allowed");
        EXPECT_EQ(response.headers["allow"], "POST");
        EXPECT_EQ(response.body, "");
    }
    for (const char* request : {"POST /mcp/ HTTP/1.1\r\n\r\n", "OPTIONS /mcp HTTP/1.1\r\n\r\n",
                                "post /mcp HTTP/1.1\r\n\r\n", "GET /HEALTH HTTP/1.1\r\n\r\n"}) {
        Response response = exchange(request);
        EXPECT_EQ(response.headers["(status line)"], "HTTP/1.1 404 Not Found") << request;
        EXPECT_EQ(response.body, "Not found");
    }

    Response notification = exchange(post(R"({"jsonrpc":"2.0","method":"notifications/initialized"})"));
    EXPECT_EQ(notification.headers["(status line)"], "HTTP/1.1 202 Accepted");
    EXPECT_EQ(notification.headers["content-length"], "0");
    EXPECT_EQ(notification.headers.count("content-type"), 0u);

    Response query = exchange("POST /mcp?x=1 HTTP/1.1\r\nContent-Length: " + std::to_string(ping.size()) + "\r\n\r\n" + ping);
    EXPECT_EQ(query.headers["content-type"], "application/json");
    EXPECT_EQ(json::parse(query.body)["result"], json::object());

    Response unparseable = exchange(post("{oops"));
    EXPECT_EQ(unparseable.status, 200);
    EXPECT_EQ(json::parse(unparseable.body)["error"]["code"], -32700);
}

TEST_F(HTTP, OriginsOtherThanLoopbackAreRefused) {
    for (const char* origin : {"http://evil.example", "http://127.0.0.1.evil.example", "https://localhost.evil",
                               "localhost", "http://localhost:abc", "file://"}) {
        Response response = exchange("GET /health HTTP/1.1\r\nOrigin: " + std::string(origin) + "\r\n\r\n");
        EXPECT_EQ(response.status, 403) << origin;
        EXPECT_EQ(response.body, "Forbidden origin");
    }
    for (const char* origin : {"http://localhost:5173", "https://127.0.0.1", "http://[::1]:8080", "null", ""}) {
        Response response = exchange("GET /health HTTP/1.1\r\nOrigin: " + std::string(origin) + "\r\n\r\n");
        EXPECT_EQ(response.status, 200) << origin;
    }
}

TEST_F(HTTP, OversizedOrInvalidLengthsAreRefusedAndClosed) {
    struct Case {
        std::string request;
        std::string statusLine;
    };
    const std::vector<Case> cases = {
        {"POST /mcp HTTP/1.1\r\nContent-Length: -5\r\n\r\n", "HTTP/1.1 400 Bad Request"},
        {"POST /mcp HTTP/1.1\r\nContent-Length: 99999999999999999999999\r\n\r\n", "HTTP/1.1 400 Bad Request"},
        {"POST /mcp HTTP/1.1\r\nContent-Length: 40000000\r\n\r\n", "HTTP/1.1 413 Content Too Large"},
        {"POST /mcp HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3000000\r\n", "HTTP/1.1 413 Content Too Large"},
        {"GET / HTTP/1.1\r\nX: " + std::string(70000, 'a'), "HTTP/1.1 431 Request Header Fields Too Large"},
    };
    for (const Case& c : cases) {
        Client client(harness.port());
        client.send(c.request);
        auto response = client.receive();
        ASSERT_TRUE(response) << c.statusLine;
        EXPECT_EQ(response->headers["(status line)"], c.statusLine);
        EXPECT_EQ(response->headers["connection"], "close");
        EXPECT_TRUE(client.closedByServer()) << c.statusLine;
    }
}

TEST_F(HTTP, ServesIPv6LoopbackWhereAvailable) {
    Client client(harness.port(), true);
    if (!client.connected()) GTEST_SKIP() << "no IPv6 loopback here";
    client.send("GET /health HTTP/1.1\r\n\r\n");
    EXPECT_EQ(client.receive()->body, healthText);
}

TEST_F(HTTP, FiveHundredHalfSentRequestsDoNotBlockTheNextClient) {
    // Both ends live in this process: about 1000 descriptors, more than a common soft limit.
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < 2048 && limit.rlim_max > limit.rlim_cur) {
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 2048);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    std::vector<std::unique_ptr<Client>> idle;
    for (int i = 0; i < 500; ++i) {
        idle.push_back(std::make_unique<Client>(harness.port()));
        ASSERT_TRUE(idle.back()->connected()) << i;
        idle.back()->send("POST /mcp HTTP/1.1\r\nContent-Length: 100\r\n\r\n{\"jsonrpc\":");
    }
    Response response = exchange(post(ping));
    EXPECT_EQ(json::parse(response.body)["result"], json::object());
    // The idle ones are still alive and can finish their requests.
    idle[0]->send(std::string(89, ' '));
    auto late = idle[0]->receive();
    ASSERT_TRUE(late);
    EXPECT_EQ(late->status, 200);
}

TEST_F(HTTP, KeepsAcceptingAfterRunningOutOfFileDescriptors) {
    // Take the client's descriptor first, use up every other one, then connect (which needs no
    // new descriptor): the server's accept fails. Once descriptors are free again, the waiting
    // client must be served.
    Client client(harness.port(), false, false);
    rlimit original{};
    getrlimit(RLIMIT_NOFILE, &original);
    rlimit lowered = original;
    lowered.rlim_cur = std::min<rlim_t>(original.rlim_cur, 4096);
    setrlimit(RLIMIT_NOFILE, &lowered);
    std::vector<int> hog;
    while (true) {
        int fd = ::open("/dev/null", O_RDONLY);
        if (fd < 0) break;
        hog.push_back(fd);
    }
    ASSERT_TRUE(client.connect());
    client.send(post(ping));
    EXPECT_FALSE(client.readable(200)) << "served although no descriptor was free";
    for (int fd : hog) ::close(fd);
    setrlimit(RLIMIT_NOFILE, &original);
    auto response = client.receive();
    ASSERT_TRUE(response) << "the listener stopped accepting";
    EXPECT_EQ(response->status, 200);
    EXPECT_EQ(exchange("GET /health HTTP/1.1\r\n\r\n").status, 200);
}

TEST(HTTPServerState, ReportsListeningAndAPortInUse) {
    ServerHarness first;
    HeadlessMainQueue queue;
    Studio studio{Project("Untitled", 120)};
    MCPDispatcher dispatcher{studio, queue};
    std::vector<MCPHTTPServer::State> states;

    MCPHTTPServer taken(first.port(), dispatcher);
    taken.onState = [&](MCPHTTPServer::State state) { states.push_back(state); };
    taken.start();
    queue.poll();
    ASSERT_EQ(states.size(), 1u);
    ASSERT_TRUE(std::holds_alternative<MCPHTTPServer::Failed>(states[0]));
    EXPECT_EQ(std::get<MCPHTTPServer::Failed>(states[0]).message, "Address already in use");

    states.clear();
    MCPHTTPServer anyPort(0, dispatcher);
    anyPort.onState = [&](MCPHTTPServer::State state) { states.push_back(state); };
    anyPort.start();
    queue.poll();
    EXPECT_EQ(states, std::vector<MCPHTTPServer::State>{MCPHTTPServer::Listening{0}}) << "the configured port, as set";
    EXPECT_NE(anyPort.boundPort(), 0);
}
