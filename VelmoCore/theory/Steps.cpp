#include "theory/Steps.h"

#include "base/UserError.h"

#include <algorithm>
#include <cmath>

namespace velmo::MusicTheory {

namespace {

// Counts are floor(span / step); binary fractions put 0.3 / 0.1 just below 3.
constexpr double kStepTolerance = 1e-9;

} // namespace

std::int64_t stepCount(double span, double step, const std::string& what, const std::string& advice) {
    if (!(step > 0)) return 1;
    const double steps = std::floor(span / step + kStepTolerance);
    if (!(steps >= 1)) return 1;
    if (steps > double(kMaxSteps)) {
        throw UserError(what + " would take " + std::to_string(std::int64_t(std::min(steps, 1e18))) +
                        " steps; the limit is " + std::to_string(kMaxSteps) + ". " + advice);
    }
    return static_cast<std::int64_t>(steps);
}

} // namespace velmo::MusicTheory
