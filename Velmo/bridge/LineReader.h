// Standard input as a sequence of lines, one JSON-RPC message each. A line may be as long as
// the server accepts; a longer one is skipped as it streams past, so memory stays bounded
// whatever a client sends.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace velmo::bridge {

// The bridge's one thread.
class LineReader {
public:
    struct Line {
        std::string text;        // without the newline; empty when the line was too long
        std::size_t length = 0;  // in bytes, also when the text was dropped
        bool tooLong() const { return length > text.size(); }
    };

    // Reads from `fd`; lines longer than `maxLength` bytes are dropped. While waiting for input
    // it watches `clientOut` (see waitReadable) and ends the input when the client has gone.
    LineReader(int fd, std::size_t maxLength, int clientOut = -1);

    // The next line, with a trailing carriage return removed. A last line without a newline
    // counts. Nothing at the end of input, after a read error, or once the client has gone.
    std::optional<Line> next();

private:
    bool fill();

    int fd_;
    std::size_t maxLength_;
    int clientOut_;
    std::string buffer_;
    std::size_t start_ = 0;    // consumed bytes at the front of buffer_
    std::size_t scanned_ = 0;  // bytes after start_ known to hold no newline
    std::size_t dropped_ = 0;  // bytes of an overlong line already thrown away
    bool ended_ = false;
    bool clientGone_ = false;
};

} // namespace velmo::bridge
