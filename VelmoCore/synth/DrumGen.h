// The drum engine's sound source: thirteen synthesised kit pieces, each a closed-form curve over
// time with its own oscillators, noise and filters, all one-shot hits that end by themselves.
// The MIDI note picks the piece. Mono: the same signal goes to both channels.
#pragma once

#include "model/SynthPatch.h"
#include "dsp/Biquad.h"
#include "base/Rand.h"

#include <array>
#include <cstdint>

namespace velmo {

enum class DrumPiece { kick, snare, clap, rim, closedHat, pedalHat, openHat, tomLow, tomMid, tomHigh, crash, ride, cowbell };

// The piece a MIDI note plays: notes 35 to 59 as General MIDI where the kit has the sound,
// every other note by its pitch class, so any octave of a keyboard plays the same kit.
DrumPiece drumPieceForNote(int note);

// Audio thread only (owned by a voice). The track processor sets `choking` when a closed or
// pedal hat starts over a ringing open hat, and `done` for a hard stop.
struct DrumGen {
    // Hz: the six plain square partials of the hats and cymbals.
    static constexpr std::array<double, 6> kMetalPartials{205.3, 304.4, 369.6, 522.7, 540.0, 800.0};

    DrumPiece piece = DrumPiece::kick;
    std::int64_t t = 0;      // frames since the hit began
    std::int64_t length = 0; // frames after which the hit ends
    double phase = 0.0;      // first oscillator, cycles, never wrapped
    double phase2 = 0.0;     // second oscillator
    std::array<double, 6> metal{}; // phases of the square partials
    Rand rng = Rand::make(); // noise and metal start phases
    Biquad bq1;
    Biquad bq2;
    double velocity = 1.0;  // scaled: 0.25 at velocity 0
    double choke = 1.0;     // extra gain, falling once choked
    bool choking = false;   // read once per block
    double decay = 0.3;     // seconds to -60 dB
    bool done = true;       // the hit is over

    // Starts a hit of the piece of `note`. velocity 0 to 1, sr in frames per second.
    void start(int note, double noteVelocity, const DrumParams& p, double sr);

    // Overwrites n frames (at most 32) of outL and outR. True while the hit goes on, false once
    // it has ended (and at once, with silence, when already done).
    bool render(int n, const DrumParams& p, double sr, float* outL, float* outR);
};

} // namespace velmo
