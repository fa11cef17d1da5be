#include "support/AllocationCounter.h"

#include <cstdlib>
#include <new>
#include <vector>

namespace velmo::testing {

std::atomic<bool> countingAllocations{false};
std::atomic<long> countedAllocations{0};

namespace {
// Kept where the optimiser cannot prove it unused, so the probe's allocations really happen.
std::vector<int>* volatile escape = nullptr;
} // namespace

long probeAllocations() {
    const long seen = allocationsDuring([] { escape = new std::vector<int>(10); });
    delete escape;
    escape = nullptr;
    return seen;
}

} // namespace velmo::testing

namespace {

void* countedAlloc(std::size_t size) {
    if (velmo::testing::countingAllocations.load(std::memory_order_relaxed))
        velmo::testing::countedAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}

} // namespace

// GCC pairs the library's inline allocations with these replacements and warns falsely.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) { return countedAlloc(size); }
void* operator new[](std::size_t size) { return countedAlloc(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
