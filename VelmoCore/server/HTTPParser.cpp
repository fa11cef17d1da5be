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

using Rejection = HTTPParser::Rejection;

// How much of the buffer a request takes: the offset just behind it, or how many bytes must be
// there before it is worth looking again, or why it cannot be read.
struct NeedMore {
    std::size_t bytes;
};
using Framing = std::variant<std::size_t, NeedMore, Rejection>;

const std::string* header(const HTTPRequest& request, const char* name) {
    auto found = request.headers.find(name);
    return found == request.headers.end() ? nullptr : &found->second;
}

// The words of the request line, split at blanks.
std::vector<std::string_view> words(std::string_view line) {
    std::vector<std::string_view> result;
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && isBlank(line[i])) ++i;
        std::size_t j = i;
        while (j < line.size() && !isBlank(line[j])) ++j;
        if (j > i) result.push_back(line.substr(i, j - i));
        i = j;
    }
    return result;
}

// The request line and the headers of a head (without its blank line). A repeated header keeps
// its last value, except that two lengths that disagree could frame the body two ways, which is
// how requests are smuggled past a proxy.
std::variant<HTTPRequest, Rejection> parseHead(std::string_view head) {
    if (!isValidUTF8(head)) return Rejection{400, "Request head is not valid UTF-8"};
    std::size_t lineEnd = head.find("\r\n");
    const std::vector<std::string_view> requestLine = words(head.substr(0, lineEnd));
    if (requestLine.size() < 2) return Rejection{400, "Malformed request line"};
    HTTPRequest request;
    request.method = requestLine[0];
    request.path = requestLine[1];
    while (lineEnd != std::string_view::npos) {
        const std::size_t lineStart = lineEnd + 2;
        lineEnd = head.find("\r\n", lineStart);
        const std::string_view line = head.substr(lineStart, lineEnd - lineStart);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        std::string name = lowercased(trimmed(line.substr(0, colon)));
        std::string value(trimmed(line.substr(colon + 1)));
        if (name == "content-length" && request.headers.contains(name) && request.headers[name] != value)
            return Rejection{400, "Conflicting Content-Length headers"};
        request.headers[std::move(name)] = std::move(value);
    }
    return request;
}

// The trailer lines behind the last chunk, up to the blank line that ends the message. Their
// fields are not used.
Framing skipTrailers(std::string_view data, std::size_t position) {
    while (true) {
        const std::size_t lineEnd = data.find("\r\n", position);
        if (lineEnd == std::string_view::npos) return NeedMore{data.size() + 1};
        if (lineEnd == position) return lineEnd + 2;
        position = lineEnd + 2;
    }
}

// The chunks from `position` on, decoded into `body`. They are decoded from the start each time
// more bytes arrive; requests are small.
Framing readChunks(std::string_view data, std::size_t position, std::string& body) {
    // Chunk framing may cost a few bytes per body byte, but not without bound.
    if (data.size() - position > 2 * HTTPParser::maxBodyBytes) return Rejection{413, "Request body too large"};
    while (true) {
        const std::size_t lineEnd = data.find("\r\n", position);
        if (lineEnd == std::string_view::npos) {
            if (data.size() - position > maxChunkLine) return Rejection{400, "Bad chunk size line"};
            return NeedMore{data.size() + 1};
        }
        std::string_view line = data.substr(position, lineEnd - position);
        if (line.size() > maxChunkLine) return Rejection{400, "Bad chunk size line"};
        const auto size =
            isValidUTF8(line) ? parseChunkSize(trimmed(line.substr(0, line.find(';'))), HTTPParser::maxBodyBytes)
                              : std::nullopt;
        if (!size) return Rejection{400, "Bad chunk size"};
        if (*size == 0) return skipTrailers(data, lineEnd + 2);
        if (body.size() + *size > HTTPParser::maxBodyBytes) return Rejection{413, "Request body too large"};
        const std::size_t chunkStart = lineEnd + 2;
        const std::size_t chunkEnd = chunkStart + std::size_t(*size);
        if (data.size() < chunkEnd + 2) return NeedMore{chunkEnd + 2};
        if (data.substr(chunkEnd, 2) != "\r\n") return Rejection{400, "Chunk does not match its size"};
        body.append(data.substr(chunkStart, std::size_t(*size)));
        position = chunkEnd + 2;
    }
}

// A body of the declared length from `position` on. An unparseable length counts as 0, a missing
// one too.
Framing readSized(std::string_view data, std::size_t position, const std::string* declared, std::string& body) {
    std::uint64_t length = 0;
    if (declared) {
        switch (parseDecimal(*declared, length)) {
        case Length::ok: break;
        case Length::invalid: length = 0; break;
        case Length::negative: return Rejection{400, "Negative Content-Length"};
        case Length::overflow: return Rejection{400, "Content-Length out of range"};
        }
    }
    if (length > HTTPParser::maxBodyBytes) return Rejection{413, "Request body too large"};
    const std::size_t end = position + std::size_t(length);
    if (data.size() < end) return NeedMore{end};
    body.assign(data.substr(position, std::size_t(length)));
    return end;
}

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

// Only the bytes that arrived since the last search are searched again (with three bytes of
// overlap, in case the blank line was split).
std::size_t HTTPParser::findHeadEnd(std::string_view data) {
    const std::size_t headEnd = data.find("\r\n\r\n", scanned_ >= 3 ? scanned_ - 3 : 0);
    if (headEnd == std::string_view::npos) scanned_ = data.size();
    return headEnd;
}

HTTPParser::Result HTTPParser::next() {
    // Blank lines before a request line are skipped, as HTTP asks of servers: some clients send
    // one behind a body.
    while (buffer_.compare(start_, 2, "\r\n") == 0) consume(2);
    const std::string_view data(buffer_.data() + start_, buffer_.size() - start_);
    if (data.empty() || data.size() < needed_) return {};

    const std::size_t headEnd = findHeadEnd(data);
    if (headEnd == std::string_view::npos) {
        if (data.size() >= maxHeadBytes) return Rejection{431, "Request head too large"};
        return {};
    }
    if (headEnd + 4 > maxHeadBytes) return Rejection{431, "Request head too large"};

    auto head = parseHead(data.substr(0, headEnd));
    if (auto* rejection = std::get_if<Rejection>(&head)) return *rejection;
    HTTPRequest& request = std::get<HTTPRequest>(head);

    const std::string* transferEncoding = header(request, "transfer-encoding");
    const Framing framing = transferEncoding && lowercased(*transferEncoding).find("chunked") != std::string::npos
                                ? readChunks(data, headEnd + 4, request.body)
                                : readSized(data, headEnd + 4, header(request, "content-length"), request.body);
    if (auto* rejection = std::get_if<Rejection>(&framing)) return *rejection;
    if (auto* more = std::get_if<NeedMore>(&framing)) {
        needed_ = more->bytes;
        return {};
    }
    consume(std::get<std::size_t>(framing));
    return std::move(request);
}

} // namespace velmo
