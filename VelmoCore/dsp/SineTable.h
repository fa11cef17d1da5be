// The shared sine of every oscillator: one table of 4096 points plus a guard entry, read with
// linear interpolation. LFOs call the library sine instead; only audio-rate oscillators use this.
#pragma once

#include <cmath>

namespace velmo::SineTable {

constexpr int kSize = 4096;

// The table of kSize + 1 floats, built on first use under a once-only guard and never freed.
// Safe from any thread. Hot loops fetch it once per block and call the two-argument lookup.
const float* ptr();

// Sine of 2π × phase, phase in cycles (any value: the integer part is dropped).
inline float lookup(const float* table, double phase) {
    double u = (phase - std::floor(phase)) * kSize;
    int i = static_cast<int>(u);
    // A tiny negative phase makes phase - floor(phase) round to exactly 1.0; without this the
    // read of i + 1 would leave the table. Entry kSize is the end of the cycle, so nothing changes.
    if (i > kSize - 1) i = kSize - 1;
    float t = static_cast<float>(u - i);
    float s0 = table[i];
    float s1 = table[i + 1];
    return s0 + (s1 - s0) * t;
}

inline float lookup(double phase) { return lookup(ptr(), phase); }

} // namespace velmo::SineTable
