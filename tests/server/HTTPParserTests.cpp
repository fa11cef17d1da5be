// The request parser on its own: any split of a byte stream yields the same requests, and the
// documented leniencies (header case, repeated headers, chunk extensions, trailers) hold.
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
        "POST /mcp HTTP/1.1\r\nTransfer-Encoding: gzip, CHUNKED\r\n\r\n5;name=v\r\nhello\r\n3\r\n wo\r\n0\r\n\r\n"
        "GET / HTTP/1.0\r\n\r\n";
    HTTPRequest first{"POST", "/mcp?x=1", {{"host", "a"}, {"x-thing", "last"}, {"content-length", "5"}}, "hello"};
    HTTPRequest second{"POST", "/mcp", {{"transfer-encoding", "gzip, CHUNKED"}}, "hello wo"};
    HTTPRequest third{"GET", "/", {}, ""};
    const std::vector<HTTPParser::Result> expected = {first, second, third};
    for (std::size_t split = 0; split <= stream.size(); ++split)
        ASSERT_EQ(parseSplit(stream, split), expected) << "split at " << split;
}

TEST(HTTPParser, MalformedHeadsAreDroppedAndTrailersStay) {
    HTTPParser parser;
    parser.append("GET\r\n\r\nGET / HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(std::holds_alternative<std::monostate>(parser.next())) << "one-word request line";
    EXPECT_EQ(parser.buffered(), 0u) << "the whole buffer is dropped, the request behind it too";

    parser.append("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n");
    EXPECT_TRUE(std::holds_alternative<std::monostate>(parser.next()));
    EXPECT_EQ(parser.buffered(), 0u) << "bad chunk size";

    // The first CRLF after the last chunk ends the message; a trailer line stays behind.
    parser.append("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\nX-Trailer: 1\r\n\r\n");
    auto request = parser.next();
    ASSERT_TRUE(std::holds_alternative<HTTPRequest>(request));
    EXPECT_EQ(std::get<HTTPRequest>(request).body, "");
    EXPECT_EQ(parser.buffered(), std::string("\r\n").size());
}
