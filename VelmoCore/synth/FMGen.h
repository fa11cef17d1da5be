// The FM engine's sound source: four sine operators in phase modulation, wired by one of eight
// fixed algorithms, each with its own envelope, and self-feedback on operator 4. Mono: the same
// signal goes to both channels. Operators are numbered 1 to 4 to the user; operator k is ops[k − 1].
// A block whose spectrum would reach far past half the sample rate runs at 2, 4 or 8 times the
// rate and is brought back down by half-band decimators, so its sidebands do not fold back.
#pragma once

#include "model/SynthPatch.h"
#include "dsp/HalfBandDecimator.h"
#include "synth/ADSR.h"
#include "synth/ModValues.h"

#include <array>
#include <cstdint>

namespace velmo {

// Audio thread only (owned by a voice).
struct FMGen {
    static constexpr int kOps = 4;
    static constexpr int kAlgorithms = 8;
    static constexpr int kMaxOversampling = 8;

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
    std::array<HalfBandDecimator, 3> decimators{}; // 8× to 4×, 4× to 2×, 2× to 1×; the last ones serve 2× and 4×
    // The oversampling this note runs at. It only rises during a note: each change moves the
    // decimators' delay and wakes a stage with an old history, so a vibrato or LFO at the edge
    // of a factor must not switch it block by block.
    int factor = 1;

    // The algorithm index 0..7 that an `algorithm` parameter selects: clamped to 1..8, truncated.
    static int algorithmIndex(double algorithm);

    // Starts the operator envelopes from their present values. With `retrigger` (the voice was
    // silent) phases and feedback restart too. Operators missing from a short list are silent.
    void start(double noteVelocity, const FMParams& p, double sr, bool retrigger);

    // The smallest oversampling (1, 2, 4 or 8) at which the block's spectrum, as the operators'
    // frequencies (inc, cycles per sample) and swings (depth, cycles) reach, folds back no lower
    // than 16 kHz at 48 kHz: the carriers' highest strong sideband must lie below the factor
    // minus 0.65 of the sample rate. Sidebands are counted out to where they are 55 dB down.
    static int oversamplingFor(const Algorithm& alg, const std::array<double, kOps>& inc,
                               const std::array<double, kOps>& depth, const std::array<double, kOps>& gain,
                               double fbAmount);

    // Every operator envelope that is not idle goes to release.
    void release();

    // Forgets the sound: operator envelopes silent, and the operators' outputs, the feedback and
    // the decimators' histories at zero.
    void clear();

    // Overwrites n frames (at most kBlockFrames) of outL and outR. freq in Hz, sr in frames per second.
    void render(int n, double freq, const ModValues& m, const FMParams& p, double sr, float* outL, float* outR);
};

} // namespace velmo
