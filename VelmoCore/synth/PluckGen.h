// The pluck engine's sound source: a Karplus-Strong string excited by a filtered noise burst of
// one period, tuned by an integer delay and a first-order all-pass for the fraction, with a
// damping low-pass and a loss in the loop and a feed-forward comb for the pick position. Mono:
// the same signal goes to both channels.
#pragma once

#include "model/SynthPatch.h"
#include "base/Rand.h"

#include <array>

namespace velmo {

// Audio thread only (owned by a voice). The delay line is part of the object, so a voice pool
// holds all its strings from construction and a note allocates nothing.
struct PluckGen {
    static constexpr int kLineLength = 4096; // a power of two, for wrap by mask
    static constexpr int kLineMask = kLineLength - 1;
    static constexpr double kMinPeriod = 2.0;    // samples
    static constexpr double kMaxPeriod = 4000.0; // samples: leaves room in the line for the taps

    // The loop's filters for one block, worked out from the note and the parameters.
    struct Loop {
        int delay;      // whole samples of the line
        double allpass; // coefficient of the all-pass that adds the fraction
        double lowpass; // feedback coefficient of the damping low-pass (0: transparent)
        double gain;    // loss per pass besides the low-pass's
    };

    std::array<float, kLineLength> buf{}; // the string
    int w = 0;             // write position
    double apIn = 0.0;     // all-pass: last input
    double apOut = 0.0;    // all-pass: last output
    double loopLP = 0.0;   // low-pass state in the loop
    double excLP = 0.0;    // low-pass state on the burst
    double excCoef = 1.0;  // the burst low-pass's coefficient, from `brightness` at the pluck
    double excMean = 0.0;  // the burst's mean, taken out so the string holds no DC
    int exciteLeft = 0;    // burst frames still to come
    double excAmp = 1.0;   // burst level
    Rand rng = Rand::make(); // the burst's noise
    // The loop of the last block and what it was worked out from: it is only worked out again
    // (a few transcendental calls) when the pitch, decay or damping move.
    Loop loop{1, 0.0, 0.0, 1.0};
    double loopPeriod = 0.0, loopDecay = 0.0, loopDamping = 0.0, loopRate = 0.0;

    // Silences the string at once and arms a burst of one period. freq in Hz.
    void start(double freq, double velocity, const PluckParams& p, double sr);

    // Overwrites n frames (at most 32) of outL and outR. freq in Hz sets the loop length per block.
    void render(int n, double freq, const PluckParams& p, double sr, float* outL, float* outR);

    // The loop period in samples of a note: sr / freq, held within 2 to 4000.
    static double periodFor(double freq, double sr);

    // The loop for a note of `period` samples: its phase delay at the fundamental is exactly the
    // period, and the fundamental falls 60 dB in `decay` seconds whatever the damping.
    static Loop loopFor(double period, const PluckParams& p, double sr);
};

} // namespace velmo
