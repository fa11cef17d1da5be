#include "server/RequestGuard.h"

#include <string_view>

namespace velmo {

namespace {

bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = char(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = char(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

// The host of an authority such as "[::1]:8080" or "localhost", without brackets; empty when
// the text is no such authority.
std::string_view authorityHost(std::string_view authority) {
    std::string_view host;
    std::string_view rest;
    if (!authority.empty() && authority.front() == '[') {
        const std::size_t close = authority.find(']');
        if (close == std::string_view::npos) return {};
        host = authority.substr(1, close - 1);
        rest = authority.substr(close + 1);
    } else {
        const std::size_t colon = authority.find(':');
        host = authority.substr(0, colon);
        rest = colon == std::string_view::npos ? std::string_view() : authority.substr(colon);
    }
    if (!rest.empty()) {
        if (rest.front() != ':') return {};
        for (char c : rest.substr(1))
            if (!isDigit(c)) return {};
    }
    return host;
}

// The host of an absolute URL such as "http://[::1]:8080/x"; empty when the text is no such URL.
std::string_view urlHost(std::string_view url) {
    const std::size_t separator = url.find("://");
    if (separator == std::string_view::npos || separator == 0 || !isAlpha(url[0])) return {};
    for (std::size_t i = 1; i < separator; ++i) {
        char c = url[i];
        if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return {};
    }
    std::string_view authority = url.substr(separator + 3);
    authority = authority.substr(0, authority.find_first_of("/?#"));
    if (std::size_t at = authority.rfind('@'); at != std::string_view::npos) authority.remove_prefix(at + 1);
    return authorityHost(authority);
}

bool isLoopbackName(std::string_view host) {
    return equalsIgnoringCase(host, "localhost") || host == "127.0.0.1" || host == "::1";
}

// An empty Origin is what some clients send for "none".
bool originAllowed(const std::string* origin) {
    return !origin || origin->empty() || isLoopbackName(urlHost(*origin));
}

bool hostAllowed(const std::string* host) { return !host || isLoopbackName(authorityHost(*host)); }

} // namespace

bool isJSONContentType(const std::string* contentType) {
    if (!contentType) return false;
    std::string_view type(*contentType);
    type = type.substr(0, type.find(';'));
    while (!type.empty() && (type.back() == ' ' || type.back() == '\t')) type.remove_suffix(1);
    return equalsIgnoringCase(type, "application/json");
}

std::optional<HTTPResponse> foreignRequestRefusal(const HTTPRequest& request) {
    auto header = [&](const char* name) -> const std::string* {
        auto found = request.headers.find(name);
        return found == request.headers.end() ? nullptr : &found->second;
    };
    if (!originAllowed(header("origin"))) return HTTPResponse{403, {}, "Forbidden origin"};
    if (!hostAllowed(header("host"))) return HTTPResponse{403, {}, "Forbidden host"};
    return std::nullopt;
}

} // namespace velmo
