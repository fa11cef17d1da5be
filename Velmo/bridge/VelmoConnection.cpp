#include "VelmoConnection.h"

#include "WaitReadable.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cctype>
#include <charconv>
#include <cstring>
#include <optional>

namespace velmo::bridge {

namespace {

// Velmo's heads are a few lines; its largest answers (a long song with every note) a few MB.
constexpr std::size_t kMaxHeadBytes = 64 * 1024;
constexpr std::size_t kMaxBodyBytes = 256 * 1024 * 1024;
constexpr std::size_t kReadSize = 1 << 16;
// A send blocks only when Velmo stops reading altogether; it reads even while a tool runs.
constexpr timeval kSendTimeout{10, 0};

struct Head {
    int status = 0;
    std::size_t length = 0;
    bool close = false;
};

std::string lowered(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return char(c >= 'A' && c <= 'Z' ? c + 32 : c); });
    return result;
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

// The status line and the headers this client needs, or the reason it cannot use them.
std::variant<Head, std::string> parseHead(std::string_view head) {
    const std::size_t lineEnd = head.find("\r\n");
    const std::string_view statusLine = head.substr(0, lineEnd);
    Head result;
    if (statusLine.size() < 12 || statusLine.substr(0, 7) != "HTTP/1." || statusLine[8] != ' ' ||
        std::from_chars(statusLine.data() + 9, statusLine.data() + 12, result.status).ptr != statusLine.data() + 12)
        return "the answer does not begin with an HTTP/1.x status line";
    bool hasLength = false;
    for (std::size_t at = lineEnd; at != std::string_view::npos && at + 2 < head.size();) {
        const std::size_t next = head.find("\r\n", at + 2);
        const std::string_view line = head.substr(at + 2, next == std::string_view::npos ? next : next - at - 2);
        at = next;
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        const std::string name = lowered(trimmed(line.substr(0, colon)));
        const std::string_view value = trimmed(line.substr(colon + 1));
        if (name == "content-length") {
            auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), result.length);
            if (error != std::errc() || end != value.data() + value.size()) return "its Content-Length is not a number";
            hasLength = true;
        } else if (name == "connection") {
            result.close = lowered(value) == "close";
        } else if (name == "transfer-encoding") {
            return "it sent a " + std::string(value) + " body, which Velmo never does";
        }
    }
    if (!hasLength && result.status != 204 && result.status != 304 && result.status / 100 != 1)
        return "it sent no Content-Length";
    if (result.length > kMaxBodyBytes) return "its body of " + std::to_string(result.length) + " bytes is too large";
    return result;
}

} // namespace

std::string excerpt(std::string_view text) {
    text = text.substr(0, 200);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
    std::string result(text);
    for (char& c : result)
        if (static_cast<unsigned char>(c) < 0x20) c = ' ';
    return result.empty() ? "(nothing)" : result;
}

VelmoConnection::VelmoConnection(std::uint16_t port, int clientOut)
    : port_(port), clientOut_(clientOut), host_("Host: 127.0.0.1:" + std::to_string(port) + "\r\n") {}

VelmoConnection::~VelmoConnection() { close(); }

std::variant<std::monostate, VelmoConnection::Error> VelmoConnection::open(std::chrono::milliseconds timeout) {
    if (fd_ >= 0) return std::monostate{};
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return Error{Error::other, std::strerror(errno)};
    const int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    // On Linux the send timeout also bounds connect, should the listener's backlog be full.
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kSendTimeout, sizeof kSendTimeout);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port_);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int status;
    do status = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    while (status != 0 && errno == EINTR);
    if (status != 0) {
        const int error = errno;
        ::close(fd);
        return Error{error == ECONNREFUSED ? Error::refused : Error::other, std::strerror(error)};
    }
    fd_ = fd;

    auto probe = send("GET /health HTTP/1.1\r\n" + host_ + "\r\n", {});
    if (std::holds_alternative<Reply>(probe)) probe = readReply(int(timeout.count()));
    if (auto* error = std::get_if<Error>(&probe)) return *error;
    const Reply& reply = std::get<Reply>(probe);
    if (reply.status != 200 || !reply.body.starts_with("Velmo MCP server"))
        return std::get<Error>(fail(Error::notVelmo, "it answered GET /health with HTTP " +
                                                         std::to_string(reply.status) + ": " + excerpt(reply.body)));
    return std::monostate{};
}

bool VelmoConnection::closedByPeer() const {
    if (fd_ < 0) return false;
    char byte;
    const ssize_t count = ::recv(fd_, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return !(count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK));
}

void VelmoConnection::close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

VelmoConnection::Result VelmoConnection::fail(Error::Kind kind, std::string detail) {
    close();
    return Error{kind, std::move(detail)};
}

VelmoConnection::Result VelmoConnection::post(std::string_view body) {
    if (fd_ < 0) return fail(Error::lost, "not connected");
    const std::string head = "POST /mcp HTTP/1.1\r\n" + host_ +
                             "Content-Type: application/json\r\nAccept: application/json\r\nContent-Length: " +
                             std::to_string(body.size()) + "\r\n\r\n";
    if (auto sent = send(head, body); std::holds_alternative<Error>(sent)) return sent;
    return readReply(-1);
}

VelmoConnection::Result VelmoConnection::send(std::string_view head, std::string_view body) {
    iovec parts[2] = {{const_cast<char*>(head.data()), head.size()}, {const_cast<char*>(body.data()), body.size()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    while (parts[0].iov_len + parts[1].iov_len > 0) {
        const ssize_t sent = ::sendmsg(fd_, &message, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return fail(Error::lost, "it stopped reading the request for 10 seconds");
        if (sent < 0) return fail(Error::lost, std::strerror(errno));
        // Step past what went out, the head first.
        std::size_t done = std::size_t(sent);
        for (iovec& part : parts) {
            const std::size_t step = std::min(done, part.iov_len);
            part.iov_base = static_cast<char*>(part.iov_base) + step;
            part.iov_len -= step;
            done -= step;
        }
        if (parts[0].iov_len == 0) {
            message.msg_iov = parts + 1;
            message.msg_iovlen = 1;
        }
    }
    return Reply{};
}

VelmoConnection::Result VelmoConnection::readReply(int timeoutMs) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    std::string received;
    std::optional<Head> head;
    std::size_t bodyStart = 0;
    for (;;) {
        if (!head) {
            const std::size_t end = received.find("\r\n\r\n");
            if (end != std::string::npos) {
                auto parsed = parseHead(std::string_view(received).substr(0, end + 2));
                if (auto* reason = std::get_if<std::string>(&parsed)) return fail(Error::notHTTP, *reason);
                head = std::get<Head>(parsed);
                bodyStart = end + 4;
                received.reserve(bodyStart + head->length);
            } else if (received.size() > kMaxHeadBytes) {
                return fail(Error::notHTTP, "the answer's head is longer than 64 KiB");
            }
        }
        if (head && received.size() >= bodyStart + head->length) {
            if (received.size() > bodyStart + head->length) return fail(Error::notHTTP, "it sent more than it announced");
            if (head->close) close();
            received.erase(0, bodyStart);
            return Reply{head->status, std::move(received)};
        }
        int waitMs = -1;
        if (timeoutMs >= 0)
            waitMs = int(std::max<std::int64_t>(0, std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count()));
        switch (waitReadable(fd_, clientOut_, waitMs)) {
        case WaitResult::clientGone: return fail(Error::clientGone, "the client has gone");
        case WaitResult::timedOut: return fail(Error::timedOut, "it did not answer in time");
        case WaitResult::readable: break;
        }
        char chunk[kReadSize];
        ssize_t count;
        do count = ::recv(fd_, chunk, sizeof chunk, 0);
        while (count < 0 && errno == EINTR);
        if (count == 0) return fail(Error::lost, "it closed the connection");
        if (count < 0) return fail(Error::lost, std::strerror(errno));
        received.append(chunk, std::size_t(count));
    }
}

} // namespace velmo::bridge
