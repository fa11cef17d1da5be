// The FM engine's sound source: four sine operators in phase modulation, wired by one of eight
// fixed algorithms, each with its own envelope, and self-feedback on operator 4. Mono: the same
// signal goes to both channels. Operators are numbered 1 to 4 to the user; operator k is ops[k − 1].
#pragma once

#include "model/SynthPatch.h"
#include "synth/ADSR.h"
#include "synth/ModValues.h"

#include <array>
#include <cstdint>

namespace velmo {

// Audio thread only (owned by a voice).
struct FMGen {
    static constexpr int kOps = 4;
    static constexpr int kAlgorithms = 8;

    // One wiring: for each operator (index 0 = operator 1) a bit mask of its modulators (bit s
    // = operator s + 1), and a mask of the carriers. A modulator always has a higher number than
    // the operator it modulates, so one pass from operator 4 down to 1 computes it first.
    struct Algorithm {
        std::array<std::uint8_t, kOps> modulators;
        std::uint8_t carriers;
    };
    static const std::array<Algorithm, kAlgorithms> algorithms;

    std::array<double, kOps> phase{};  // cycles, without the modulation
    std::array<ADSR, kOps> env{};
    std::array<double, kOps> out{};    // operator outputs of the latest sample, before level
    double fb1 = 0.0;                  // operator 4's last output
    double fb2 = 0.0;                  // the one before
    double velocity = 1.0;
    std::array<double, kOps> inc{};    // phase increments, cycles per sample, set each block
    std::array<double, kOps> depth{};  // modulation depth in cycles of phase, set each block
    std::array<double, kOps> gain{};   // output gain as a carrier, set each block
    std::array<bool, kOps> isCarrier{};

    // The algorithm index 0..7 that an `algorithm` parameter selects: clamped to 1..8, truncated.
    static int algorithmIndex(double algorithm);

    // Starts the operator envelopes from their present values. With `retrigger` (the voice was
    // silent) phases and feedback restart too. Operators missing from a short list are silent.
    void start(double noteVelocity, const FMParams& p, double sr, bool retrigger);

    // Every operator envelope that is not idle goes to release.
    void release();

    // Overwrites n frames (at most 32) of outL and outR. freq in Hz, sr in frames per second.
    void render(int n, double freq, const ModValues& m, const FMParams& p, double sr, float* outL, float* outR);
};

} // namespace velmo
