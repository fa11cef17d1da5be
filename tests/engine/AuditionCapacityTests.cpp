// An audition of more notes than the engine has room for: the extra notes are dropped rather
// than grow the list on the audio thread.
#include "EngineRig.h"
#include "support/AllocationCounter.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

using namespace velmo::testing;

TEST(EngineCore, AuditionsBeyondTheRoomAreDroppedWithoutAllocating) {
    Rig rig;
    rig.load(projectOf({trackOf("t1", {})}));
    std::vector<EngineCommand::AuditionNote> notes;
    for (int i = 0; i < 300; ++i) notes.push_back({0.5 + i * 0.001, 40 + i % 40, 1, 0.1});
    EngineCommand command = EngineCommand::audition("t1", std::move(notes));
    const long allocations = testing::allocationsDuring([&] { rig.core.handle(std::move(command)); });
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(rig.core.auditionCount(), EngineCore::auditionCapacity);
}

} // namespace
} // namespace velmo
