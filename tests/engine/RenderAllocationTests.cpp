// The audio path neither allocates nor frees: a playing project with every voice busy, stealing,
// loop wraps, effect chains, live-note commands and loads that add, drop and rechain tracks,
// counted over thousands of blocks with replaced global operators new and delete; lists the audio
// thread fills (auditions, pending note-offs, the mono key stack) stop at the room they were
// given rather than grow.
#include "EngineRig.h"
#include "support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <memory>

namespace velmo {
namespace {

using namespace velmo::testing;

// Renders one callback and reports any heap call it made.
HeapCalls renderCounting(EngineCore& core, std::vector<float>& left, std::vector<float>& right) {
    return heapCallsDuring([&] { core.render(static_cast<int>(left.size()), left.data(), right.data(), 0); });
}

Project busySong() {
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
    return p;
}

TEST(EngineCore, RenderNeitherAllocatesNorFreesAcrossNotesCommandsAndLoads) {
    ASSERT_GE(probeHeapCalls().allocations, 2) << "the counter must see allocations made through new";
    ASSERT_GE(probeHeapCalls().frees, 2) << "the counter must see frees through delete";

    const Project song = busySong();
    EngineCore core(48000);
    core.handle(EngineCommand::load(CompiledProject(song)));
    core.handle(EngineCommand::play());
    std::vector<float> left(256), right(256);
    // Warm up through two passes of the loop, so every list has reached its working size.
    for (int i = 0; i < 2 * 8 * 24000 / 256 + 10; ++i) core.render(256, left.data(), right.data(), 0);
    for (const auto& t : core.tracks()) {
        int active = 0;
        for (int v = 0; v < TrackProcessor::voiceCount; ++v) active += t->voice(v).active;
        ASSERT_EQ(active, TrackProcessor::voiceCount) << t->id() << " should have every voice busy";
    }

    // Edits as an agent makes them: a track added with a new effect, an effect swapped for
    // another kind, a track deleted, the master chain rebuilt. Sending is the control side's cost.
    Project added = song;
    Track extra = trackOf("t9", {clipOf("c9", 0, 8, {{60, 0, 2, 1}})});
    extra.effects.push_back({"fx20", EffectKind::chorus, true, {}});
    added.tracks.push_back(extra);
    Project rechained = added;
    rechained.tracks.mut(0).effects.mut(0).kind = EffectKind::eq;
    rechained.masterEffects.push_back({"fx2", EffectKind::compressor, true, {}});
    Project dropped = rechained;
    dropped.tracks.erase(1);
    const std::vector<Project> edits{added, rechained, dropped, song};

    for (int i = 0; i < 1000; ++i) { // 1000 callbacks of 8 blocks: 8000 blocks, 5.3 s
        if (i % 50 == 0) {
            core.send(EngineCommand::noteOn("t1", 90, 1));
            core.send(EngineCommand::noteOff("t1", 90));
        }
        if (i % 100 == 10) core.send(EngineCommand::load(CompiledProject(edits[(i / 100) % edits.size()])));
        const HeapCalls calls = renderCounting(core, left, right);
        ASSERT_EQ(calls.allocations, 0) << "callback " << i;
        ASSERT_EQ(calls.frees, 0) << "callback " << i;
        if (i % 100 == 10) ASSERT_NE(core.track("t9") != nullptr, i % 400 == 310) << "the load applied in callback " << i;
        core.releaseRetired();
    }
    EXPECT_TRUE(core.playing());
}

TEST(EngineCore, ListsTheAudioThreadFillsStopAtTheirRoom) {
    // 300 notes start in the first block, all four beats long: more than the 256 note-offs a
    // track keeps, and, on a mono track, more than the 32 keys it remembers.
    std::vector<Note> cluster;
    for (int i = 0; i < 300; ++i) cluster.push_back({30 + i % 60, i * 1e-6, 4, 0.7});
    SynthPatch mono;
    mono.voice.mode = VoiceMode::mono;
    Rig rig(48000);
    rig.load(projectOf({trackOf("t1", {clipOf("c1", 0, 8, cluster)}), trackOf("t2", {clipOf("c2", 0, 8, cluster)}, mono)}));
    rig.core.send(EngineCommand::play());
    std::vector<EngineCommand::AuditionNote> notes;
    for (int i = 0; i < 300; ++i) notes.push_back({0.001 * i, 40 + i % 40, 1, 1.0});
    rig.core.send(EngineCommand::audition("t1", std::move(notes)));

    std::vector<float> left(256), right(256);
    const HeapCalls first = renderCounting(rig.core, left, right);
    EXPECT_EQ(first.allocations, 0);
    EXPECT_EQ(first.frees, 0);
    EXPECT_EQ(rig.core.auditionCount(), EngineCore::auditionCapacity) << "notes beyond the room are dropped";
    EXPECT_EQ(rig.core.track("t1")->pendingOffs().size(), 256u);
    EXPECT_EQ(rig.core.track("t2")->pendingOffs().size(), 256u);
    EXPECT_EQ(rig.core.track("t2")->monoStack().size(), 32u);

    // Auditions start and end, and every cluster note ends at beat 4: still no heap call.
    for (int i = 0; i < 500; ++i) {
        const HeapCalls calls = renderCounting(rig.core, left, right);
        ASSERT_EQ(calls.allocations + calls.frees, 0) << "callback " << i;
    }
    EXPECT_EQ(rig.core.auditionCount(), 0u);
    EXPECT_TRUE(rig.core.track("t1")->pendingOffs().empty());
}

} // namespace
} // namespace velmo
