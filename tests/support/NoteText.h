// Notes as text, for comparisons whose failure shows every note: one a line, times and
// velocities to twelve significant digits, so that 0.1 * 3 and 0.3 compare equal.
#pragma once

#include "model/Project.h"

#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

namespace velmo::testing {

inline std::string show(const std::vector<Note>& notes) {
    std::ostringstream out;
    out << std::setprecision(12);
    for (const Note& n : notes) out << "\n  " << n.pitch << " @" << n.start << " len " << n.duration << " vel " << n.velocity;
    return out.str();
}

inline std::vector<int> pitches(const std::vector<Note>& notes) {
    std::vector<int> list;
    for (const Note& n : notes) list.push_back(n.pitch);
    return list;
}

} // namespace velmo::testing
