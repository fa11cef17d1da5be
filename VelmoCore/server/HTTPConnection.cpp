#include "server/HTTPConnection.h"

#include "model/Unicode.h"

#include <asio/post.hpp>
#include <asio/write.hpp>

#include <vector>

namespace velmo {

namespace {

// One read takes at most this much. The buffer is shared by every connection of the queue's
// one thread: a connection reads only when the socket is readable, so idle connections (even
// hundreds of half-sent requests) hold no read buffer.
constexpr std::size_t maxRead = 1048576;

// While a request is answered, reading stops once this much waits behind it: room for one more
// request of the largest size, so a client cannot make the buffer grow without bound.
constexpr std::size_t pauseThreshold = HTTPParser::maxHeadBytes + 3 * HTTPParser::maxBodyBytes;

char* readBuffer() {
    thread_local std::vector<char> buffer(maxRead);
    return buffer.data();
}

} // namespace

HTTPConnection::HTTPConnection(std::shared_ptr<asio::io_context> context, asio::ip::tcp::socket socket,
                               std::chrono::milliseconds idleTimeout, Handler handler)
    : context_(std::move(context)),
      socket_(std::move(socket)),
      idleTimeout_(idleTimeout),
      handler_(std::move(handler)),
      deadline_(socket_.get_executor()) {}

void HTTPConnection::start() {
    std::error_code ignored;
    socket_.non_blocking(true, ignored);
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    awaitRequest();
    receive();
}

std::optional<std::chrono::steady_clock::time_point> HTTPConnection::idleSince() const {
    if (busy_ || closed_) return std::nullopt;
    return idleSince_;
}

// The clock starts when the connection is ready for a request and is not reset by the bytes of
// a request that is still incomplete, so a client trickling a head in forever is closed too.
void HTTPConnection::awaitRequest() {
    idleSince_ = std::chrono::steady_clock::now();
    closeAt(idleSince_ + idleTimeout_);
}

void HTTPConnection::closeAt(std::chrono::steady_clock::time_point when) {
    deadline_.expires_at(when);
    if (when == std::chrono::steady_clock::time_point::max()) return;
    deadline_.async_wait([self = shared_from_this()](const std::error_code& error) {
        // A wait that had already expired when the deadline moved still reports success: only
        // the deadline as it stands now counts.
        if (!error && std::chrono::steady_clock::now() >= self->deadline_.expiry()) self->close();
    });
}

void HTTPConnection::close() {
    if (closed_) return;
    closed_ = true;
    deadline_.cancel();
    std::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    socket_.close(ignored);
}

void HTTPConnection::receive() {
    socket_.async_wait(asio::ip::tcp::socket::wait_read,
                       [self = shared_from_this()](const std::error_code& error) {
                           if (self->closed_) return;
                           if (error) {
                               self->readEnded_ = true;
                               if (!self->busy_) self->close();
                               return;
                           }
                           self->onReadable();
                       });
}

void HTTPConnection::onReadable() {
    std::error_code error;
    const std::size_t count = socket_.read_some(asio::buffer(readBuffer(), maxRead), error);
    if (error == asio::error::would_block || error == asio::error::try_again || error == asio::error::interrupted) {
        receive();
        return;
    }
    if (lingering_) {
        if (error) close();
        else receive();
        return;
    }
    if (count > 0) {
        parser_.append(std::string_view(readBuffer(), count));
        processBuffer();
    }
    if (error) {
        // End of stream or a failed socket. While a request is being answered the connection
        // stays open so that its response still goes out.
        readEnded_ = true;
        if (!busy_ && !closed_) close();
        return;
    }
    if (closed_) return;
    if (busy_ && parser_.buffered() >= pauseThreshold) {
        readPaused_ = true;
        return;
    }
    receive();
}

void HTTPConnection::processBuffer() {
    if (busy_ || closed_) return;
    HTTPParser::Result result = parser_.next();
    if (std::holds_alternative<std::monostate>(result)) return;
    busy_ = true;
    closeAt(std::chrono::steady_clock::time_point::max());
    if (auto* rejection = std::get_if<HTTPParser::Rejection>(&result)) {
        keepAlive_ = false;
        rejected_ = true;
        send(HTTPResponse{rejection->status, {{"Content-Type", "text/plain"}}, rejection->message});
        return;
    }
    auto* request = std::get_if<HTTPRequest>(&result);
    auto connection = request->headers.find("connection");
    keepAlive_ = connection == request->headers.end() || lowercased(connection->second) != "close";
    handler_(std::move(*request), [self = shared_from_this()](HTTPResponse response) {
        auto& context = *self->context_;
        asio::post(context, [self = std::move(self), response = std::move(response)]() mutable {
            self->send(std::move(response));
        });
    });
}

void HTTPConnection::send(HTTPResponse response) {
    if (closed_) return;
    outgoing_ = serializeResponse(response, keepAlive_);
    asio::async_write(socket_, asio::buffer(outgoing_), [self = shared_from_this()](const std::error_code&, std::size_t) {
        self->busy_ = false;
        self->outgoing_.clear();
        if (self->closed_) return;
        if (!self->keepAlive_) {
            if (self->rejected_ && !self->readEnded_) self->lingeringClose();
            else self->close();
            return;
        }
        self->processBuffer();
        if (self->readPaused_ && !self->readEnded_ && !self->closed_) {
            self->readPaused_ = false;
            self->receive();
        }
        // A peer that half-closed gets the answers to what it sent, then the connection ends:
        // nothing more can arrive, and keeping it would leak the descriptor.
        if (self->readEnded_ && !self->busy_) self->close();
        if (!self->busy_ && !self->closed_) self->awaitRequest();
    });
}

// Closing a socket with unread bytes makes the system reset the connection, and the reset can
// destroy the refusal before the client reads it. So the write side closes first and what the
// client still sends is read and discarded for a moment.
void HTTPConnection::lingeringClose() {
    lingering_ = true;
    std::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    closeAt(std::chrono::steady_clock::now() + std::chrono::seconds(2));
    if (readPaused_) {
        readPaused_ = false;
        receive();
    }
}

} // namespace velmo
