// One block's sum of the modulation matrix, in the units each destination uses: semitones for
// the pitches (after × 12), octaves for cutoff (after × 8), plain units for the rest. Generators
// read it; the voice keeps the last block's copy for the LFO rates.
#pragma once

namespace velmo {

struct ModValues {
    double pitch = 0.0;      // semitones
    double cutoff = 0.0;     // octaves
    double resonance = 0.0;
    double volume = 0.0;     // offset from unity gain
    double pan = 0.0;
    double pulseWidth = 0.0; // the analog generator scales it by 0.45
    double wtPosition = 0.0;
    double fmAmount = 0.0;
    double osc2Pitch = 0.0;  // the analog generator scales it by 12 semitones
    double noise = 0.0;
    double lfo1Rate = 0.0;   // × 4 octaves, read one block late
    double lfo2Rate = 0.0;

    bool operator==(const ModValues&) const = default;
};

} // namespace velmo
