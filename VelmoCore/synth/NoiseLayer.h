// The white-noise layer the analog and wavetable engines mix over their oscillators.
#pragma once

#include "base/Decibels.h"
#include "base/Rand.h"

namespace velmo {

// Adds noise at `level` (the patch's noise plus its modulation; capped at 1, skipped when
// inaudible). Two draws per frame, left first: the channels are independent.
inline void addNoise(Rand& rng, double level, float* outL, float* outR, int n) {
    if (level > 1.0) level = 1.0;
    if (level <= kInaudibleLevel) return;
    for (int i = 0; i < n; ++i) {
        outL[i] += static_cast<float>(level * rng.bipolar());
        outR[i] += static_cast<float>(level * rng.bipolar());
    }
}

} // namespace velmo
