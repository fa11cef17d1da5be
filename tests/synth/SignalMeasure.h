// Helpers for the synth tests: render generators and voices block by block, measure the
// amplitude or frequency of one component by correlation, and find a process's sine gain.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace velmo::test {

inline constexpr double kSr = 48000.0;

inline double hz(double midi) { return 440.0 * std::exp2((midi - 69.0) / 12.0); }

struct Stereo {
    std::vector<double> left, right;

    Stereo tail(size_t skip) const {
        return {{left.begin() + static_cast<long>(skip), left.end()}, {right.begin() + static_cast<long>(skip), right.end()}};
    }
};

// Calls render(n, left, right) on zeroed buffers for blocks of up to `block` frames until
// `frames` frames are done, and keeps both channels.
template <class Render>
Stereo renderStereo(int frames, Render&& render, int block = 32) {
    Stereo out;
    float l[32], r[32];
    for (int done = 0; done < frames; done += block) {
        const int n = std::min(block, frames - done);
        std::fill_n(l, 32, 0.0f);
        std::fill_n(r, 32, 0.0f);
        render(n, l, r);
        out.left.insert(out.left.end(), l, l + n);
        out.right.insert(out.right.end(), r, r + n);
    }
    return out;
}

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

namespace velmo::test {

// Frequency of the component near `guess` (Hz): the phase of its Hann-windowed correlation
// advances from the window at `start` to the one `gap` samples later. Both windows are `window`
// samples long; the true frequency must lie within sr / (2 × gap) of the guess.
inline double frequencyNear(const std::vector<double>& x, double guess, double sr, size_t start, size_t window,
                            size_t gap) {
    auto correlate = [&](size_t from) {
        std::complex<double> acc{0.0, 0.0};
        for (size_t i = 0; i < window; ++i) {
            double hann = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(window));
            double w = 2.0 * std::numbers::pi * guess * static_cast<double>(from + i) / sr;
            acc += hann * x[from + i] * std::complex<double>(std::cos(w), -std::sin(w));
        }
        return acc;
    };
    double turn = std::arg(correlate(start + gap) / correlate(start));
    return guess + turn * sr / (2.0 * std::numbers::pi * static_cast<double>(gap));
}

// Cents from `reference` to `f`.
inline double cents(double f, double reference) { return 1200.0 * std::log2(f / reference); }

} // namespace velmo::test

namespace velmo::test {

// Calls render(left, right) for 32-frame blocks until `frames` frames are done and returns the
// left channel. With `mono`, a right channel that differs from the left is a test failure.
template <class Render>
std::vector<double> renderBlocks(int frames, Render&& render, bool mono = true) {
    std::vector<double> out;
    float l[32], r[32];
    for (int done = 0; done < frames; done += 32) {
        render(l, r);
        for (int i = 0; i < 32; ++i) {
            if (mono && l[i] != r[i]) throw std::logic_error("a mono generator differs between channels");
            out.push_back(l[i]);
        }
    }
    return out;
}

// amplitudeAt through a Hann window: far less leakage from strong components elsewhere, and
// from components that decay within the window; slightly biased for a decaying one.
inline double windowedAmplitudeAt(const std::vector<double>& x, double freq, double sr) {
    std::complex<double> acc{0.0, 0.0};
    double weight = 0.0;
    const double n = static_cast<double>(x.size());
    for (size_t i = 0; i < x.size(); ++i) {
        double hann = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / n);
        double w = 2.0 * std::numbers::pi * freq * static_cast<double>(i) / sr;
        acc += hann * x[i] * std::complex<double>(std::cos(w), -std::sin(w));
        weight += hann;
    }
    return 2.0 * std::abs(acc) / weight;
}

inline std::vector<double> slice(const std::vector<double>& x, size_t from, size_t length) {
    return {x.begin() + static_cast<long>(from), x.begin() + static_cast<long>(from + length)};
}

inline double peakOf(const std::vector<double>& x) {
    double m = 0.0;
    for (double v : x) m = std::max(m, std::fabs(v));
    return m;
}

inline double meanSquare(const std::vector<double>& x) {
    double sum = 0.0;
    for (double v : x) sum += v * v;
    return sum / static_cast<double>(x.size());
}

} // namespace velmo::test
