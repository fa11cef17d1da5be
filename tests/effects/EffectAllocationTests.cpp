// No processor allocates in `update` or `process` once made: counted with a replaced global
// operator new over many blocks of every kind, updates between blocks as a knob drag gives them.
#include "FXRig.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<bool> counting{false};
std::atomic<long> allocations{0};

void* countedAlloc(std::size_t size) {
    if (counting.load(std::memory_order_relaxed)) allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) { return countedAlloc(size); }
void* operator new[](std::size_t size) { return countedAlloc(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace velmo {
namespace {

using namespace velmo::testing;

TEST(EffectProcessor, UpdateAndProcessAllocateNothing) {
    counting = true;
    auto probe = std::make_unique<std::vector<int>>(10);
    counting = false;
    ASSERT_GE(allocations.exchange(0), 2) << "the counter must see allocations made through new";

    const double sr = 48000;
    for (EffectKind kind : allCases<EffectKind>()) {
        std::vector<EffectSlot> slots;
        for (const auto& spec : EffectCatalog::specs(kind)) { // each parameter at its low and high end
            slots.push_back(slotOf(kind, {{std::string(spec.name), spec.min}}));
            slots.push_back(slotOf(kind, {{std::string(spec.name), spec.max}}));
        }
        FX fx(kind, sr);
        Stereo s = sine(32, 440, sr);
        fx.run(s); // warm up
        counting = true;
        for (int block = 0; block < 3000; ++block) {
            fx.proc->update(slots[static_cast<std::size_t>(block) % slots.size()], fx.ctx);
            fx.proc->process(s.left.data(), s.right.data(), 32);
        }
        counting = false;
        EXPECT_EQ(allocations.exchange(0), 0) << toString(kind);
    }
}

} // namespace
} // namespace velmo
