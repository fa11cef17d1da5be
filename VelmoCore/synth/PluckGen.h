// The pluck engine's sound source: a Karplus-Strong string excited by a filtered noise burst of
// one period, with a fractional delay read, a damping low-pass in the loop and a feed-forward
// comb for the pick position. Mono: the same signal goes to both channels.
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
    static constexpr double kMaxPeriod = 4000.0; // samples: leaves room in the line for interpolation

    std::array<float, kLineLength> buf{}; // the string
    int w = 0;             // write position
    double loopLP = 0.0;   // low-pass state in the loop
    double excLP = 0.0;    // low-pass state on the burst
    int exciteLeft = 0;    // burst frames still to come
    double excAmp = 1.0;   // burst level
    Rand rng = Rand::make(); // the burst's noise

    // Silences the string at once and arms a burst of one period. freq in Hz.
    void start(double freq, double velocity, double sr);

    // Overwrites n frames (at most 32) of outL and outR. freq in Hz sets the loop length per block.
    void render(int n, double freq, const PluckParams& p, double sr, float* outL, float* outR);

    // The loop period in samples of a note: sr / freq, held within 2 to 4000.
    static double periodFor(double freq, double sr);
};

} // namespace velmo
