// Halves a signal's sample rate: a 31-tap half-band low-pass (flat to 0.178 of the input rate,
// 70 dB down from 0.322) keeps only every other output. Cascaded, it brings an oversampled
// oscillator back to the engine's rate with whatever lay above the output's band removed.
#pragma once

#include <array>

namespace velmo {

// Audio thread only (owned by a generator).
struct HalfBandDecimator {
    static constexpr int kTaps = 31;
    static constexpr int kHistory = 32; // at least kTaps, doubled below so a window never wraps

    std::array<double, 2 * kHistory> x{}; // each input is written twice, kHistory apart
    int w = 0;

    // Reads 2 × n samples of `in` and writes n samples to `out`; `out` may be `in`. The output
    // lags the input by 15 input samples.
    void process(const double* in, double* out, int n);

    void reset() { *this = HalfBandDecimator{}; }
};

} // namespace velmo
