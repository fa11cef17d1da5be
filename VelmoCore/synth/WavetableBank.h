// The six built-in wavetables of the wavetable engine, computed from formulas for their harmonic
// spectra: 8 morph frames per kind, each in 11 band-limited mip levels of one 2048-sample cycle.
// Built once per process by inverse DFT and read without a lock afterwards.
#pragma once

#include "model/SynthPatch.h"

#include <array>
#include <cstddef>
#include <vector>

namespace velmo::WavetableBank {

constexpr int kFrames = 8;        // frame f lies at morph position f / 7
constexpr int kMips = 11;         // mip m holds harmonics 1 up to 1024 >> m (mip 0: 1 to 1023)
constexpr int kCycle = 2048;      // samples of one cycle
constexpr int kRowLength = kCycle + 1; // plus a copy of sample 0, so interpolation never wraps
constexpr std::size_t kBlockLength = std::size_t{kFrames} * kMips * kRowLength; // floats per kind
constexpr double kPeak = 0.9;     // every frame is normalised to this peak

// One kind's table: row r = frame × kMips + mip begins at float index r × kRowLength.
using Block = std::vector<float>;

// Amplitudes of harmonics 0 to `count` (entry 0 stays 0) of `kind` at morph position x (0 to 1);
// `frame` seeds the digital kind's random spectrum. All harmonics are sine terms.
std::vector<double> spectrum(WavetableKind kind, double x, int frame, int count);

// Computes one kind's block from scratch (528 inverse DFTs for all six kinds together). Stays all
// zeros if the DFT cannot be set up. Allocates; not for the audio thread.
Block build(WavetableKind kind);

// The six blocks in the order of WavetableKind, built on the first call under a once-only guard
// and kept until the process ends. Safe from any thread.
const std::array<Block, 6>& tables();

// Builds the bank now if it is not built yet. A build takes about 5 ms optimised (528 DFTs), many
// audio blocks, so it must not wait for the first wavetable note: every Voice calls this when it
// is made, and whoever creates the audio engine should call it before audio starts, so that not
// even the first track's voices build it on the audio thread.
void prepare();

// The first float of row (frame, mip) of a block.
inline const float* row(const Block& block, int frame, int mip) {
    return block.data() + static_cast<std::size_t>(frame * kMips + mip) * kRowLength;
}

} // namespace velmo::WavetableBank
