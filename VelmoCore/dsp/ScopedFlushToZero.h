// Sets the processor's flush-to-zero and denormals-are-zero modes for one scope and restores the
// previous modes after: a reverb tail or filter decaying into denormals must not multiply the
// cost of a render callback.
#pragma once

#if defined(__SSE__) || defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace velmo {

// Whichever thread makes it; the modes are per thread.
class ScopedFlushToZero {
public:
#if defined(__SSE__) || defined(__x86_64__)
    static constexpr unsigned flushToZero = 0x8000;     // MXCSR FTZ
    static constexpr unsigned denormalsAreZero = 0x0040; // MXCSR DAZ

    ScopedFlushToZero() : saved_(_mm_getcsr()) { _mm_setcsr(saved_ | flushToZero | denormalsAreZero); }
    ~ScopedFlushToZero() { _mm_setcsr(saved_); }

private:
    unsigned saved_;
#elif defined(__aarch64__)
    static constexpr unsigned long flushToZero = 1ul << 24; // FPCR FZ

    ScopedFlushToZero() {
        asm volatile("mrs %0, fpcr" : "=r"(saved_));
        unsigned long on = saved_ | flushToZero;
        asm volatile("msr fpcr, %0" : : "r"(on));
    }
    ~ScopedFlushToZero() { asm volatile("msr fpcr, %0" : : "r"(saved_)); }

private:
    unsigned long saved_;
#else
    // No known control register: denormals cost what they cost.
    ScopedFlushToZero() = default;
#endif

public:
    ScopedFlushToZero(const ScopedFlushToZero&) = delete;
    ScopedFlushToZero& operator=(const ScopedFlushToZero&) = delete;
};

} // namespace velmo
