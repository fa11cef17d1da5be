// The audio path allocates nothing in the steady state: a playing project with every voice
// busy, stealing, loop wraps, effect chains and live-note commands, counted over thousands of
// blocks with a replaced global operator new; an audition too big for the engine's room is cut
// rather than grown on the audio thread.
#include "EngineRig.h"
#include "support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <memory>

namespace velmo {
namespace {

using namespace velmo::testing;

TEST(EngineCore, RenderAllocatesNothingInTheSteadyState) {
    std::vector<Track> tracks;
    for (int t = 0; t < 4; ++t) {
        SynthPatch patch;
        patch.voice.polyphony = 16;
        patch.analog.unison = 3;
        std::vector<Note> notes;
        // A note every eighth of a beat, each four beats long: 32 overlap, so all sixteen voices
        // are busy and every new note steals.
        for (int n = 0; n < 64; ++n) notes.push_back({40 + (n * 7 + t) % 40, n / 8.0, 4, 0.8});
        Track track = trackOf("t" + std::to_string(t + 1), {clipOf("c" + std::to_string(t + 1), 0, 8, notes)}, patch);
        track.effects.push_back({"fx" + std::to_string(10 + t), EffectKind::delay, true, {}});
        tracks.push_back(track);
    }
    Project p = projectOf(tracks);
    p.loopEnabled = true;
    p.loopStart = 0;
    p.loopEnd = 8;
    p.masterEffects.push_back({"fx1", EffectKind::reverb, true, {}});

    EngineCore core(48000);
    core.handle(EngineCommand::load(CompiledProject(p)));
    core.handle(EngineCommand::play());
    core.resetAnalysis();
    std::vector<float> left(256), right(256);
    // Warm up through two passes of the loop, so every list has reached its working size.
    for (int i = 0; i < 2 * 8 * 24000 / 256 + 10; ++i) core.render(256, left.data(), right.data(), 0);
    for (const auto& t : core.tracks()) {
        int active = 0;
        for (int v = 0; v < TrackProcessor::voiceCount; ++v) active += t->voice(v).active;
        ASSERT_EQ(active, TrackProcessor::voiceCount) << t->id() << " should have every voice busy";
    }

    ASSERT_GE(testing::probeAllocations(), 2) << "the counter must see allocations made through new";

    long perCallback = 0;
    for (int i = 0; i < 1000; ++i) { // 1000 callbacks of 8 blocks: 8000 blocks, 5.3 s
        if (i % 50 == 0) { // live keys arrive now and then; sending is the control side's cost
            core.send(EngineCommand::noteOn("t1", 90, 1));
            core.send(EngineCommand::noteOff("t1", 90));
        }
        perCallback = std::max(perCallback, testing::allocationsDuring([&] { core.render(256, left.data(), right.data(), 0); }));
        if (perCallback) break;
    }
    EXPECT_EQ(perCallback, 0) << "render allocated";
    EXPECT_TRUE(core.playing());
}

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
