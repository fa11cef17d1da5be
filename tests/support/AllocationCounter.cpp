#include "support/AllocationCounter.h"

#include <cstdlib>
#include <new>
#include <vector>

namespace velmo::testing {

std::atomic<bool> countingHeap{false};
std::atomic<long> countedAllocations{0};
std::atomic<long> countedFrees{0};

namespace {
// Kept where the optimiser cannot prove it unused, so the probe's heap calls really happen.
std::vector<int>* volatile escape = nullptr;
} // namespace

HeapCalls probeHeapCalls() {
    return heapCallsDuring([] {
        escape = new std::vector<int>(10);
        delete escape;
        escape = nullptr;
    });
}

} // namespace velmo::testing

namespace {

void* countedAlloc(std::size_t size) {
    if (velmo::testing::countingHeap.load(std::memory_order_relaxed))
        velmo::testing::countedAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}

void* countedAllocOrNull(std::size_t size) noexcept {
    try {
        return countedAlloc(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void countedFree(void* p) noexcept {
    if (p && velmo::testing::countingHeap.load(std::memory_order_relaxed))
        velmo::testing::countedFrees.fetch_add(1, std::memory_order_relaxed);
    std::free(p);
}

} // namespace

// GCC pairs the library's inline allocations with these replacements and warns falsely.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) { return countedAlloc(size); }
void* operator new[](std::size_t size) { return countedAlloc(size); }
// The library's temporary buffers (stable_sort's among them) come from the nothrow forms and go
// back through the plain deletes: left to the runtime, they would be neither counted nor freed by
// the allocator that made them.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return countedAllocOrNull(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return countedAllocOrNull(size); }
void operator delete(void* p, const std::nothrow_t&) noexcept { countedFree(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { countedFree(p); }
void operator delete(void* p) noexcept { countedFree(p); }
void operator delete[](void* p) noexcept { countedFree(p); }
void operator delete(void* p, std::size_t) noexcept { countedFree(p); }
void operator delete[](void* p, std::size_t) noexcept { countedFree(p); }
