// The modal engine's sound source: a struck body as a bank of up to eight decaying complex
// resonators, one per mode, with ratios and weights set by the material, excited by a short
// Hann-windowed pulse with noise. Mono: the same signal goes to both channels.
#pragma once

#include "model/SynthPatch.h"
#include "base/Rand.h"

#include <array>
#include <span>

namespace velmo {

// Audio thread only (owned by a voice).
struct ModalGen {
    static constexpr int kModes = 8;

    // A material's modes: frequency ratios to the played note and their gains, equal in number.
    struct Material {
        std::span<const double> ratios;
        std::span<const double> gains;
    };
    // The modes of a material; a constant table.
    static Material material(ModalMaterial m);

    std::array<double, kModes> re{}; // real part of each mode's state
    std::array<double, kModes> im{}; // imaginary part: what is heard
    std::array<double, kModes> r{};  // per-sample decay radius
    std::array<double, kModes> amp{}; // output weight
    std::span<const double> ratios;   // the material's ratios, up to 8
    int exciteLen = 1;   // samples of the strike
    int exciteIdx = 0;   // position in the strike
    double excAmp = 1.0; // strength of the strike
    double hardness = 0.5;
    std::array<double, kModes> cs{};   // r × cos(angle), set each block
    std::array<double, kModes> sn{};   // r × sin(angle), set each block
    std::array<bool, kModes> live{};   // the mode lies below 0.45 × sr, set each block
    Rand rng = Rand::make(); // noise in the strike

    // Loads the material and strikes; every mode restarts from zero, so a retrigger cuts the
    // old ring. freq in Hz, velocity 0 to 1.
    void start(double freq, double velocity, const ModalParams& p, double sr);

    // Overwrites n frames (at most 32) of outL and outR. freq in Hz: the mode frequencies follow
    // it every block (glide, pitch modulation) with no change of state.
    void render(int n, double freq, double sr, float* outL, float* outR);
};

} // namespace velmo
