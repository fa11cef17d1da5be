#include "LineReader.h"

#include "WaitReadable.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace velmo::bridge {

namespace {

constexpr std::size_t kReadSize = 1 << 16;

} // namespace

LineReader::LineReader(int fd, std::size_t maxLength, int clientOut)
    : fd_(fd), maxLength_(maxLength), clientOut_(clientOut) {}

std::optional<LineReader::Line> LineReader::next() {
    for (;;) {
        const char* from = buffer_.data() + start_ + scanned_;
        const std::size_t available = buffer_.size() - start_ - scanned_;
        if (const void* newline = std::memchr(from, '\n', available)) {
            const std::size_t length = std::size_t(static_cast<const char*>(newline) - (buffer_.data() + start_));
            Line line;
            line.length = dropped_ + length;
            if (line.length <= maxLength_) {
                line.text.assign(buffer_, start_, length);
                if (!line.text.empty() && line.text.back() == '\r') line.text.pop_back();
            }
            start_ += length + 1;
            scanned_ = 0;
            dropped_ = 0;
            return line;
        }
        scanned_ += available;
        if (dropped_ + scanned_ > maxLength_) {
            // Too long to forward: forget what has come so far and keep only the count.
            dropped_ += scanned_;
            buffer_.clear();
            start_ = scanned_ = 0;
        }
        if (ended_ || !fill()) {
            ended_ = true;
            // A client that has gone sends nothing more, and an unfinished line is no message.
            if (clientGone_ || dropped_ + scanned_ == 0) return std::nullopt;
            buffer_.push_back('\n');  // the last line had no newline of its own
        }
    }
}

bool LineReader::fill() {
    if (start_ > 0 && start_ >= buffer_.size() / 2) {
        buffer_.erase(0, start_);
        start_ = 0;
    }
    if (waitReadable(fd_, clientOut_) == WaitResult::clientGone) {
        clientGone_ = true;
        return false;
    }
    char chunk[kReadSize];
    ssize_t count;
    do count = ::read(fd_, chunk, sizeof chunk);
    while (count < 0 && errno == EINTR);
    if (count <= 0) return false;
    buffer_.append(chunk, std::size_t(count));
    return true;
}

} // namespace velmo::bridge
