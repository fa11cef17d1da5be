#include "server/HTTPParser.h"

#include "model/Unicode.h"

#include <cstdint>
#include <vector>

namespace velmo {

bool isValidUTF8(std::string_view text) {
    std::size_t i = 0;
    const std::size_t n = text.size();
    while (i < n) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c < 0x80) {
            ++i;
            continue;
        }
        std::size_t length;
        std::uint32_t point;
        if (c >= 0xC2 && c <= 0xDF) length = 2, point = c & 0x1F;
        else if (c >= 0xE0 && c <= 0xEF) length = 3, point = c & 0x0F;
        else if (c >= 0xF0 && c <= 0xF4) length = 4, point = c & 0x07;
        else return false;
        if (n - i < length) return false;
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) return false;
            point = (point << 6) | (next & 0x3F);
        }
        if ((length == 3 && (point < 0x800 || (point >= 0xD800 && point <= 0xDFFF))) ||
            (length == 4 && (point < 0x10000 || point > 0x10FFFF)))
            return false;
        i += length;
    }
    return true;
}

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

enum class Length { ok, invalid, negative, overflow };

// A decimal integer with an optional sign, digits only.
Length parseDecimal(std::string_view text, std::uint64_t& value) {
    value = 0;
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty()) return Length::invalid;
    bool overflow = false;
    for (char c : text) {
        if (c < '0' || c > '9') return Length::invalid;
        if (value > (UINT64_MAX - 9) / 10) overflow = true;
        else value = value * 10 + std::uint64_t(c - '0');
    }
    if (overflow || value > std::uint64_t(INT64_MAX)) return Length::overflow;
    if (negative && value != 0) return Length::negative;
    return Length::ok;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// A chunk size. Sizes past `limit` report `limit + 1`, so that a huge size never overflows.
std::optional<std::uint64_t> parseChunkSize(std::string_view text, std::uint64_t limit) {
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    if (text.empty()) return std::nullopt;
    std::uint64_t value = 0;
    for (char c : text) {
        int digit = hexDigit(c);
        if (digit < 0) return std::nullopt;
        value = value > limit ? limit + 1 : value * 16 + std::uint64_t(digit);
    }
    return value;
}

// A chunk-size line longer than this (extensions included) is not one.
constexpr std::size_t maxChunkLine = 4096;

} // namespace

void HTTPParser::append(std::string_view bytes) {
    if (start_ > 0) {
        buffer_.erase(0, start_);
        start_ = 0;
    }
    buffer_.append(bytes);
}

void HTTPParser::consume(std::size_t length) {
    start_ += length;
    scanned_ = 0;
    needed_ = 0;
    if (start_ == buffer_.size()) {
        buffer_.clear();
        start_ = 0;
    }
}

void HTTPParser::drop() {
    buffer_.clear();
    start_ = 0;
    scanned_ = 0;
    needed_ = 0;
}

HTTPParser::Result HTTPParser::next() {
    const std::string_view data(buffer_.data() + start_, buffer_.size() - start_);
    if (data.empty() || data.size() < needed_) return {};

    // Only the bytes that arrived since the last search are searched again (with three bytes of
    // overlap, in case the blank line was split).
    const std::size_t headEnd = data.find("\r\n\r\n", scanned_ >= 3 ? scanned_ - 3 : 0);
    if (headEnd == std::string_view::npos) {
        scanned_ = data.size();
        if (data.size() >= maxHeadBytes) return Rejection{431, "Request head too large"};
        return {};
    }
    if (headEnd + 4 > maxHeadBytes) return Rejection{431, "Request head too large"};

    const std::string_view head = data.substr(0, headEnd);
    if (!isValidUTF8(head)) {
        drop();
        return {};
    }

    HTTPRequest request;
    std::size_t lineStart = 0;
    bool first = true;
    while (lineStart <= head.size()) {
        std::size_t lineEnd = head.find("\r\n", lineStart);
        if (lineEnd == std::string_view::npos) lineEnd = head.size();
        const std::string_view line = head.substr(lineStart, lineEnd - lineStart);
        lineStart = lineEnd + 2;
        if (first) {
            first = false;
            std::vector<std::string_view> words;
            std::size_t i = 0;
            while (i < line.size()) {
                while (i < line.size() && isBlank(line[i])) ++i;
                std::size_t j = i;
                while (j < line.size() && !isBlank(line[j])) ++j;
                if (j > i) words.push_back(line.substr(i, j - i));
                i = j;
            }
            if (words.size() < 2) {
                drop();
                return {};
            }
            request.method = words[0];
            request.path = words[1];
            continue;
        }
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        request.headers[lowercased(trimmed(line.substr(0, colon)))] = std::string(trimmed(line.substr(colon + 1)));
    }

    const std::size_t bodyStart = headEnd + 4;
    auto header = [&](const char* name) -> const std::string* {
        auto found = request.headers.find(name);
        return found == request.headers.end() ? nullptr : &found->second;
    };

    const std::string* transferEncoding = header("transfer-encoding");
    if (transferEncoding && lowercased(*transferEncoding).find("chunked") != std::string::npos) {
        // The chunks are decoded from the start each time more bytes arrive; requests are small.
        // Chunk framing may cost a few bytes per body byte, but not without bound.
        if (data.size() - bodyStart > 2 * maxBodyBytes) return Rejection{413, "Request body too large"};
        std::size_t position = bodyStart;
        while (true) {
            const std::size_t lineEnd = data.find("\r\n", position);
            if (lineEnd == std::string_view::npos) {
                if (data.size() - position > maxChunkLine) return Rejection{400, "Bad chunk size line"};
                needed_ = data.size() + 1;
                return {};
            }
            std::string_view line = data.substr(position, lineEnd - position);
            if (line.size() > maxChunkLine) return Rejection{400, "Bad chunk size line"};
            if (!isValidUTF8(line)) {
                drop();
                return {};
            }
            line = trimmed(line.substr(0, line.find(';')));
            const auto size = parseChunkSize(line, maxBodyBytes);
            if (!size) {
                drop();
                return {};
            }
            if (*size == 0) {
                const std::size_t end = data.find("\r\n", lineEnd + 2);
                if (end == std::string_view::npos) {
                    needed_ = data.size() + 1;
                    return {};
                }
                consume(end + 2);
                return request;
            }
            if (request.body.size() + *size > maxBodyBytes) return Rejection{413, "Request body too large"};
            const std::size_t chunkStart = lineEnd + 2;
            if (data.size() < chunkStart + *size + 2) {
                needed_ = chunkStart + *size + 2;
                return {};
            }
            request.body.append(data.substr(chunkStart, *size));
            position = chunkStart + *size + 2;
        }
    }

    std::uint64_t length = 0;
    if (const std::string* declared = header("content-length")) {
        switch (parseDecimal(*declared, length)) {
        case Length::ok: break;
        case Length::invalid: length = 0; break;
        case Length::negative: return Rejection{400, "Negative Content-Length"};
        case Length::overflow: return Rejection{400, "Content-Length out of range"};
        }
    }
    if (length > maxBodyBytes) return Rejection{413, "Request body too large"};
    if (data.size() - bodyStart < length) {
        needed_ = bodyStart + std::size_t(length);
        return {};
    }
    request.body.assign(data.substr(bodyStart, std::size_t(length)));
    consume(bodyStart + std::size_t(length));
    return request;
}

} // namespace velmo
