// The program's one source of randomness: a 32-bit xorshift generator, seeded from a
// process-wide linear congruential sequence so that the order in which generators are made
// decides their streams. Noise, random start phases, random LFOs and the tools' humanize all draw here.
#pragma once

#include <atomic>
#include <cstdint>

namespace velmo {

// Process-wide seed, initial value 0x12345678; it moves one step each time a Rand is made.
// Atomic only so that a voice made on the audio thread and a tool drawing on the main queue do
// not race in the language's sense; which of two racing makers gets which seed does not matter.
extern std::atomic<std::uint32_t> globalSeed;

// A value: owned by whoever holds it (a voice's generators live on the audio thread).
struct Rand {
    std::uint32_t state; // never 0: xorshift would stay at 0 for ever

    // Advances globalSeed by one LCG step and takes it with the low bit forced on.
    static Rand make();

    // A repeatable stream that leaves globalSeed alone; a seed of 0 becomes 1.
    static Rand seeded(std::uint32_t seed) { return Rand{seed == 0 ? 1u : seed}; }

    std::uint32_t nextUInt() {
        std::uint32_t s = state;
        s ^= s << 13;
        s ^= s >> 17;
        s ^= s << 5;
        state = s;
        return s;
    }

    // [0, 1), exact: random start phases.
    double unit() { return static_cast<double>(nextUInt()) * (1.0 / 4294967296.0); }

    // [-1, 1), exact: every noise source, so white noise is uniform.
    double bipolar() { return static_cast<double>(nextUInt()) * (1.0 / 2147483648.0) - 1.0; }
};

} // namespace velmo
