// A control-rate low-frequency oscillator: one stepped value per block, no smoothing. The voice
// works out the rate (free, tempo-synced, modulated) and decides when the phase restarts.
#pragma once

#include "model/SynthPatch.h"
#include "base/Rand.h"

#include <cmath>
#include <numbers>

namespace velmo {

// Audio thread only (owned by a voice or an effect).
struct LFO {
    double phase = 0.0;        // cycles, [0, 1)
    double held = 0.0;         // current value of the random shape
    Rand rng = Rand::make();   // draws a new `held` at each wrap

    // Value for a block of n frames, read from the phase at the start of the block; then the
    // phase advances by the whole block. `held` changes at most once per block, whatever the rate.
    double tick(LFOShape shape, double rateHz, int n, double sampleRate) {
        double value = 0.0;
        switch (shape) {
        case LFOShape::sine: value = std::sin(2.0 * std::numbers::pi * phase); break; // library sine, not the table
        case LFOShape::triangle: value = 1.0 - 4.0 * std::fabs(phase - 0.5); break;
        case LFOShape::saw: value = 2.0 * phase - 1.0; break;
        case LFOShape::square: value = phase < 0.5 ? 1.0 : -1.0; break;
        case LFOShape::random: value = held; break;
        }
        phase += rateHz * n / sampleRate;
        if (phase >= 1.0) {
            phase -= std::floor(phase);
            held = rng.bipolar();
        }
        return value;
    }
};

} // namespace velmo
