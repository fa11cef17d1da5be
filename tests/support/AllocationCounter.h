// Counting heap allocations, to prove that the audio path allocates nothing. Every test binary
// links AllocationCounter.cpp, which replaces the global operator new; it counts only while a
// count runs, so the test framework's own allocations stay out.
#pragma once

#include <atomic>

namespace velmo::testing {

extern std::atomic<bool> countingAllocations;
extern std::atomic<long> countedAllocations;

// The number of allocations made through operator new, on any thread, while `body` ran.
template <class Body>
long allocationsDuring(Body&& body) {
    countedAllocations.store(0);
    countingAllocations.store(true);
    body();
    countingAllocations.store(false);
    return countedAllocations.exchange(0);
}

// Allocations seen for one object made with new: a count of zero below proves nothing unless
// this is positive.
long probeAllocations();

} // namespace velmo::testing
