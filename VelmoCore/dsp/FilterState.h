// The voice filter, also used by the auto-filter effect: a trapezoidal state-variable filter
// (lowpass, highpass, bandpass, notch, and a 24 dB lowpass of two stages) and a four-stage
// ladder with tanh in its feedback. Coefficients once per block, samples one at a time.
#pragma once

#include "dsp/FilterType.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velmo {

// One block's coefficients, shared by both channels. A value on the stack of the block.
struct FilterCoefs {
    double k = 0.0, g1 = 0.0, g2 = 0.0, g3 = 0.0; // first state-variable stage
    double h1 = 0.0, h2 = 0.0, h3 = 0.0;          // second stage of lowpass24, fixed damping
    double ladderIn = 0.0, ladderFb = 0.0, ladderOneMinusF = 0.0, ladderGain = 0.0;
};

// Audio thread only (one per channel, owned by a voice or an effect).
struct FilterState {
    static constexpr double kMinCutoff = 16.0;       // Hz
    static constexpr double kMaxCutoffRatio = 0.45;  // of the sample rate
    static constexpr double kSecondStageDamping = 1.414;

    double ic1 = 0.0, ic2 = 0.0;   // integrators of the state-variable stage
    double ic1b = 0.0, ic2b = 0.0; // integrators of the second stage (lowpass24 only)
    double in1 = 0.0, in2 = 0.0, in3 = 0.0, in4 = 0.0; // previous inputs of the ladder stages
    double o1 = 0.0, o2 = 0.0, o3 = 0.0, o4 = 0.0;     // previous outputs of the ladder stages

    // cutoff in Hz, clamped to 16 .. 0.45 × sr; resonance clamped to 0 .. 1. Holds the only
    // tan of the filter path, so call it once per block.
    static FilterCoefs coefs(FilterType type, double cutoff, double resonance, double sr) {
        FilterCoefs c;
        double fc = cutoff < kMinCutoff ? kMinCutoff : std::min(cutoff, kMaxCutoffRatio * sr);
        double r = std::clamp(resonance, 0.0, 1.0);
        if (type == FilterType::off) return c;
        if (type == FilterType::ladder) {
            double f = std::min(fc * 1.16 / (sr * 0.5), 1.0);
            c.ladderFb = r * 4.1 * (1.0 + f * (f * -0.15));
            c.ladderIn = f * f * (f * f * 0.35013);
            c.ladderOneMinusF = 1.0 - f;
            c.ladderGain = c.ladderFb * 0.25 + 1.0; // makes up the pass band that resonance takes
            return c;
        }
        double g = std::tan(fc * std::numbers::pi / sr);
        c.k = r * -1.96 + 2.0; // 2 at no resonance, 0.04 at full
        c.g1 = 1.0 / (g * (g + c.k) + 1.0);
        c.g2 = g * c.g1;
        c.g3 = g * c.g2;
        c.h1 = 1.0 / (g * (g + kSecondStageDamping) + 1.0);
        c.h2 = g * c.h1;
        c.h3 = g * c.h2;
        return c;
    }

    // One sample of a fixed type; the block loops of the voice pick the type once per block.
    template <FilterType T>
    double processAs(double x, const FilterCoefs& c) {
        if constexpr (T == FilterType::off) {
            return x;
        } else if constexpr (T == FilterType::ladder) {
            double u = c.ladderIn * (x - c.ladderFb * std::tanh(o4)); // previous sample's o4
            double n1 = u + 0.3 * in1 + c.ladderOneMinusF * o1;
            o1 = n1;
            in1 = u;
            double n2 = n1 + 0.3 * in2 + c.ladderOneMinusF * o2;
            o2 = n2;
            in2 = n1;
            double n3 = n2 + 0.3 * in3 + c.ladderOneMinusF * o3;
            o3 = n3;
            in3 = n2;
            double n4 = n3 + 0.3 * in4 + c.ladderOneMinusF * o4;
            o4 = n4;
            in4 = n3;
            return c.ladderGain * n4;
        } else {
            double d = x - ic2;
            double band = c.g1 * ic1 + c.g2 * d;
            double low = ic2 + c.g2 * ic1 + c.g3 * d;
            ic1 = 2.0 * band - ic1;
            ic2 = 2.0 * low - ic2;
            if constexpr (T == FilterType::lowpass12) {
                return low;
            } else if constexpr (T == FilterType::lowpass24) {
                // Resonance lives in the first stage only; this one is a plain section.
                double d2 = low - ic2b;
                double band2 = c.h1 * ic1b + c.h2 * d2;
                double low2 = ic2b + c.h2 * ic1b + c.h3 * d2;
                ic1b = 2.0 * band2 - ic1b;
                ic2b = 2.0 * low2 - ic2b;
                return low2;
            } else if constexpr (T == FilterType::highpass12) {
                return x - c.k * band - low;
            } else if constexpr (T == FilterType::bandpass) {
                return c.k * band; // scaled by k so the peak stays near unity at any resonance
            } else {
                static_assert(T == FilterType::notch);
                return x - c.k * band;
            }
        }
    }

    double process(double x, FilterType type, const FilterCoefs& c) {
        switch (type) {
        case FilterType::off: return x;
        case FilterType::lowpass12: return processAs<FilterType::lowpass12>(x, c);
        case FilterType::lowpass24: return processAs<FilterType::lowpass24>(x, c);
        case FilterType::ladder: return processAs<FilterType::ladder>(x, c);
        case FilterType::highpass12: return processAs<FilterType::highpass12>(x, c);
        case FilterType::bandpass: return processAs<FilterType::bandpass>(x, c);
        case FilterType::notch: return processAs<FilterType::notch>(x, c);
        }
        return x;
    }

    void reset() { *this = FilterState{}; }
};

} // namespace velmo
