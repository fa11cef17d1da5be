// Helpers for the synth tests: render generators and voices block by block, measure the
// amplitude or frequency of one component by correlation, and find a process's sine gain.
#pragma once

#include "dsp/Biquad.h"

#include <algorithm>
#include <array>
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

// renderStereo for a generator rendering whole 32-frame blocks through render(left, right);
// returns the left channel. With `mono`, a right channel that differs is a test failure.
template <class Render>
std::vector<double> renderBlocks(int frames, Render&& render, bool mono = true) {
    Stereo out = renderStereo(frames, [&](int, float* l, float* r) { render(l, r); });
    if (mono && out.left != out.right) throw std::logic_error("a mono generator differs between channels");
    return out.left;
}

// Correlation of x[from, from + length) with a unit phasor at `freq`, optionally Hann-windowed;
// the phase is that of absolute sample positions, so two windows of one signal compare.
inline std::complex<double> correlate(const std::vector<double>& x, double freq, double sr, size_t from, size_t length,
                                      bool hann) {
    std::complex<double> acc{0.0, 0.0};
    for (size_t i = 0; i < length; ++i) {
        double w = hann ? 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(length)) : 1.0;
        acc += w * x[from + i] * std::polar(1.0, -2.0 * std::numbers::pi * freq * static_cast<double>(from + i) / sr);
    }
    return acc;
}

// Amplitude of the component at `freq` in `x`. Exact for a sinusoid when the window holds a
// whole number of its cycles; other components leak little over a long window.
inline double amplitudeAt(const std::vector<double>& x, double freq, double sr) {
    return 2.0 * std::abs(correlate(x, freq, sr, 0, x.size(), false)) / static_cast<double>(x.size());
}

// amplitudeAt over x[from, from + length) through a Hann window (whose weights add up to half
// its length): far less leakage from strong components elsewhere and from decaying ones.
inline double windowedAmplitudeAt(const std::vector<double>& x, double freq, double sr, size_t from, size_t length) {
    return 4.0 * std::abs(correlate(x, freq, sr, from, length, true)) / static_cast<double>(length);
}

// Frequency of the component near `guess` (Hz): the phase of its Hann-windowed correlation
// advances from the window at `start` to the one `gap` samples later. The true frequency must
// lie within sr / (2 × gap) of the guess.
inline double frequencyNear(const std::vector<double>& x, double guess, double sr, size_t start, size_t window,
                            size_t gap) {
    double turn = std::arg(correlate(x, guess, sr, start + gap, window, true) / correlate(x, guess, sr, start, window, true));
    return guess + turn * sr / (2.0 * std::numbers::pi * static_cast<double>(gap));
}

// Feeds a sine of `amplitude` at `freq` through `process` for `settle` samples, then measures the
// gain over the next `window` samples (4800 at 48 kHz holds whole cycles of any multiple of 10 Hz).
template <class Process>
double sineGain(Process&& process, double freq, double sr, double amplitude = 0.5, int settle = 24000,
                int window = 4800) {
    std::vector<double> out;
    for (int i = 0; i < settle + window; ++i) {
        double y = process(amplitude * std::sin(2.0 * std::numbers::pi * freq * i / sr));
        if (i >= settle) out.push_back(y);
    }
    return amplitudeAt(out, freq, sr) / amplitude;
}

// |H| at `f` of the state-variable lowpass12 with damping k = 2 − 1.96 × resonance: the
// bilinear image of the analog prototype, prewarped at the cutoff `fc`.
inline double lowpass12Gain(double f, double fc, double res, double sr = kSr) {
    double w = std::tan(std::numbers::pi * f / sr) / std::tan(std::numbers::pi * fc / sr);
    return 1.0 / std::abs(std::complex<double>(1.0 - w * w, (2.0 - 1.96 * res) * w));
}

// Level in dB (full scale 1) of the part of x below `limit` Hz, DC included, from the bins of
// its Hann-windowed spectrum: the window keeps a note's own partials out of the low bins.
inline double levelBelowDb(const std::vector<double>& x, double limit, double sr) {
    const double n = static_cast<double>(x.size());
    double power = 0.0;
    for (int k = 0; k * sr / n <= limit; ++k) power += (k == 0 ? 1.0 : 2.0) * std::norm(correlate(x, k * sr / n, sr, 0, x.size(), true));
    return 10.0 * std::log10(power / (n * (3.0 * n / 8.0)) + 1e-30); // 3n/8: the Hann window's energy
}

// Level in dB (full scale 1) of the part of x[from, from + length) above `limit` Hz: all of x
// runs through an eighth-order Butterworth high-pass, so the filter has settled by `from`.
inline double levelAboveDb(const std::vector<double>& x, double limit, double sr, size_t from, size_t length) {
    auto sections = butterworthHighpass<4>(limit, sr);
    double sum = 0.0;
    for (size_t i = 0; i < from + length; ++i) {
        double y = x[i];
        for (Biquad& b : sections) y = b.process(y);
        if (i >= from) sum += y * y;
    }
    return 10.0 * std::log10(sum / static_cast<double>(length) + 1e-30);
}

inline double cents(double f, double reference) { return 1200.0 * std::log2(f / reference); }

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
