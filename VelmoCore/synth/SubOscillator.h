// The sub-oscillator loop the analog and wavetable engines share: one mono wave an octave below,
// the same sample in both channels. The engines differ only in the wave (square or sine).
#pragma once

namespace velmo {

// Adds `wave(phase)` to n frames of both channels while `phase` runs up by `increment` cycles a
// frame, wrapping at 1. Audio thread; no allocation.
template <class Wave>
void addSub(double& phase, double increment, int n, float* outL, float* outR, Wave wave) {
    double p = phase;
    for (int i = 0; i < n; ++i) {
        const float s = wave(p);
        outL[i] += s;
        outR[i] += s;
        p = p + increment;
        if (p >= 1.0) p -= 1.0;
    }
    phase = p;
}

} // namespace velmo
