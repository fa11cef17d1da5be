#include "midi/MIDIEventList.h"
#include "midi/MIDISender.h"
#include "midi/MIDIWords.h"
#include "support/MemoryMIDIPlatform.h"
#include "support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace velmo;

TEST(MIDIWords, ExactWordsVelocityAndPitchMapping) {
    for (auto [word, expected] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
             {MIDIWords::noteOn(0, 60, 1.0), 0x20903C7F}, {MIDIWords::noteOn(9, 36, 0.5), 0x20992440},
             {MIDIWords::noteOff(3, 64), 0x20834000}, {MIDIWords::allNotesOff(0), 0x20B07B00},
             {MIDIWords::allNotesOff(15), 0x20BF7B00},
             // Only the channel's low four bits go out: they never spill into the status nibble.
             {MIDIWords::noteOn(16, 60, 1.0), 0x20903C7F}, {MIDIWords::noteOff(0xFF, 60), 0x208F3C00}})
        EXPECT_EQ(word, expected) << std::hex << expected;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const std::pair<double, std::uint32_t> velocities[] = {
        {0.0, 1}, {1.0, 127}, {0.5, 64}, {126.5 / 127, 127}, {63.4 / 127, 63}, {0.003, 1}, {-1.0, 1},
        {2.0, 127}, {nan, 1}, {inf, 127}, {-inf, 1}};
    for (auto [velocity, expected] : velocities)
        EXPECT_EQ(MIDIWords::noteOn(0, 60, velocity) & 0x7F, expected) << "velocity " << velocity;

    const std::pair<int, std::uint32_t> pitches[] = {
        {0, 0}, {60, 60}, {127, 127}, {128, 0}, {130, 2}, {255, 127}, {256, 127}, {1000, 127}, {-1, 0},
        {std::numeric_limits<int>::min(), 0}, {std::numeric_limits<int>::max(), 127}};
    for (auto [pitch, expected] : pitches) {
        EXPECT_EQ((MIDIWords::noteOn(0, pitch, 1.0) >> 8) & 0xFF, expected) << "pitch " << pitch;
        EXPECT_EQ((MIDIWords::noteOff(0, pitch) >> 8) & 0xFF, expected) << "pitch " << pitch;
    }
}

TEST(MIDIWords, DecodingReadsNotesOnly) {
    using E = MIDIWords::NoteEvent;
    EXPECT_EQ(MIDIWords::decodeNote(0x20903C7F), (E{60, 1.0}));
    EXPECT_EQ(MIDIWords::decodeNote(0x2F9A4040), (E{64, 64.0 / 127})) << "group and channel are ignored";
    EXPECT_EQ(MIDIWords::decodeNote(0x20903C00), (E{60, 0.0})) << "note on with velocity 0 keeps 0";
    EXPECT_EQ(MIDIWords::decodeNote(0x20803C40), (E{60, 0.0}));
    for (std::uint32_t other : {0x20B07B00u, 0x20E04000u, 0x10F80000u, 0x40903C00u, 0x00000000u, 0x30903C7Fu})
        EXPECT_FALSE(MIDIWords::decodeNote(other)) << std::hex << other;
}

TEST(MIDIEventList, FillsUpToItsFixedCapacityAndReadsBack) {
    MIDIEventList list;
    const std::uint32_t one[] = {0x20903C7F};
    std::uint64_t bigTime = 0x123456789ABCull;
    ASSERT_TRUE(list.add(bigTime, one));
    std::vector<std::uint32_t> many(MIDIEventList::byteCapacity / 4, 0x20803C00);
    // The header and the first packet take 6 words, the next packet's header 3 more.
    EXPECT_FALSE(list.add(0, std::span(many).first(many.size() - 8)));
    EXPECT_TRUE(list.add(7, std::span(many).first(many.size() - 9)));
    EXPECT_FALSE(list.add(0, std::span(many).first(0))) << "not even an empty packet fits a full list";
    EXPECT_EQ(list.packetCount(), 2u);
    std::vector<std::pair<std::uint64_t, std::size_t>> seen;
    list.forEachPacket([&](const MIDIEventList::Packet& p) { seen.emplace_back(p.timeStamp, p.words.size()); });
    EXPECT_EQ(seen, (std::vector<std::pair<std::uint64_t, std::size_t>>{{bigTime, 1}, {7, many.size() - 9}}));
    list.init();
    EXPECT_TRUE(list.empty());
}

TEST(MIDISender, SendsOneStampedWordThroughPortOrVirtualSource) {
    auto platform = std::make_shared<MemoryMIDIPlatform>();
    auto client = platform->createClient("test", nullptr);
    ASSERT_TRUE(client);
    MIDIObjectRef port = platform->createOutputPort(*client, "out");
    MIDIObjectRef virtualSource = platform->createVirtualSource(*client, "virtual");
    MIDIObjectRef synth = platform->addDestination("Synth");

    MIDISender sender(platform, port);
    MIDITarget hardware{synth, false, 2};
    MIDITarget virtualTarget{virtualSource, true, 17};  // channel 17 wraps to 1
    sender.setTime(5'000'000'000ull);
    sender.noteOn(hardware, 130, 0.0);
    sender.setTime(0);
    sender.noteOff(hardware, 130);
    sender.noteOn(virtualTarget, 60, 0.5);
    sender.allNotesOff(virtualTarget);

    using S = MemoryMIDIPlatform::SentPacket;
    EXPECT_EQ(platform->sent(), (std::vector<S>{
                                    {port, synth, false, 5'000'000'000ull, {0x20920201}},
                                    {port, synth, false, 0, {0x20820200}},
                                    {0, virtualSource, true, 0, {0x20913C40}},
                                    {0, virtualSource, true, 0, {0x20B17B00}},
                                }));

    // A destination that went away swallows the message; nothing else goes out instead.
    platform->removeEndpoint(synth);
    platform->clearSent();
    sender.noteOn(hardware, 60, 1.0);
    EXPECT_TRUE(platform->sent().empty());
    EXPECT_EQ(platform->droppedSends(), 1u);
}

TEST(MIDISender, AllocatesNothingPerMessage) {
    auto platform = std::make_shared<MemoryMIDIPlatform>();
    auto client = platform->createClient("test", nullptr);
    MIDISender sender(platform, platform->createOutputPort(*client, "out"));
    // Endpoints the in-memory system does not know: it drops them without recording, so what
    // is counted is the sender's own work up to the platform call.
    MIDITarget port{999, false, 0};
    MIDITarget virtualSource{998, true, 0};
    ASSERT_GT(velmo::testing::probeAllocations(), 0);
    const long allocations = velmo::testing::allocationsDuring([&] {
        for (int i = 0; i < 1000; ++i) {
            sender.setTime(std::uint64_t(i) * 1000);
            sender.noteOn(port, i, 0.8);
            sender.noteOff(port, i);
            sender.noteOn(virtualSource, i, 0.8);
            sender.allNotesOff(virtualSource);
        }
    });
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(platform->droppedSends(), 4000u);
}
