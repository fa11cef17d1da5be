// The analog engine's sound source: two oscillators of six waves with a unison stack of up to
// seven detuned, spread copies each, a square sub-oscillator an octave below oscillator 1, and
// stereo noise. Steps and the triangle's corners are band-limited (BandLimitedEdge). Raw output:
// the voice filters and shapes it.
#pragma once

#include "model/SynthPatch.h"
#include "synth/ModValues.h"
#include "base/Rand.h"

#include <array>

namespace velmo {

// Audio thread only (owned by a voice).
struct AnalogGen {
    static constexpr int kMaxUnison = 7;
    static constexpr double kMaxIncrement = 0.49; // cycles per sample: high notes stick, never alias around

    std::array<double, kMaxUnison> ph1{}; // phase of each unison copy of oscillator 1, cycles
    std::array<double, kMaxUnison> ph2{}; // the same for oscillator 2
    double subPhase = 0.0;
    Rand rng = Rand::make(); // noise, the noise wave and start phases

    // New random phases for every copy, oscillator 1 and 2 alternating; the sub restarts at 0.
    void start();

    // Overwrites n frames (at most 32) of outL and outR. freq in Hz, sr in frames per second.
    void render(int n, double freq, const ModValues& m, const AnalogParams& p, double sr, float* outL,
                float* outR);
};

} // namespace velmo
