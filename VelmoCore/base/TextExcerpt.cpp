#include "base/TextExcerpt.h"

namespace velmo {

std::string excerpt(std::string_view text, std::size_t limit) {
    std::size_t points = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) continue;  // a continuation byte
        if (points == limit) return std::string(text.substr(0, i)) + "…";
        ++points;
    }
    return std::string(text);
}

} // namespace velmo
