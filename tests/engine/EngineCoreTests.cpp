// The engine core as the device and the offline renderer drive it: block-exact sequencing, loop
// wraps, the transport stopping by itself, seek, panic, auditions, loads that keep processors,
// status publication, MIDI time stamps and the limiter.
#include "EngineRig.h"
#include "dsp/ScopedFlushToZero.h"
#include "midi/MIDIHub.h"
#include "support/MemoryMIDIPlatform.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>

namespace velmo {

// Holds the core's status lock from another thread, as a slow control side would.
struct EngineCoreLockProbe {
    static std::mutex& status(EngineCore& c) { return c.statusLock_; }
};

namespace {

using namespace velmo::testing;

constexpr double kBlockBeats = 32 / kFramesPerBeat;

TEST(EngineCore, NotesStartOnTheBlockBoundariesOfEachCallback) {
    // A note at frame 100: callbacks of 100 frames run blocks of 32, 32, 32 and 4, so the note
    // starts exactly at frame 100; otherwise it starts with the block that holds it, at 96.
    for (auto [callback, start] : std::vector<std::pair<int, std::size_t>>{{100, 100}, {128, 96}, {32, 96}}) {
        Rig rig;
        rig.play(songOf(4, {{60, 100 / kFramesPerBeat, 1, 1}}));
        rig.render(1000, callback);
        EXPECT_EQ(rig.peak(0, start), 0.0f) << "callback " << callback << ": silent before the note's block";
        EXPECT_GT(rig.peak(start, start + 32), 0.0f) << "callback " << callback << ": sounding in the note's block";
    }
}

TEST(EngineCore, LoopWrapsInsideABlockAndAtMostOncePerBlock) {
    Project p = songOf(4, {{60, 0, 4, 1}});
    p.loopEnabled = true;
    p.loopStart = 0;
    p.loopEnd = 40 / kFramesPerBeat; // inside the second block
    Rig rig;
    rig.play(p);
    rig.render(32);
    const TrackProcessor* t = rig.core.track("t1");
    ASSERT_EQ(t->pendingOffs().size(), 1u);
    const auto firstTag = t->pendingOffs()[0].tag;
    rig.render(32);
    EXPECT_EQ(rig.core.beat(), 24 / kFramesPerBeat) << "the rest of the block is scheduled from loopStart";
    ASSERT_EQ(t->pendingOffs().size(), 1u);
    EXPECT_NE(t->pendingOffs()[0].tag, firstTag) << "the note of the pass ended at the wrap and started again";
    EXPECT_TRUE(t->voice(0).released && !t->voice(1).released);

    // A loop shorter than a block wraps once per block at most, then runs on past its end.
    p.loopEnd = 0.001;
    Rig tiny;
    tiny.play(p);
    tiny.render(64);
    const double expected = 2 * (kBlockBeats - 0.001);
    EXPECT_DOUBLE_EQ(tiny.core.beat(), expected) << "each block starting before loopEnd wraps";
    tiny.render(32);
    EXPECT_DOUBLE_EQ(tiny.core.beat(), expected + kBlockBeats) << "a block starting past loopEnd does not wrap";
    tiny.core.handle(EngineCommand::seek(1));
    tiny.render(32);
    EXPECT_DOUBLE_EQ(tiny.core.beat(), 1 + kBlockBeats) << "a seek past the loop end plays on";
}

TEST(EngineCore, TransportStopsAfterTheLastNoteEnds) {
    for (auto [length, end] : {std::pair{2.0, 2.0}, {0.25, 1.0}}) { // a song shorter than one beat runs for one
        Rig rig;
        rig.play(songOf(length, {{60, 0, length, 1}}));
        while (rig.core.playing() && rig.left.size() < 10 * kFramesPerBeat) rig.render(32);
        EXPECT_FALSE(rig.core.playing());
        EXPECT_GT(rig.core.beat(), end + 0.001) << "length " << length;
        EXPECT_LE(rig.core.beat(), end + 0.001 + kBlockBeats) << "stops in the first block past the song's end";
        if (length == 2.0) {
            EXPECT_TRUE(rig.core.track("t1")->voice(0).released && rig.activeVoices("t1") == 1) << "the voice rings on in release";
        }
    }
    Rig empty; // no project: silence, and the transport does not move
    empty.core.handle(EngineCommand::play());
    empty.render(256);
    EXPECT_EQ(empty.peak(0, 256), 0.0f);
    EXPECT_EQ(empty.core.beat(), 0.0);
}

TEST(EngineCore, SeekEndsSongNotesButNotLiveKeys) {
    Rig rig;
    rig.load(songOf(8, {{60, 0, 4, 1}, {67, 2, 1, 1}}));
    rig.core.handle(EngineCommand::seek(-3));
    EXPECT_EQ(rig.core.beat(), 0.0) << "a negative seek lands on 0";
    rig.core.handle(EngineCommand::play());
    rig.core.handle(EngineCommand::noteOn("t1", 72, 1));
    rig.core.handle(EngineCommand::noteOn("nobody", 60, 1)); // an unknown track is ignored
    rig.render(64);
    const TrackProcessor* t = rig.core.track("t1");
    rig.core.handle(EngineCommand::seek(2));
    EXPECT_TRUE(t->voice(1).released) << "the song's note ends at the seek";
    EXPECT_FALSE(t->voice(0).released) << "the live key (started first) is left alone";
    rig.render(32);
    EXPECT_EQ(t->pendingOffs().size(), 1u) << "an event exactly on the seek position plays";
    rig.core.handle(EngineCommand::noteOff("t1", 72));
    EXPECT_TRUE(t->voice(0).released);
}

TEST(EngineCore, PanicSilencesAtOnceAndKeepsTheTransport) {
    Rig rig;
    rig.play(songOf(8, {{60, 0, 8, 1}, {64, 1, 1, 1}}));
    rig.core.handle(EngineCommand::audition("t1", {{0, 72, 1, 1}}));
    rig.render(4096);
    ASSERT_GT(rig.peak(4000, 4096), 0.0f);
    rig.core.handle(EngineCommand::panic());
    EXPECT_EQ(rig.core.auditionCount(), 0u);
    rig.render(32);
    EXPECT_EQ(rig.peak(4096, 4128), 0.0f) << "nothing rings on after a panic";
    rig.render(static_cast<int>(kFramesPerBeat));
    EXPECT_GT(rig.peak(4128, rig.left.size()), 0.0f) << "the song's next note sounds again";
}

TEST(EngineCore, AuditionsAreQuantisedToBlocksAndEndOnTime) {
    Rig rig;
    rig.load(projectOf({trackOf("t1", {})}));
    // 0.01 s = 327 frames in, 0.02 s = 655 frames long; the transport is stopped.
    rig.core.handle(EngineCommand::audition("t1", {{0.01, 60, 1, 0.02}}));
    rig.core.handle(EngineCommand::audition("gone", {{0, 60, 1, 0.001}}));
    rig.render(320);
    EXPECT_EQ(rig.peak(0, 320), 0.0f);
    rig.render(30 * 32 - 320);
    EXPECT_GT(rig.peak(320, 352), 0.0f) << "starts at the block holding its offset";
    EXPECT_EQ(rig.core.auditionCount(), 1u) << "the one for a missing track has come and gone";
    EXPECT_FALSE(rig.core.track("t1")->voice(0).released);
    rig.render(32);
    EXPECT_EQ(rig.core.auditionCount(), 0u);
    EXPECT_TRUE(rig.core.track("t1")->voice(0).released) << "ends in the block where its duration runs out";
}

TEST(EngineCore, LoadKeepsProcessorsAndDropsDeletedTracksAtOnce) {
    // The chains keep their processors by id (what EffectChain::load promises); here only that
    // a load hands both chains on rather than rebuilding them.
    Track lead = trackOf("t1", {clipOf("c1", 0, 8, {{60, 0, 8, 1}})});
    lead.effects.push_back({"fx1", EffectKind::delay, true, {}});
    Track bass = trackOf("t2", {clipOf("c2", 0, 8, {{40, 0, 8, 1}})});
    Project p = projectOf({lead, bass});
    p.masterEffects.push_back({"fx3", EffectKind::eq, true, {}});
    Rig rig;
    rig.play(p);
    rig.render(320);
    TrackProcessor* t1 = rig.core.track("t1");
    EffectProcessor* delay = t1->effects().entries()[0].proc.get();
    EffectProcessor* eq = rig.core.masterEffects().entries()[0].proc.get();
    const auto tag = t1->voice(0).tag;

    Project edited = p;
    edited.tracks.mut(0).volumeDb = -12;
    edited.tracks.erase(1);
    rig.load(edited);
    EXPECT_EQ(rig.core.track("t1"), t1) << "the processor is kept by track id";
    EXPECT_EQ(rig.core.track("t2"), nullptr);
    EXPECT_EQ(t1->voice(0).tag, tag);
    EXPECT_TRUE(t1->voice(0).active && !t1->voice(0).released) << "the sounding note runs on";
    EXPECT_EQ(t1->effects().entries()[0].proc.get(), delay);
    EXPECT_EQ(rig.core.masterEffects().entries()[0].proc.get(), eq);
    EXPECT_EQ(rig.core.status().trackIDs, std::vector<std::string>{"t1"});
    rig.render(32);
    EXPECT_DOUBLE_EQ(t1->gain(), std::pow(10.0, -12.0 / 20.0)) << "the gain ramps over one block";

    // Deleting the only sounding track silences the very next block.
    Rig solo;
    solo.play(projectOf({bass}));
    solo.render(320);
    ASSERT_GT(solo.peak(288, 320), 0.0f);
    solo.load(projectOf({}));
    solo.render(32);
    EXPECT_EQ(solo.peak(320, 352), 0.0f);
}

TEST(EngineCore, StatusIsPublishedEvenForEmptyCallbacks) {
    Rig rig;
    rig.load(songOf(4, {{60, 0, 4, 1}}));
    rig.core.send(EngineCommand::play());
    float none[1];
    rig.core.render(0, none, none, 0);
    EXPECT_TRUE(rig.core.status().playing) << "frames 0 still drains and publishes";
    rig.render(4096);
    const EngineStatus s = rig.core.status();
    EXPECT_EQ(s.beat, 4096 / kFramesPerBeat);
    EXPECT_TRUE(s.masterPeak > 0.0f && s.trackPeaks.size() == 1 && s.trackPeaks[0] > 0.0f);
    const std::size_t last = rig.left.size() - 1; // the scope ends with the last frame, as the mono mean
    EXPECT_EQ(s.scope[EngineStatus::scopeSize - 1], (rig.left[last] + rig.right[last]) * 0.5f);
}

TEST(EngineCore, RenderNeverWaitsForTheControlSide) {
    Rig rig;
    rig.load(songOf(4, {{60, 0, 4, 1}}));
    rig.core.send(EngineCommand::play());
    std::mutex& status = EngineCoreLockProbe::status(rig.core);
    std::atomic<bool> held{false}, done{false};
    std::thread control([&] {
        std::lock_guard lock(status);
        held = true;
        while (!done) std::this_thread::yield();
    });
    while (!held) std::this_thread::yield();
    rig.render(256); // would deadlock if render waited on the lock
    EXPECT_TRUE(rig.core.playing()) << "commands need no lock";
    // A load while the status is held: applied, its track list published later.
    rig.core.send(EngineCommand::load(CompiledProject(projectOf({trackOf("t1", {}), trackOf("t2", {})}))));
    rig.render(32);
    EXPECT_NE(rig.core.track("t2"), nullptr);
    done = true;
    control.join();
    EXPECT_FALSE(rig.core.status().playing) << "nothing was published while the status lock was held";
    rig.render(32);
    const EngineStatus s = rig.core.status();
    EXPECT_TRUE(s.playing);
    EXPECT_EQ(s.trackIDs, (std::vector<std::string>{"t1", "t2"}));
    EXPECT_EQ(s.trackPeaks, (std::vector<float>{0, 0})) << "peaks read zeros right after a load";
}

TEST(EngineCore, MIDIIsStampedWithTheTimeItsBlockReachesTheSpeaker) {
    auto platform = std::make_shared<MemoryMIDIPlatform>();
    platform->addDestination("Synth");
    auto hub = MIDIHub::create(platform, [](std::function<void()> f) { f(); });
    ASSERT_TRUE(hub);
    Project p = songOf(4, {{60, 0, 1, 1}, {62, 64 / kFramesPerBeat, 1, 1}});
    p.tracks.mut(0).midiOut = MIDIRoute{"Synth", 1, false};
    Rig rig;
    rig.core.handle(EngineCommand::attachMIDI(std::make_shared<MIDISender>(hub->makeSender()), 0.01));
    rig.core.handle(EngineCommand::load(CompiledProject(p, hub.get())));
    rig.core.handle(EngineCommand::play());
    std::vector<float> l(128), r(128);
    const std::uint64_t host = 5'000'000'000;
    rig.core.render(128, l.data(), r.data(), host);
    auto sent = platform->sent();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].timeStamp, host + 10'000'000) << "first block: the host time plus the output latency";
    EXPECT_EQ(sent[1].timeStamp, host + static_cast<std::uint64_t>((64 / kRate + 0.01) * 1e9)) << "third block";
    rig.core.handle(EngineCommand::seek(0));
    platform->clearSent();
    rig.core.render(32, l.data(), r.data(), 0);
    ASSERT_FALSE(platform->sent().empty());
    EXPECT_EQ(platform->sent()[0].timeStamp, 0u) << "without a device the stamp is 0, now";
}

TEST(Limiter, ConstantOverloadComesOutAtTheCeilingAndReleasesWithItsTimeConstant) {
    Limiter lim(48000);
    for (int i = 0; i < 1000; ++i) ASSERT_NEAR(1.2f * lim.next(1.2f, -1.2f), 0.966f, 1e-6f) << "frame " << i;
    const double g0 = lim.gain;
    for (int i = 0; i < 3840; ++i) lim.next(0, 0); // 80 ms of silence
    EXPECT_NEAR(lim.gain, 1 - (1 - g0) * std::exp(-1.0), 1e-6);
}

TEST(EngineCore, LimiterNeverLetsASampleAboveTheCeilingOut) {
    std::mt19937 rng(1234);
    std::uniform_real_distribution<double> unit(0, 1);
    for (int round = 0; round < 4; ++round) {
        std::vector<Track> tracks;
        for (int t = 0; t < 3; ++t) {
            SynthPatch patch;
            patch.analog.unison = 7;
            patch.analog.osc2.level = 1;
            patch.ampEnv.attack = 0;
            patch.filter.type = FilterType::off;
            std::vector<Note> notes;
            for (int n = 0; n < 24; ++n)
                notes.push_back({static_cast<int>(24 + unit(rng) * 72), unit(rng) * 3, unit(rng) * 2, unit(rng)});
            std::sort(notes.begin(), notes.end(), [](const Note& a, const Note& b) { return a.start < b.start; });
            Track track = trackOf("t" + std::to_string(t + 1), {clipOf("c" + std::to_string(t + 1), 0, 4, notes)}, patch);
            track.volumeDb = unit(rng) * 24;
            track.pan = unit(rng) * 2 - 1;
            tracks.push_back(track);
        }
        Project p = projectOf(tracks);
        p.masterVolumeDb = unit(rng) * 24;
        Rig rig(48000);
        rig.play(p);
        rig.core.resetAnalysis();
        rig.render(48000, 512);
        EXPECT_GT(rig.core.clippedFrames(), 0) << "round " << round << " should overload the bus";
        for (std::size_t i = 0; i < rig.left.size(); ++i)
            ASSERT_LE(std::max(std::fabs(rig.left[i]), std::fabs(rig.right[i])), 0.966f) << "round " << round << " frame " << i;
        EXPECT_LE(rig.core.analysisResult().peakDb, 20 * std::log10(0.966) + 1e-6);
    }
}

} // namespace
} // namespace velmo

#if defined(__SSE__) || defined(__x86_64__)
#include <xmmintrin.h>

namespace velmo {
namespace {

// The control bits of MXCSR; the low six are sticky exception flags that arithmetic sets.
unsigned fpMode() { return _mm_getcsr() & ~0x3Fu; }

TEST(ScopedFlushToZero, FlushesDenormalsInsideAndRestoresTheModeAfter) {
    const unsigned before = fpMode();
    volatile float tiny = 1e-30f;
    {
        ScopedFlushToZero guard;
        volatile float product = tiny * 1e-10f; // 1e-40 is a denormal
        EXPECT_EQ(product, 0.0f) << "flush-to-zero is on inside the scope";
    }
    volatile float product = tiny * 1e-10f;
    EXPECT_NE(product, 0.0f) << "the previous mode is back after the scope";
    velmo::testing::Rig rig; // render runs under the guard and leaves the caller's mode alone
    rig.render(64);
    EXPECT_EQ(fpMode(), before);
}

} // namespace
} // namespace velmo
#endif
