// The incremental request parser of one HTTP connection: bytes go in as they arrive, complete
// requests come out in order, so that split and pipelined requests both work. Lenient in what does
// no harm (header case, an unparseable length counting as 0); a request that cannot be framed
// safely, or whose size would endanger the process, is refused with a status, and the connection
// closes.
#pragma once

#include "server/HTTPMessage.h"

#include <cstddef>
#include <optional>
#include <string>
#include <variant>

namespace velmo {

// Owned by one connection, on the HTTP queue.
class HTTPParser {
public:
    // A head (request line and headers with the blank line) may hold at most this many bytes.
    static constexpr std::size_t maxHeadBytes = 64 * 1024;
    // A body, declared or decoded from chunks, may hold at most this many bytes.
    static constexpr std::size_t maxBodyBytes = 32 * 1024 * 1024;

    // A request that cannot be served: the status and text to answer with before closing.
    struct Rejection {
        int status;
        std::string message;
        bool operator==(const Rejection&) const = default;
    };

    // Nothing complete yet, a request, or a rejection.
    using Result = std::variant<std::monostate, HTTPRequest, Rejection>;

    void append(std::string_view bytes);

    // Takes the next complete request off the buffer. Refused with 400: a head that is not UTF-8,
    // a request line of fewer than two words, a bad chunk size, a chunk longer than its size, two
    // Content-Length headers that disagree, and a negative or overflowing length. After a
    // rejection the parser's state is undefined: the connection must close.
    Result next();

    // Bytes received and not yet consumed.
    std::size_t buffered() const { return buffer_.size() - start_; }

private:
    void consume(std::size_t length);
    std::size_t findHeadEnd(std::string_view data);

    std::string buffer_;
    std::size_t start_ = 0;    // consumed bytes at the front, kept until the next append
    std::size_t scanned_ = 0;  // bytes after start_ already searched for the end of the head
    std::size_t needed_ = 0;   // bytes after start_ that must be present before parsing again
};

// True when `text` is well-formed UTF-8 (no overlong forms, surrogates or values past U+10FFFF).
bool isValidUTF8(std::string_view text);

} // namespace velmo
