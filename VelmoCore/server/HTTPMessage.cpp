#include "server/HTTPMessage.h"

namespace velmo {

std::string_view reasonPhrase(int status) {
    switch (status) {
    case 200: return "OK";
    case 202: return "Accepted";
    case 204: return "No Content";
    case 400: return "Bad Request";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 413: return "Content Too Large";
    case 415: return "Unsupported Media Type";
    case 431: return "Request Header Fields Too Large";
    case 500: return "Internal Server Error";
    default: return "OK";
    }
}

std::string serializeResponse(const HTTPResponse& response, bool keepAlive) {
    std::map<std::string, std::string> headers = response.headers;
    headers["Content-Length"] = std::to_string(response.body.size());
    headers["Connection"] = keepAlive ? "keep-alive" : "close";
    headers["Cache-Control"] = "no-store";

    std::string bytes;
    bytes.reserve(128 + response.body.size());
    bytes += "HTTP/1.1 ";
    bytes += std::to_string(response.status);
    bytes += ' ';
    bytes += reasonPhrase(response.status);
    bytes += "\r\n";
    for (const auto& [name, value] : headers) {
        bytes += name;
        bytes += ": ";
        bytes += value;
        bytes += "\r\n";
    }
    bytes += "\r\n";
    bytes += response.body;
    return bytes;
}

} // namespace velmo
