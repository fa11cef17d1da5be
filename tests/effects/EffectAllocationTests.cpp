// No processor allocates in `update` or `process` once made: counted with a replaced global
// operator new over many blocks of every kind, updates between blocks as a knob drag gives them.
#include "FXRig.h"
#include "support/AllocationCounter.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

using namespace velmo::testing;

TEST(EffectProcessor, UpdateAndProcessAllocateNothing) {
    ASSERT_GE(probeAllocations(), 2) << "the counter must see allocations made through new";

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
        const long allocations = allocationsDuring([&] {
            for (int block = 0; block < 3000; ++block) {
                fx.proc->update(slots[static_cast<std::size_t>(block) % slots.size()], fx.ctx);
                fx.proc->process(s.left.data(), s.right.data(), 32);
            }
        });
        EXPECT_EQ(allocations, 0) << toString(kind);
    }
}

} // namespace
} // namespace velmo
