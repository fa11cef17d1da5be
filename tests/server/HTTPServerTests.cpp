// The HTTP transport over real loopback sockets: framing (split, pipelined, chunked requests),
// connection handling, what a web page could send, the routes, the size limits, and that neither
// idle connections nor a shortage of file descriptors stop the server from serving.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "server/MCPDispatcher.h"
#include "server/MCPHTTPServer.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace velmo;
using nlohmann::json;

namespace {

struct Response {
    int status = 0;
    std::string head, body;  // head: the status line and the header lines, each ending in CRLF

    std::string statusLine() const { return head.substr(0, head.find("\r\n")); }
    // The value of the header spelt `name`, or "(none)".
    std::string header(const std::string& name) const {
        std::size_t at = head.find("\r\n" + name + ": ");
        if (at == std::string::npos) return "(none)";
        at += name.size() + 4;
        return head.substr(at, head.find("\r\n", at) - at);
    }
};

// One blocking TCP connection to 127.0.0.1 (or ::1), with a 5 s receive timeout so that a
// missing response fails the test instead of hanging it.
class Client {
public:
    // With `connectNow` false the socket exists (its descriptor is taken) but connects only on `connect()`.
    explicit Client(std::uint16_t port, bool v6 = false, bool connectNow = true) : port_(port), v6_(v6) {
        fd_ = ::socket(v6 ? AF_INET6 : AF_INET, SOCK_STREAM, 0);
        if (fd_ < 0) throw std::runtime_error("socket failed");
        timeval timeout{5, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
        int one = 1;
        ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        if (connectNow) connect();
    }
    ~Client() { ::close(fd_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool connect() {
        sockaddr_in address{AF_INET, htons(port_), {htonl(INADDR_LOOPBACK)}, {}};
        sockaddr_in6 address6{AF_INET6, htons(port_), 0, in6addr_loopback, 0};
        return connected_ = v6_ ? ::connect(fd_, reinterpret_cast<sockaddr*>(&address6), sizeof address6) == 0
                                : ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    bool connected() const { return connected_; }
    void send(std::string_view bytes) {
        while (!bytes.empty()) {
            ssize_t sent = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0) throw std::runtime_error("send failed");
            bytes.remove_prefix(std::size_t(sent));
        }
    }
    void halfClose() { ::shutdown(fd_, SHUT_WR); }

    // True when bytes (or the end of the stream) arrive within `milliseconds`.
    bool readable(int milliseconds) {
        pollfd entry{fd_, POLLIN, 0};
        return !pending_.empty() || ::poll(&entry, 1, milliseconds) > 0;
    }

    // The next response, read by its Content-Length; when the stream ends or times out first, the
    // test fails and the response is empty (status 0).
    Response next() {
        std::size_t headEnd;
        while ((headEnd = pending_.find("\r\n\r\n")) == std::string::npos)
            if (!fill()) return missing();
        Response response{std::stoi(pending_.substr(9, 3)), pending_.substr(0, headEnd + 2), ""};
        const std::size_t length = std::stoul(response.header("Content-Length"));
        while (pending_.size() < headEnd + 4 + length)
            if (!fill()) return missing();
        response.body = pending_.substr(headEnd + 4, length);
        pending_.erase(0, headEnd + 4 + length);
        return response;
    }

    // True when the server closed the connection (end of stream) with nothing more to read.
    bool closedByServer() {
        char byte;
        return pending_.empty() && ::recv(fd_, &byte, 1, 0) == 0;
    }

private:
    static Response missing() {
        ADD_FAILURE() << "no response";
        return {};
    }
    bool fill() {
        char buffer[65536];
        ssize_t count = ::recv(fd_, buffer, sizeof buffer, 0);
        if (count > 0) pending_.append(buffer, std::size_t(count));
        return count > 0;
    }

    std::uint16_t port_;
    bool v6_;
    int fd_ = -1;
    bool connected_ = false;
    std::string pending_;
};

// A POST /mcp request carrying `body`.
std::string post(const std::string& body, const std::string& host = "127.0.0.1",
                 const std::string& type = "application/json") {
    return "POST /mcp HTTP/1.1\r\nHost: " + host + "\r\nContent-Type: " + type + "\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

const std::string ping = R"({"jsonrpc":"2.0","id":1,"method":"ping"})";
const std::string healthText = "Velmo MCP server 1.0.0. POST JSON-RPC to /mcp\n";

// A Studio on a main queue run by its own thread, the dispatcher, and the server on a free port.
struct HTTP : ::testing::Test {
    HeadlessMainQueue mainQueue;
    Studio studio{Project("Untitled", 120)};
    MCPDispatcher dispatcher{studio, mainQueue};
    MCPHTTPServer server{0, dispatcher};
    std::thread mainThread{[this] { mainQueue.run(); }};

    void SetUp() override {
        server.start();
        ASSERT_NE(port(), 0) << "the server did not start";
    }
    void TearDown() override {
        mainQueue.stop();
        mainThread.join();
    }
    std::uint16_t port() const { return server.boundPort(); }
    Response exchange(const std::string& request) {
        Client client(port());
        EXPECT_TRUE(client.connected());
        client.send(request);
        return client.next();
    }
};

} // namespace

TEST_F(HTTP, ARequestSplitAtAnyByteIsAnsweredOnceWhenComplete) {
    const std::string request = post(ping);
    Client client(port());
    for (std::size_t split = 1; split < request.size(); ++split) {
        client.send(request.substr(0, split));
        ASSERT_FALSE(client.readable(5)) << "answered before the request was complete, split at " << split;
        client.send(request.substr(split));
        Response response = client.next();
        ASSERT_EQ(response.status, 200) << "split at " << split;
        EXPECT_EQ(json::parse(response.body)["id"], 1);
    }
    EXPECT_FALSE(client.readable(20)) << "exactly one response per request";
}

TEST_F(HTTP, PipelinedRequestsAreAnsweredInOrder) {
    Client client(port());
    client.send(post(R"({"jsonrpc":"2.0","id":"first","method":"ping"})") + "GET /health HTTP/1.1\r\n\r\n" +
                post(R"({"jsonrpc":"2.0","id":"third","method":"ping"})"));
    EXPECT_EQ(json::parse(client.next().body)["id"], "first");
    EXPECT_EQ(client.next().body, healthText);
    EXPECT_EQ(json::parse(client.next().body)["id"], "third");
}

TEST_F(HTTP, ChunkedBodiesAndLenientLengths) {
    // Trailers end at the blank line: the request behind them is served.
    Client chunked(port());
    chunked.send("POST /mcp HTTP/1.1\r\nContent-Type: application/json\r\nTransfer-Encoding: Chunked\r\n\r\n14;x=1\r\n" +
                 ping.substr(0, 20) + "\r\n14\r\n" + ping.substr(20) + "\r\n0\r\nX-Trailer: 1\r\n\r\n" +
                 "GET /health HTTP/1.1\r\n\r\n");
    Response answer = chunked.next();
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(json::parse(answer.body)["result"], json::object());
    EXPECT_EQ(chunked.next().body, healthText);

    // An unparseable length counts as 0: what follows the head is read as the next request.
    Client client(port());
    client.send("GET /nowhere HTTP/1.1\r\nContent-Length: abc\r\n\r\nGET /health HTTP/1.1\r\n\r\n");
    EXPECT_EQ(client.next().status, 404);
    EXPECT_EQ(client.next().body, healthText);
}

TEST_F(HTTP, ConnectionHandling) {
    Client closing(port());
    closing.send("GET /health HTTP/1.1\r\nConnection: CLOSE\r\n\r\n");
    EXPECT_EQ(closing.next().header("Connection"), "close");
    EXPECT_TRUE(closing.closedByServer());

    // Only the whole value "close" closes; HTTP/1.0 without the header stays open too.
    Client open(port());
    open.send("GET /health HTTP/1.1\r\nConnection: Close, Foo\r\n\r\nGET /health HTTP/1.0\r\n\r\n");
    EXPECT_EQ(open.next().header("Connection"), "keep-alive");
    EXPECT_EQ(open.next().header("Connection"), "keep-alive");
    open.send("GET /health HTTP/1.1\r\n\r\n");
    EXPECT_EQ(open.next().status, 200);

    // A client that half-closes after its request still gets the response.
    Client halfClosed(port());
    halfClosed.send(post(ping));
    halfClosed.halfClose();
    EXPECT_EQ(halfClosed.next().status, 200);

}

TEST_F(HTTP, RoutesAndHeaders) {
    struct Route {
        std::string request, statusLine, body;
        std::vector<std::pair<std::string, std::string>> headers;
    };
    const std::string notFound = "HTTP/1.1 404 Not Found", notAllowed = "HTTP/1.1 405 Method Not Allowed";
    for (const Route& route : std::vector<Route>{
             {"GET /health HTTP/1.1\r\n\r\n", "HTTP/1.1 200 OK", healthText,
              {{"Content-Type", "text/plain"}, {"Cache-Control", "no-store"}, {"Content-Length", std::to_string(healthText.size())}}},
             {"GET /?q=1 HTTP/1.1\r\n\r\n", "HTTP/1.1 200 OK", healthText, {}},
             {"GET /mcp HTTP/1.1\r\n\r\n", notAllowed, "", {{"Allow", "POST"}}},
             {"DELETE /mcp HTTP/1.1\r\n\r\n", notAllowed, "", {{"Allow", "POST"}}},
             {"POST /mcp/ HTTP/1.1\r\n\r\n", notFound, "Not found", {}},
             {"OPTIONS /mcp HTTP/1.1\r\n\r\n", notFound, "Not found", {}},
             {"post /mcp HTTP/1.1\r\n\r\n", notFound, "Not found", {}},
             {"GET /HEALTH HTTP/1.1\r\n\r\n", notFound, "Not found", {}},
             {post(R"({"jsonrpc":"2.0","method":"notifications/initialized"})"), "HTTP/1.1 202 Accepted", "",
              {{"Content-Length", "0"}, {"Content-Type", "(none)"}}}}) {
        Response response = exchange(route.request);
        EXPECT_EQ(response.statusLine(), route.statusLine) << route.request;
        EXPECT_EQ(response.body, route.body) << route.request;
        for (const auto& [name, value] : route.headers) EXPECT_EQ(response.header(name), value) << route.request;
    }

    Response query = exchange("POST /mcp?x=1 HTTP/1.1\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(ping.size()) + "\r\n\r\n" + ping);
    EXPECT_EQ(query.header("Content-Type"), "application/json");
    EXPECT_EQ(json::parse(query.body)["result"], json::object());

    Response unparseable = exchange(post("{oops"));
    EXPECT_EQ(unparseable.status, 200);
    EXPECT_EQ(json::parse(unparseable.body)["error"]["code"], -32700);
}

TEST_F(HTTP, RequestsAWebPageCouldSendAreRefused) {
    // Origin: any host but loopback, and "null" (sandboxed frames, file:// pages).
    for (auto [origin, status] : {std::pair{"http://evil.example", 403}, {"http://127.0.0.1.evil.example", 403},
                                  {"https://localhost.evil", 403}, {"localhost", 403}, {"http://localhost:abc", 403},
                                  {"file://", 403}, {"null", 403}, {"http://localhost:5173", 200},
                                  {"https://127.0.0.1", 200}, {"http://[::1]:8080", 200}, {"", 200}}) {
        Response response = exchange("GET /health HTTP/1.1\r\nOrigin: " + std::string(origin) + "\r\n\r\n");
        EXPECT_EQ(response.status, status) << origin;
        EXPECT_EQ(response.body, status == 403 ? "Forbidden origin" : healthText) << origin;
    }
    // Host: a name that a rebinding DNS answer points here is refused.
    for (auto [host, status] : {std::pair{"evil.example", 403}, {"localhost.evil.example:7341", 403},
                                {"127.0.0.1.nip.io", 403}, {"::1", 403}, {"localhost:abc", 403}, {"", 403},
                                {"127.0.0.1:7341", 200}, {"localhost", 200}, {"LocalHost:80", 200}, {"[::1]:8080", 200}}) {
        Response response = exchange(post(ping, host));
        EXPECT_EQ(response.status, status) << host;
        EXPECT_EQ(response.body == "Forbidden host", status == 403) << host;
    }
    // Content-Type: only JSON, which no page can send cross-origin without a preflight.
    for (auto [type, status] : {std::pair{"text/plain", 415}, {"application/x-www-form-urlencoded", 415},
                                {"multipart/form-data; boundary=x", 415}, {"application/jsonp", 415}, {"", 415},
                                {"Application/JSON; charset=utf-8", 200}, {"application/json;charset=UTF-8", 200}}) {
        Response response = exchange(post(ping, "127.0.0.1", type));
        EXPECT_EQ(response.statusLine(), status == 415 ? "HTTP/1.1 415 Unsupported Media Type" : "HTTP/1.1 200 OK") << type;
    }
    Response untyped = exchange("POST /mcp HTTP/1.1\r\nContent-Length: " + std::to_string(ping.size()) + "\r\n\r\n" + ping);
    EXPECT_EQ(untyped.status, 415);
    EXPECT_EQ(untyped.body, "POST /mcp takes Content-Type: application/json");
    // The preflight grants nothing.
    Response preflight = exchange("OPTIONS /mcp HTTP/1.1\r\nOrigin: http://localhost:5173\r\n"
                                  "Access-Control-Request-Method: POST\r\nAccess-Control-Request-Headers: content-type\r\n\r\n");
    EXPECT_EQ(preflight.status, 404);
    EXPECT_EQ(preflight.head.find("Access-Control-"), std::string::npos) << preflight.head;
}

TEST_F(HTTP, MalformedOrOversizedRequestsAreRefusedAndClosed) {
    const std::string badRequest = "HTTP/1.1 400 Bad Request";
    for (const auto& [request, statusLine] : std::vector<std::pair<std::string, std::string>>{
             {"GET\r\n\r\n", badRequest},
             {"GET /h\xff HTTP/1.1\r\n\r\n", badRequest},
             {"POST /mcp HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", badRequest},
             {"POST /mcp HTTP/1.1\r\nContent-Length: 2\r\nContent-Length: 40\r\n\r\n{}", badRequest},
             {"POST /mcp HTTP/1.1\r\nContent-Length: -5\r\n\r\n", "HTTP/1.1 400 Bad Request"},
             {"POST /mcp HTTP/1.1\r\nContent-Length: 99999999999999999999999\r\n\r\n", "HTTP/1.1 400 Bad Request"},
             {"POST /mcp HTTP/1.1\r\nContent-Length: 40000000\r\n\r\n", "HTTP/1.1 413 Content Too Large"},
             {"POST /mcp HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3000000\r\n", "HTTP/1.1 413 Content Too Large"},
             {"GET / HTTP/1.1\r\nX: " + std::string(70000, 'a'), "HTTP/1.1 431 Request Header Fields Too Large"}}) {
        Client client(port());
        client.send(request);
        Response response = client.next();
        EXPECT_EQ(response.statusLine(), statusLine);
        EXPECT_EQ(response.header("Connection"), "close") << statusLine;
        EXPECT_TRUE(client.closedByServer()) << statusLine;
    }
}

TEST_F(HTTP, ServesIPv6LoopbackWhereAvailable) {
    Client client(port(), true);
    if (!client.connected()) GTEST_SKIP() << "no IPv6 loopback here";
    client.send("GET /health HTTP/1.1\r\n\r\n");
    EXPECT_EQ(client.next().body, healthText);
}

TEST_F(HTTP, IdleConnectionsAreClosedAndTheLongestIdleMakesRoom) {
    using std::chrono::milliseconds;
    MCPHTTPServer quick(0, dispatcher, {milliseconds(200), 1024});
    quick.start();
    Client silent(quick.boundPort()), halfSent(quick.boundPort()), served(quick.boundPort());
    halfSent.send("POST /mcp HTTP/1.1\r\nContent-Length: 100\r\n\r\n{");
    served.send("GET /health HTTP/1.1\r\n\r\n");
    EXPECT_EQ(served.next().status, 200);
    for (Client* client : {&silent, &halfSent, &served}) EXPECT_TRUE(client->closedByServer());

    // Past the cap, each new connection closes the one idle longest.
    MCPHTTPServer capped(0, dispatcher, {milliseconds(60000), 4});
    capped.start();
    std::vector<std::unique_ptr<Client>> idle;
    for (int i = 0; i < 8; ++i) {
        idle.push_back(std::make_unique<Client>(capped.boundPort()));
        idle.back()->send(post(ping).substr(0, 60));
    }
    Client fresh(capped.boundPort());
    fresh.send(post(ping));
    EXPECT_EQ(fresh.next().status, 200);
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(idle[i]->closedByServer()) << i;
    idle[7]->send(post(ping).substr(60));
    EXPECT_EQ(idle[7]->next().status, 200) << "a newer idle connection stays";
}

TEST(HTTPDescriptors, AFloodOfIdleConnectionsNeverLocksOutAClient) {
    // The server runs in a child whose descriptor limit (64) is far below the flood (100 idle
    // connections), as a common 1,024 is below 1,030.
    int pipeEnds[2];
    ASSERT_EQ(::pipe(pipeEnds), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        rlimit limit{64, 64};
        ::setrlimit(RLIMIT_NOFILE, &limit);
        HeadlessMainQueue queue;
        Studio studio{Project("Untitled", 120)};
        MCPDispatcher dispatcher{studio, queue};
        MCPHTTPServer server{0, dispatcher};
        server.start();
        const std::uint16_t port = server.boundPort();
        if (::write(pipeEnds[1], &port, sizeof port) != sizeof port) ::_exit(1);
        queue.run();
        ::_exit(0);
    }
    std::uint16_t port = 0;
    EXPECT_EQ(::read(pipeEnds[0], &port, sizeof port), ssize_t(sizeof port));
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);
    if (port != 0) {
        std::vector<std::unique_ptr<Client>> idle;
        for (int i = 0; i < 100; ++i) idle.push_back(std::make_unique<Client>(port));
        Client client(port);
        client.send(post(ping));
        EXPECT_EQ(client.next().status, 200);
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

TEST_F(HTTP, KeepsAcceptingAfterRunningOutOfFileDescriptors) {
    // Take the client's descriptor first, use up every other one, then connect (which needs no
    // new descriptor): the server's accept fails. Once descriptors are free again, the waiting
    // client must be served.
    Client client(port(), false, false);
    rlimit original{};
    getrlimit(RLIMIT_NOFILE, &original);
    rlimit lowered = original;
    lowered.rlim_cur = std::min<rlim_t>(original.rlim_cur, 4096);
    setrlimit(RLIMIT_NOFILE, &lowered);
    std::vector<int> hog;
    for (int fd; (fd = ::open("/dev/null", O_RDONLY)) >= 0;) hog.push_back(fd);
    ASSERT_TRUE(client.connect());
    client.send(post(ping));
    EXPECT_FALSE(client.readable(200)) << "served although no descriptor was free";
    for (int fd : hog) ::close(fd);
    setrlimit(RLIMIT_NOFILE, &original);
    EXPECT_EQ(client.next().status, 200) << "the listener stopped accepting";
    EXPECT_EQ(exchange("GET /health HTTP/1.1\r\n\r\n").status, 200);
}

TEST_F(HTTP, ReportsListeningAndAPortInUse) {
    HeadlessMainQueue queue;  // delivers the states to this thread
    MCPDispatcher other{studio, queue};
    std::vector<MCPHTTPServer::State> states;
    MCPHTTPServer taken(port(), other), anyPort(0, other);
    taken.onState = anyPort.onState = [&](MCPHTTPServer::State state) { states.push_back(state); };
    taken.start();
    queue.poll();
    ASSERT_EQ(states.size(), 1u);
    ASSERT_TRUE(std::holds_alternative<MCPHTTPServer::Failed>(states[0]));
    EXPECT_EQ(std::get<MCPHTTPServer::Failed>(states[0]).message, "Address already in use");

    states.clear();
    anyPort.start();
    queue.poll();
    EXPECT_EQ(states, std::vector<MCPHTTPServer::State>{MCPHTTPServer::Listening{0}}) << "the configured port, as set";
    EXPECT_NE(anyPort.boundPort(), 0);
}
