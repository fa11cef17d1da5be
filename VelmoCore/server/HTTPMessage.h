// The request and response records of the agent server's small HTTP/1.1 layer, and the bytes a
// response is written as.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace velmo {

struct HTTPRequest {
    std::string method;                          // as received
    std::string path;                            // as received, with any query
    std::map<std::string, std::string> headers;  // lower-cased name -> value; a repeated name keeps the last
    std::string body;

    bool operator==(const HTTPRequest&) const = default;
};

struct HTTPResponse {
    int status = 200;
    std::map<std::string, std::string> headers;
    std::string body;

    bool operator==(const HTTPResponse&) const = default;
};

// "OK" for a status this server has no phrase for.
std::string_view reasonPhrase(int status);

// The status line, the headers with Content-Length, Connection and Cache-Control set, a blank
// line and the body.
std::string serializeResponse(const HTTPResponse& response, bool keepAlive);

} // namespace velmo
