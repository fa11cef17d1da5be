// Helpers for the synth tests: measure the amplitude of one frequency in a signal by
// correlation, and drive a per-sample process with a sine to find its steady-state gain.
#pragma once

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace velmo::test {

// Amplitude of the component at `freq` in `x` (sample rate `sr`). Exact for a sinusoid when the
// window holds a whole number of its cycles; other components leak little over a long window.
inline double amplitudeAt(const std::vector<double>& x, double freq, double sr) {
    std::complex<double> acc{0.0, 0.0};
    for (size_t i = 0; i < x.size(); ++i) {
        double w = 2.0 * std::numbers::pi * freq * static_cast<double>(i) / sr;
        acc += x[i] * std::complex<double>(std::cos(w), -std::sin(w));
    }
    return 2.0 * std::abs(acc) / static_cast<double>(x.size());
}

// Feeds a sine of `amplitude` at `freq` through `process` for `settle` samples, then measures the
// gain over the next `window` samples (4800 at 48 kHz holds whole cycles of any multiple of 10 Hz).
template <class Process>
double sineGain(Process&& process, double freq, double sr, double amplitude = 0.5, int settle = 24000,
                int window = 4800) {
    std::vector<double> out;
    out.reserve(static_cast<size_t>(window));
    for (int i = 0; i < settle + window; ++i) {
        double x = amplitude * std::sin(2.0 * std::numbers::pi * freq * i / sr);
        double y = process(x);
        if (i >= settle) out.push_back(y);
    }
    return amplitudeAt(out, freq, sr) / amplitude;
}

} // namespace velmo::test
