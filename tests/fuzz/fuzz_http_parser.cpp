// Arbitrary bytes into the request parser of one connection, delivered in pieces whose sizes the
// input chooses, as a client writing in odd pieces would. Every request that comes out must be
// within the limits, and the buffer may never hold more than the limits allow.
#include "server/HTTPParser.h"
#include "server/RequestGuard.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace velmo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    // The first byte picks the piece size: 1 to 256 bytes.
    const std::size_t piece = std::size_t(data[0]) + 1;
    std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);

    HTTPParser parser;
    while (!bytes.empty()) {
        const std::size_t take = std::min(piece, bytes.size());
        parser.append(bytes.substr(0, take));
        bytes.remove_prefix(take);
        while (true) {
            HTTPParser::Result result = parser.next();
            if (std::holds_alternative<std::monostate>(result)) break;
            if (std::holds_alternative<HTTPParser::Rejection>(result)) return 0;  // the connection closes
            const auto& request = std::get<HTTPRequest>(result);
            if (request.method.empty() || request.path.empty()) std::abort();
            if (request.body.size() > HTTPParser::maxBodyBytes) std::abort();
            (void)foreignRequestRefusal(request);
            auto type = request.headers.find("content-type");
            (void)isJSONContentType(type == request.headers.end() ? nullptr : &type->second);
        }
        if (parser.buffered() > HTTPParser::maxHeadBytes + 3 * HTTPParser::maxBodyBytes) std::abort();
    }
    return 0;
}
