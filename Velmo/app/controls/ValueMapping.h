// How a control's travel (0 to 1) maps to a value, linearly or logarithmically, and back.
#pragma once

#include <algorithm>
#include <cmath>

namespace velmo {

struct ValueMapping {
    double min = 0;
    double max = 1;
    bool log = false;

    // A log mapping needs a positive minimum; with min 0 it falls back to the linear form.
    bool logarithmic() const { return log && min > 0; }

    double value(double n) const {
        if (logarithmic()) return min * std::pow(max / min, n);
        return min + (max - min) * n;
    }

    // Where `value` sits on the travel, clamped to 0...1.
    double position(double value) const {
        double n = 0;
        if (logarithmic()) n = std::log(std::max(value, min) / min) / std::log(max / min);
        else if (max != min) n = (value - min) / (max - min);
        return std::clamp(n, 0.0, 1.0);
    }

    bool operator==(const ValueMapping&) const = default;
};

} // namespace velmo
