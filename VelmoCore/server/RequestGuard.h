// The checks that keep web pages out of the agent server. The listener is reachable from this
// machine only, but a browser on it runs pages from anywhere: those pages must not reach the
// tools, whether by a cross-origin request, a sandboxed frame or a rebound DNS name.
#pragma once

#include "server/HTTPMessage.h"

#include <optional>
#include <string>

namespace velmo {

// The 403 answer to a request that a web page may have sent, or nothing when it may be served.
// Refused: an `Origin` other than a URL on localhost, 127.0.0.1 or [::1] (any port), "null"
// included, which sandboxed frames and file:// pages send; and a `Host` other than those three
// names (any port), which is what a page reaching here through a rebound DNS name sends. A
// request without Origin or Host passes: browsers always send Host, so only a program that is
// not a browser omits it, and such a program could reach the port anyway.
std::optional<HTTPResponse> foreignRequestRefusal(const HTTPRequest& request);

// True when a `Content-Type` value names application/json, with any parameters. Browsers send
// no other type cross-origin without a preflight, and this server grants no preflight.
bool isJSONContentType(const std::string* contentType);

} // namespace velmo
