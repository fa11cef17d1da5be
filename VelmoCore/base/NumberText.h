// Numbers as text, both ways, for everything that reads or writes them: tool arguments,
// parameter values, effect parameters, messages and JSON views. Neither direction looks at the
// process locale, which a desktop toolkit sets from the user's environment: "0.5" is one half
// under a German locale too.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmo {

// 20.0 -> "20.0", 0.1 -> "0.1", 0.0005 -> "0.0005", 1.0/3 -> "0.3333333333333333".
// Magnitudes below 1e-4 or from 1e16 up switch to exponent form ("1e-05", "1e+16"), where a plain
// decimal would run to a long row of zeros. Non-finite values read "inf", "-inf" and "nan".
std::string shortestText(double value);

// The whole text as a double, or nothing. One optional sign ("+4", "-2"), then a decimal with an
// optional fraction and exponent ("1.5", ".5", "2.5e3"), a hexadecimal number after "0x" ("0x10"
// is 16), or "inf", "infinity", "nan" in any case. No blanks, nothing after the number. A text
// beyond the range of a double reads as an infinity of its sign ("1e400"), one too small as zero
// ("1e-400"). Non-finite results are returned: whether they count is the caller's rule.
std::optional<double> parseNumber(std::string_view text);

} // namespace velmo
