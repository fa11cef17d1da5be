// One accepted TCP connection of the agent server: reads bytes, parses requests one at a time,
// hands each to the server's handler and writes the responses back in order.
#pragma once

#include "server/HTTPMessage.h"
#include "server/HTTPParser.h"

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace velmo {

// HTTP queue only (the single thread that runs the server's io_context). Keeps itself alive
// through the operations it has pending; the server holds it only weakly.
class HTTPConnection : public std::enable_shared_from_this<HTTPConnection> {
public:
    // Any thread. Delivers the response of one request; must be called exactly once.
    using Respond = std::function<void(HTTPResponse)>;
    using Handler = std::function<void(HTTPRequest, Respond)>;

    // `context` is shared so that a response still travelling when the server is destroyed has
    // a queue to be posted to.
    // `idleTimeout`: how long the connection may wait for a complete request before it closes.
    HTTPConnection(std::shared_ptr<asio::io_context> context, asio::ip::tcp::socket socket,
                   std::chrono::milliseconds idleTimeout, Handler handler);

    // Begins reading.
    void start();
    // Closes the socket; pending reads and writes end.
    void close();

    bool closed() const { return closed_; }
    // Since when the connection has been waiting for a request; nothing while one is answered
    // and once closed.
    std::optional<std::chrono::steady_clock::time_point> idleSince() const;

private:
    void receive();
    void onReadable();
    void processBuffer();
    void send(HTTPResponse response);
    void lingeringClose();
    void awaitRequest();
    void closeAt(std::chrono::steady_clock::time_point when);

    std::shared_ptr<asio::io_context> context_;  // declared first: outlives the socket
    asio::ip::tcp::socket socket_;
    std::chrono::milliseconds idleTimeout_;
    Handler handler_;
    HTTPParser parser_;
    std::string outgoing_;
    bool busy_ = false;       // a request is being answered
    bool closed_ = false;
    bool keepAlive_ = true;
    bool readEnded_ = false;  // the peer half-closed or the read failed; nothing more will arrive
    bool readPaused_ = false; // enough is queued behind the request being answered
    bool rejected_ = false;   // refused for its size: the rest of what the client sends is discarded
    bool lingering_ = false;
    std::chrono::steady_clock::time_point idleSince_;
    // The connection closes when this passes: the idle timeout while it waits for a request, a
    // moment while it lingers, never while a request is answered.
    asio::steady_timer deadline_;
};

} // namespace velmo
