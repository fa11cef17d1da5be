// How a double reads in messages, tool replies and JSON views: the shortest decimal text that
// reads back to the same double, with ".0" on whole numbers so a reader can tell 20.0 from 20.
#pragma once

#include <string>

namespace velmo {

// 20.0 -> "20.0", 0.1 -> "0.1", 0.0005 -> "0.0005", 1.0/3 -> "0.3333333333333333".
// Magnitudes below 1e-4 or from 1e16 up switch to exponent form ("1e-05", "1e+16"), where a plain
// decimal would run to a long row of zeros. Non-finite values read "inf", "-inf" and "nan".
std::string shortestText(double value);

} // namespace velmo
