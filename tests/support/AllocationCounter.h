// Counting heap allocations and frees, to prove that the audio path does neither. Every test
// binary links AllocationCounter.cpp, which replaces the global operators new and delete; they
// count only while a count runs, so the test framework's own heap traffic stays out.
#pragma once

#include <atomic>

namespace velmo::testing {

extern std::atomic<bool> countingHeap;
extern std::atomic<long> countedAllocations;
extern std::atomic<long> countedFrees;

struct HeapCalls {
    long allocations = 0;
    long frees = 0; // of non-null pointers
};

// The calls of operator new and operator delete, on any thread, while `body` ran.
template <class Body>
HeapCalls heapCallsDuring(Body&& body) {
    countedAllocations.store(0);
    countedFrees.store(0);
    countingHeap.store(true);
    body();
    countingHeap.store(false);
    return {countedAllocations.exchange(0), countedFrees.exchange(0)};
}

template <class Body>
long allocationsDuring(Body&& body) {
    return heapCallsDuring(body).allocations;
}

// Heap calls seen for one object made with new and deleted: a count of zero below proves nothing
// unless both are positive.
HeapCalls probeHeapCalls();
inline long probeAllocations() { return probeHeapCalls().allocations; }

} // namespace velmo::testing
