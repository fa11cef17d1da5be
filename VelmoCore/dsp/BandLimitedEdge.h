// Corrections that turn the corners of a naive oscillator into band-limited ones: the residual
// of a step (a jump in value) and of a ramp (a jump in slope), both from one windowed-sinc
// kernel ten samples wide, tabulated during static initialisation and only read afterwards.
#pragma once

namespace velmo::BandLimitedEdge {

// The kernel reaches this many samples to either side of an edge; nothing is added further out.
inline constexpr int kHalfWidth = 5;

namespace detail {
double stepNear(double since, double d);
double rampNear(double since, double d);
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
    return near(p, edge, d, since) ? detail::stepNear(since, d) : 0.0;
}

// The same for a unit rise in slope (one per sample) at `edge`: the band-limited corner minus
// the sharp one.
inline double rampResidual(double p, double edge, double d) {
    double since;
    return near(p, edge, d, since) ? detail::rampNear(since, d) : 0.0;
}

} // namespace velmo::BandLimitedEdge
