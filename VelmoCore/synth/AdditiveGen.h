// The additive engine's sound source: up to sixteen sine partials with a spectral tilt, a level
// for the even harmonics and an inharmonic stretch as in stiff strings. Mono: the same signal
// goes to both channels.
#pragma once

#include "model/SynthPatch.h"
#include "synth/ModValues.h"

#include <array>

namespace velmo {

// Audio thread only (owned by a voice).
struct AdditiveGen {
    static constexpr int kPartials = 16;
    static constexpr double kMaxPartial = 0.45; // of the sample rate: partials at or above it are dropped

    std::array<double, kPartials> phase{}; // cycles, one per partial
    std::array<double, kPartials> amps{};  // partial levels of the current block, before the norm

    // All partials to phase 0, so a fresh note has a repeatable wave shape.
    void start();

    // Overwrites n frames (at most 32) of outL and outR. freq in Hz, sr in frames per second.
    // m.wtPosition doubles as brightness modulation.
    void render(int n, double freq, const ModValues& m, const AdditiveParams& p, double sr, float* outL,
                float* outR);
};

} // namespace velmo
