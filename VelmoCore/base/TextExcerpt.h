// Quoting outside text in a message without letting it run on: at most a given number of code
// points, then "…". Error texts quote what an agent or a file gave only through this, so a
// message can never turn into a way of reading a file.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velmo {

// The longest quote of outside text that any message carries.
constexpr std::size_t kExcerptLimit = 40;

// The first `limit` code points of UTF-8 `text`, followed by "…" when something was cut. The cut
// falls between code points, so valid UTF-8 stays valid.
std::string excerpt(std::string_view text, std::size_t limit = kExcerptLimit);

} // namespace velmo
