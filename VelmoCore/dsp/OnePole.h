// A one-pole lowpass smoother, y += a × (x − y), for effects' tone controls and smoothing.
// Left at its initial coefficient it passes its input through.
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velmo {

// Audio thread only (owned by an effect or generator).
struct OnePole {
    double y = 0.0;
    double a = 1.0; // 1 passes the input through

    // f in Hz, clamped to 1 .. 0.49 × sr.
    void setCutoff(double f, double sr) {
        double fc = f < 1.0 ? 1.0 : std::min(f, 0.49 * sr);
        a = 1.0 - std::exp(-2.0 * std::numbers::pi * fc / sr);
    }

    double process(double x) {
        y = y + a * (x - y);
        return y;
    }
};

} // namespace velmo
