// The wavetable engine's sound source: a unison stack of up to seven detuned, spread copies
// reading one of the built-in tables, morphing between neighbouring frames, with a sine
// sub-oscillator an octave down and stereo noise. Band-limiting is all in the choice of mip.
#pragma once

#include "model/SynthPatch.h"
#include "synth/ModValues.h"
#include "base/Rand.h"

#include <array>

namespace velmo {

// Audio thread only (owned by a voice).
struct WavetableGen {
    static constexpr int kMaxUnison = 7;
    static constexpr double kMaxIncrement = 0.49; // cycles per sample for the table copies

    std::array<double, kMaxUnison> ph{}; // phase of each unison copy, cycles
    double subPhase = 0.0;
    Rand rng = Rand::make(); // noise and start phases

    // New random phases for every copy; the sub restarts at 0.
    void start();

    // The mip level whose harmonics all lie below half the sample rate for a phase increment d
    // (cycles per sample): 0 for very low notes, 10 (one pure harmonic) at the 0.49 cap.
    static int mipFor(double d);

    // Overwrites n frames (at most 32) of outL and outR. freq in Hz, sr in frames per second.
    // Reads the wavetable bank, which must be built before (WavetableBank::prepare).
    void render(int n, double freq, const ModValues& m, const WavetableParams& p, double sr, float* outL,
                float* outR);
};

} // namespace velmo
