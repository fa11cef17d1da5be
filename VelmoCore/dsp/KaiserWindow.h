// The Kaiser window that the windowed-sinc designs share (true-peak interpolator, band-limited
// edges, half-band decimator): beta trades the stop band's depth for the transition's width.
#pragma once

#include <cmath>

namespace velmo {

// The zeroth-order modified Bessel function of the first kind, by its power series.
inline double besselI0(double x) {
    double sum = 1.0, term = 1.0;
    for (int k = 1; k < 50; ++k) {
        term *= (x / (2.0 * k)) * (x / (2.0 * k));
        sum += term;
    }
    return sum;
}

// The window at r, from −1 to 1 across its width; 0 outside.
inline double kaiserWindow(double r, double beta) {
    if (std::fabs(r) >= 1.0) return 0.0;
    return besselI0(beta * std::sqrt(1.0 - r * r)) / besselI0(beta);
}

} // namespace velmo
