// The master bus's brick-wall limiter: instant attack on the very sample that exceeds the
// ceiling, so it needs no look-ahead, and an exponential release with an 80 ms time constant.
// During release the gain stays at or below the ceiling's ratio, so no finite output exceeds it.
#pragma once

#include <algorithm>
#include <cmath>

namespace velmo {

// Audio thread only (owned by the engine core).
struct Limiter {
    static constexpr double ceiling = 0.966; // about -0.3 dBFS
    static constexpr double releaseSeconds = 0.08;

    double gain = 1.0;   // current gain
    double release;      // per-sample release coefficient

    explicit Limiter(double sampleRate) : release(std::exp(-1.0 / (sampleRate * releaseSeconds))) {}

    // The gain for a frame of `l` and `r` (the larger magnitude counts).
    double next(float l, float r) {
        const double p = std::max(std::fabs(l), std::fabs(r));
        const double t = p > ceiling ? ceiling / p : 1.0;
        gain = t < gain ? t : t + (gain - t) * release;
        return gain;
    }
};

} // namespace velmo
