// The bridge's HTTP/1.1 client: one keep-alive connection to Velmo's MCP endpoint on
// 127.0.0.1, carrying one JSON-RPC body at a time. It tells "nothing listens" apart from
// "Velmo went away" and from "that is not Velmo", because the bridge answers each differently.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace velmo::bridge {

// The bridge's one thread.
class VelmoConnection {
public:
    struct Reply {
        int status = 0;
        std::string body;
    };
    struct Error {
        enum Kind {
            refused,     // nothing listens on the port
            lost,        // the connection broke before the whole answer came
            notHTTP,     // the answer is not an HTTP response this client understands
            notVelmo,    // a program answers on the port, but not as Velmo does
            timedOut,    // no whole answer within the time given
            clientGone,  // the client's output closed while waiting
            other,       // any other socket failure
        };
        Kind kind;
        std::string detail;  // the system's text or what was wrong, for a person
    };
    using Result = std::variant<Reply, Error>;

    // `clientOut` is watched while waiting for an answer (see waitReadable).
    explicit VelmoConnection(std::uint16_t port, int clientOut = -1);
    ~VelmoConnection();
    VelmoConnection(const VelmoConnection&) = delete;
    VelmoConnection& operator=(const VelmoConnection&) = delete;

    std::uint16_t port() const { return port_; }
    bool isOpen() const { return fd_ >= 0; }

    // Connects if not connected, and asks GET /health whether Velmo is there, waiting at most
    // `timeout` for the answer. A listener on its way out (a Velmo being killed still completes
    // connections it will never serve) fails with `lost`; see Error for the other kinds.
    std::variant<std::monostate, Error> open(std::chrono::milliseconds timeout);
    // True when an open connection has been closed by the other side (or carries bytes nobody
    // asked for) while idle: it cannot carry another request. Does not block.
    bool closedByPeer() const;
    void close();

    // Posts `body` to /mcp on the open connection and waits for the whole answer, however long
    // Velmo takes. Any failure closes the connection.
    Result post(std::string_view body);

private:
    Result fail(Error::Kind kind, std::string detail);
    Result send(std::string_view head, std::string_view body);
    // Reads one whole response; timeoutMs -1 waits as long as it takes.
    Result readReply(int timeoutMs);

    std::uint16_t port_;
    int clientOut_;
    int fd_ = -1;
    std::string host_;  // the Host header line, which Velmo checks
};

// At most 200 bytes of what another program sent, on one line, for a message to a person.
std::string excerpt(std::string_view text);

} // namespace velmo::bridge
