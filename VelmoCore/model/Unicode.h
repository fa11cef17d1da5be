// Text comparisons of the song model. Ids are compared by Unicode canonical equivalence, so an
// id typed in decomposed form still names its track; names are compared lower-cased.
#pragma once

#include <string>
#include <string_view>

namespace velmo {

// The NFC form of UTF-8 text. Invalid UTF-8 is returned unchanged.
std::string canonicalForm(std::string_view text);

// True when the two texts are canonically equivalent (equal NFC forms).
bool canonicallyEqual(std::string_view a, std::string_view b);

// Full Unicode lower-casing of UTF-8 text (NFC first). Invalid UTF-8 is returned unchanged.
std::string lowercased(std::string_view text);

} // namespace velmo
