#include "base/Rand.h"

namespace velmo {

std::atomic<std::uint32_t> globalSeed{0x12345678u};

Rand Rand::make() {
    constexpr std::uint32_t kMultiplier = 1664525u; // Numerical Recipes LCG, modulo 2^32
    constexpr std::uint32_t kIncrement = 1013904223u;
    std::uint32_t seed = globalSeed.load(std::memory_order_relaxed);
    std::uint32_t next = seed * kMultiplier + kIncrement;
    while (!globalSeed.compare_exchange_weak(seed, next, std::memory_order_relaxed))
        next = seed * kMultiplier + kIncrement;
    return Rand{next | 1u};
}

} // namespace velmo
