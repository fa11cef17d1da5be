// The request parser on its own: any split of a byte stream yields the same requests, the
// leniencies (header case, repeated headers, chunk extensions, trailers, a blank line between
// requests) hold, and what cannot be framed safely is refused.
#include "server/HTTPParser.h"

#include <gtest/gtest.h>

#include <vector>

using namespace velmo;

namespace {

// Feeds `stream` in two pieces split at `split` and collects what comes out.
std::vector<HTTPParser::Result> parseSplit(const std::string& stream, std::size_t split) {
    HTTPParser parser;
    std::vector<HTTPParser::Result> results;
    for (std::string_view piece : {std::string_view(stream).substr(0, split), std::string_view(stream).substr(split)}) {
        parser.append(piece);
        while (true) {
            auto result = parser.next();
            if (std::holds_alternative<std::monostate>(result)) break;
            results.push_back(std::move(result));
        }
    }
    return results;
}

} // namespace

TEST(HTTPParser, AnySplitOfAPipelinedStreamGivesTheSameRequests) {
    const std::string stream =
        "POST /mcp?x=1 HTTP/1.1\r\nHost: a\r\nX-Thing:  spaced value \t\r\nx-thing: last\r\nnocolon\r\n"
        "Content-Length: 5\r\n\r\nhello"
        "POST /mcp HTTP/1.1\r\nTransfer-Encoding: gzip, CHUNKED\r\n\r\n5;name=v\r\nhello\r\n3\r\n wo\r\n0\r\n"
        "X-Trailer: 1\r\nX-Other: 2\r\n\r\n"
        "\r\nGET / HTTP/1.0\r\n\r\n";
    HTTPRequest first{"POST", "/mcp?x=1", {{"host", "a"}, {"x-thing", "last"}, {"content-length", "5"}}, "hello"};
    HTTPRequest second{"POST", "/mcp", {{"transfer-encoding", "gzip, CHUNKED"}}, "hello wo"};
    HTTPRequest third{"GET", "/", {}, ""};
    const std::vector<HTTPParser::Result> expected = {first, second, third};
    for (std::size_t split = 0; split <= stream.size(); ++split)
        ASSERT_EQ(parseSplit(stream, split), expected) << "split at " << split;
}

TEST(HTTPParser, MalformedRequestsAreRefused) {
    for (const auto& [stream, message] : std::vector<std::pair<std::string, std::string>>{
             {"GET\r\n\r\nGET / HTTP/1.1\r\n\r\n", "Malformed request line"},
             {"GET /h\xff HTTP/1.1\r\n\r\n", "Request head is not valid UTF-8"},
             {"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", "Bad chunk size"},
             {"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nabc\r\n0\r\n\r\n", "Chunk does not match its size"},
             {"POST / HTTP/1.1\r\nContent-Length: 5\r\ncontent-length: 6\r\n\r\nhello!", "Conflicting Content-Length headers"}}) {
        HTTPParser parser;
        parser.append(stream);
        EXPECT_EQ(parser.next(), HTTPParser::Result(HTTPParser::Rejection{400, message})) << stream;
    }
    HTTPParser agreeing;
    agreeing.append("POST / HTTP/1.1\r\nContent-Length: 5\r\nContent-Length:  5\r\n\r\nhello");
    ASSERT_TRUE(std::holds_alternative<HTTPRequest>(agreeing.next())) << "repeated equal lengths are one length";
}
