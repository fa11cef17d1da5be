#include "dsp/Biquad.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velmo {

namespace {

struct Angles {
    double cosw;
    double alpha;
};

Angles anglesOf(double freq, double q, double sr) {
    double fc = freq < 10.0 ? 10.0 : std::min(freq, 0.49 * sr);
    double w = 2.0 * std::numbers::pi * fc / sr;
    // A Q of 0 would divide by zero; no design in the program goes near this floor.
    double safeQ = std::max(q, 1e-6);
    return {std::cos(w), std::sin(w) / (2.0 * safeQ)};
}

Biquad normalised(double b0, double b1, double b2, double a0, double a1, double a2) {
    Biquad bq;
    bq.b0 = b0 / a0;
    bq.b1 = b1 / a0;
    bq.b2 = b2 / a0;
    bq.a1 = a1 / a0;
    bq.a2 = a2 / a0;
    return bq;
}

double amplitudeOf(double gainDb) { return std::pow(10.0, gainDb / 40.0); }

} // namespace

Biquad Biquad::lowpass(double freq, double q, double sr) {
    auto [cosw, alpha] = anglesOf(freq, q, sr);
    return normalised((1.0 - cosw) / 2.0, 1.0 - cosw, (1.0 - cosw) / 2.0, 1.0 + alpha, -2.0 * cosw, 1.0 - alpha);
}

Biquad Biquad::highpass(double freq, double q, double sr) {
    auto [cosw, alpha] = anglesOf(freq, q, sr);
    return normalised((1.0 + cosw) / 2.0, -(1.0 + cosw), (1.0 + cosw) / 2.0, 1.0 + alpha, -2.0 * cosw, 1.0 - alpha);
}

Biquad Biquad::bandpass(double freq, double q, double sr) {
    auto [cosw, alpha] = anglesOf(freq, q, sr);
    return normalised(alpha, 0.0, -alpha, 1.0 + alpha, -2.0 * cosw, 1.0 - alpha);
}

Biquad Biquad::peak(double freq, double q, double gainDb, double sr) {
    auto [cosw, alpha] = anglesOf(freq, q, sr);
    double A = amplitudeOf(gainDb);
    return normalised(1.0 + alpha * A, -2.0 * cosw, 1.0 - alpha * A, 1.0 + alpha / A, -2.0 * cosw, 1.0 - alpha / A);
}

Biquad Biquad::lowShelf(double freq, double q, double gainDb, double sr) {
    auto [cosw, alpha] = anglesOf(freq, q, sr);
    double A = amplitudeOf(gainDb);
    double s = 2.0 * std::sqrt(A) * alpha;
    return normalised(A * ((A + 1.0) - (A - 1.0) * cosw + s), 2.0 * A * ((A - 1.0) - (A + 1.0) * cosw),
                      A * ((A + 1.0) - (A - 1.0) * cosw - s), (A + 1.0) + (A - 1.0) * cosw + s,
                      -2.0 * ((A - 1.0) + (A + 1.0) * cosw), (A + 1.0) + (A - 1.0) * cosw - s);
}

Biquad Biquad::highShelf(double freq, double q, double gainDb, double sr) {
    auto [cosw, alpha] = anglesOf(freq, q, sr);
    double A = amplitudeOf(gainDb);
    double s = 2.0 * std::sqrt(A) * alpha;
    return normalised(A * ((A + 1.0) + (A - 1.0) * cosw + s), -2.0 * A * ((A - 1.0) + (A + 1.0) * cosw),
                      A * ((A + 1.0) + (A - 1.0) * cosw - s), (A + 1.0) - (A - 1.0) * cosw + s,
                      2.0 * ((A - 1.0) - (A + 1.0) * cosw), (A + 1.0) - (A - 1.0) * cosw - s);
}

} // namespace velmo
