// Corrections that turn the corners of a naive oscillator into band-limited ones: the residual
// of a step (a jump in value) and of a ramp (a jump in slope), both from one windowed-sinc
// kernel ten samples wide, tabulated during static initialisation and only read afterwards.
#pragma once

#include <array>

namespace velmo::BandLimitedEdge {

// The kernel reaches this many samples to either side of an edge; nothing is added further out.
inline constexpr int kHalfWidth = 5;

namespace detail {

inline constexpr int kStepsPerSample = 256; // table resolution, linearly interpolated
inline constexpr int kTableLength = 2 * kHalfWidth * kStepsPerSample + 1;
// Below this phase increment (4.8 kHz at 48 kHz) the reaches of two repeats of an edge never
// meet, so a residual is one table read: the case of nearly every note, inlined.
inline constexpr double kOneRepeatBelow = 0.5 / kHalfWidth;

// From −kHalfWidth to +kHalfWidth samples: the band-limited unit step and its integral. Floats,
// whose error lies some 140 dB down, so that both tables sit in the first-level cache together.
struct Tables {
    std::array<float, kTableLength> step{};
    std::array<float, kTableLength> ramp{};
};
extern const Tables kTables;

// Linear interpolation in `table` at x samples from the edge, |x| < kHalfWidth.
inline double lookup(const std::array<float, kTableLength>& table, double x) {
    const double u = (x + kHalfWidth) * kStepsPerSample;
    int i = static_cast<int>(u);
    if (i > kTableLength - 2) i = kTableLength - 2;
    const double f = u - i;
    const double a = table[static_cast<std::size_t>(i)];
    return a + (table[static_cast<std::size_t>(i + 1)] - a) * f;
}

inline double stepAt(double x) { return lookup(kTables.step, x) - (x >= 0.0 ? 1.0 : 0.0); }
inline double rampAt(double x) { return lookup(kTables.ramp, x) - (x > 0.0 ? x : 0.0); }

// The sums over every repeat within reach, for increments of kOneRepeatBelow and above.
double stepNearRepeats(double since, double d);
double rampNearRepeats(double since, double d);

} // namespace detail

// Whether phase p lies within reach of an edge at phase 0 (once per cycle) for a phase increment
// d, and if so how far past it: `since` is in cycles, from 0 to 1.
inline bool near(double p, double edge, double d, double& since) {
    since = p - edge;
    if (since < 0.0) since += 1.0;
    const double reach = kHalfWidth * d;
    return since < reach || since > 1.0 - reach;
}

// What a unit rising step at phase `edge` (cycles, once per cycle) needs added at phase p for a
// phase increment d (cycles per sample, at most 0.49): the band-limited step minus the naive one,
// summed over every repeat of the edge within reach. Zero farther than kHalfWidth samples away.
// Audio thread safe: reads a table, allocates nothing.
inline double stepResidual(double p, double edge, double d) {
    double since;
    if (!near(p, edge, d, since)) return 0.0;
    if (d >= detail::kOneRepeatBelow) return detail::stepNearRepeats(since, d);
    return detail::stepAt((since < 0.5 ? since : since - 1.0) / d);
}

// The same for a unit rise in slope (one per sample) at `edge`: the band-limited corner minus
// the sharp one.
inline double rampResidual(double p, double edge, double d) {
    double since;
    if (!near(p, edge, d, since)) return 0.0;
    if (d >= detail::kOneRepeatBelow) return detail::rampNearRepeats(since, d);
    return detail::rampAt((since < 0.5 ? since : since - 1.0) / d);
}

} // namespace velmo::BandLimitedEdge
