#include "model/Unicode.h"

#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace velmo {

namespace {

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string mapped(std::string_view text, int options) {
    utf8proc_uint8_t* out = nullptr;
    auto length = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                               static_cast<utf8proc_ssize_t>(text.size()), &out,
                               static_cast<utf8proc_option_t>(options));
    if (length < 0) return std::string(text);
    std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owned(out, &std::free);
    return std::string(reinterpret_cast<const char*>(out), static_cast<size_t>(length));
}

} // namespace

std::string canonicalForm(std::string_view text) {
    if (isAscii(text)) return std::string(text);
    return mapped(text, UTF8PROC_STABLE | UTF8PROC_COMPOSE);
}

bool canonicallyEqual(std::string_view a, std::string_view b) {
    if (a == b) return true;
    if (isAscii(a) && isAscii(b)) return false;
    return canonicalForm(a) == canonicalForm(b);
}

std::string lowercased(std::string_view text) {
    if (isAscii(text)) {
        std::string out(text);
        for (char& c : out)
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        return out;
    }
    // UTF8PROC_CASEFOLD would also fold ß to ss; plain lower-casing maps code point by code point.
    std::string composed = canonicalForm(text);
    std::string out;
    out.reserve(composed.size());
    utf8proc_ssize_t pos = 0;
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(composed.data());
    const auto size = static_cast<utf8proc_ssize_t>(composed.size());
    while (pos < size) {
        utf8proc_int32_t cp = 0;
        auto n = utf8proc_iterate(bytes + pos, size - pos, &cp);
        if (n <= 0) return std::string(text);
        utf8proc_uint8_t buf[4];
        auto written = utf8proc_encode_char(utf8proc_tolower(cp), buf);
        out.append(reinterpret_cast<const char*>(buf), static_cast<size_t>(written));
        pos += n;
    }
    return out;
}

} // namespace velmo
