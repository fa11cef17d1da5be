// A second-order section in transposed direct form II with the six Audio EQ Cookbook designs
// (Robert Bristow-Johnson), normalised by a0: lowpass, highpass, constant-0-dB-peak bandpass,
// peak, and the two shelves. Used by the analysis bands, the EQ and the drums.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace velmo {

// Audio thread only (owned by an effect, a generator or the engine's analysis).
struct Biquad {
    double b0 = 1.0, b1 = 0.0, b2 = 0.0, a1 = 0.0, a2 = 0.0; // initial values pass the input through
    double z1 = 0.0, z2 = 0.0;

    // Frequencies in Hz, clamped to 10 .. 0.49 × sr; gains in dB. Each returns a section with
    // zero state; `setCoefficients` moves a new design into a running section without a reset.
    static Biquad lowpass(double freq, double q, double sr);
    static Biquad highpass(double freq, double q, double sr);
    static Biquad bandpass(double freq, double q, double sr);
    static Biquad peak(double freq, double q, double gainDb, double sr);
    static Biquad lowShelf(double freq, double q, double gainDb, double sr);
    static Biquad highShelf(double freq, double q, double gainDb, double sr);

    // Takes the coefficients of `design` and keeps this section's state.
    void setCoefficients(const Biquad& design) {
        b0 = design.b0;
        b1 = design.b1;
        b2 = design.b2;
        a1 = design.a1;
        a2 = design.a2;
    }

    double process(double x) {
        double y = b0 * x + z1;
        z1 = z2 + (b1 * x - a1 * y);
        z2 = b2 * x - a2 * y;
        return y;
    }

    void reset() {
        z1 = 0.0;
        z2 = 0.0;
    }
};

// A Butterworth high-pass of order 2 × N as N sections to run in series, each with zero state.
template <std::size_t N>
std::array<Biquad, N> butterworthHighpass(double freq, double sr) {
    std::array<Biquad, N> sections;
    for (std::size_t k = 0; k < N; ++k)
        sections[k] = Biquad::highpass(freq, 0.5 / std::cos((2.0 * k + 1.0) * std::numbers::pi / (4.0 * N)), sr);
    return sections;
}

} // namespace velmo
