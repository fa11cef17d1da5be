// Voice allocation and note bookkeeping of one track: stealing order, poly limits, retrigger,
// mono and legato stacks, MIDI output, and what a load keeps.
#include "midi/MIDIHub.h"
#include "midi/MIDIWords.h"
#include "support/MemoryMIDIPlatform.h"
#include "engine/TrackProcessor.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>

namespace velmo {
namespace {

constexpr double kRate = 48000;
const RenderContext kCtx{kRate, 120};

std::shared_ptr<const CompiledTrack> compiled(const SynthPatch& patch, std::vector<CompiledEvent> events = {},
                                              double gain = 1.0) {
    auto t = std::make_shared<CompiledTrack>();
    t->id = "t1";
    t->patch = patch;
    t->gain = gain;
    t->events = EventList(std::move(events));
    return t;
}

SynthPatch patchWith(double polyphony, VoiceMode mode = VoiceMode::poly, EngineKind engine = EngineKind::analog) {
    SynthPatch p;
    p.voice.polyphony = polyphony;
    p.voice.mode = mode;
    p.engine = engine;
    return p;
}

struct Fixture {
    explicit Fixture(const SynthPatch& patch) : tp("t1", patch) { tp.load(compiled(patch), kCtx, 0); }

    std::int64_t on(int pitch, double velocity = 1.0) { return tp.noteOn(pitch, velocity, kCtx); }
    void on(std::initializer_list<int> pitches) {
        for (int pitch : pitches) on(pitch);
    }
    const Voice& v(int i) const { return tp.voice(i); }

    // Renders `blocks` full blocks into a scratch bus.
    void run(int blocks) {
        for (int b = 0; b < blocks; ++b) {
            busL.fill(0);
            busR.fill(0);
            tp.renderBlock(32, kCtx, busL.data(), busR.data(), false);
        }
    }
    int activeVoices() const {
        int n = 0;
        for (int i = 0; i < TrackProcessor::voiceCount; ++i) n += tp.voice(i).active;
        return n;
    }

    TrackProcessor tp;
    std::array<float, 32> busL{}, busR{};
};

TEST(TrackProcessor, PolyStealingOrderAndLimits) {
    {
        Fixture f(patchWith(2));
        f.on({60, 62, 64});
        EXPECT_EQ(f.v(0).pitch, 64) << "the third note takes the oldest voice";
        EXPECT_EQ(f.v(1).pitch, 62);
        EXPECT_EQ(f.activeVoices(), 2);
    }
    {
        // The quietest released voice goes first: before an older released one and before the
        // oldest held one.
        Fixture f(patchWith(3));
        f.on(60);
        auto b = f.on(62), c = f.on(64);
        f.run(300); // well into sustain
        f.tp.noteOff(c);
        f.run(100);
        f.tp.noteOff(b);
        f.run(1);
        ASSERT_TRUE(f.v(2).active);
        ASSERT_LT(f.v(2).ampEnv.value, f.v(1).ampEnv.value);
        f.on(65);
        EXPECT_TRUE(f.v(2).pitch == 65 && !f.v(2).released);
        EXPECT_TRUE(f.v(0).pitch == 60 && f.v(1).pitch == 62);
    }
    // Polyphony is clamped to 1..16 and truncated.
    for (auto [polyphony, voices] : std::vector<std::pair<double, int>>{{0, 1}, {-3, 1}, {2.9, 2}, {100, 16}}) {
        Fixture f(patchWith(polyphony));
        for (int i = 0; i < 20; ++i) f.on(40 + i);
        EXPECT_EQ(f.activeVoices(), voices) << "polyphony " << polyphony;
    }
}

TEST(TrackProcessor, DrumsUseEveryVoiceAndHatsChokeOpenHats) {
    const SynthPatch p = patchWith(2, VoiceMode::legato, EngineKind::drums);
    {
        Fixture f(p);
        for (int i = 0; i < 16; ++i) f.on(36);
        EXPECT_EQ(f.activeVoices(), 16) << "sixteen voices, whatever the patch's mode and polyphony say";
        for (int i = 0; i < 16; ++i) EXPECT_FALSE(f.v(i).released) << "no same-pitch release on drums, voice " << i;
        f.on(38);
        EXPECT_EQ(f.v(0).pitch, 38) << "the seventeenth hit takes the oldest voice";
    }
    Fixture f(p);
    f.on({46, 36}); // open hat on voice 0, kick on voice 1
    f.run(2);
    EXPECT_FALSE(f.v(0).drum.choking);
    f.on(42); // closed hat takes a voice of its own
    EXPECT_TRUE(f.v(0).drum.choking) << "the open hat is choked";
    EXPECT_FALSE(f.v(1).drum.choking) << "the kick is not";
    f.run(60); // the choked hat ends after 1,724 samples (its fall is measured in DrumGen's tests)
    EXPECT_FALSE(f.v(0).active) << "the choked hat ends";

    f.on({46, 44}); // and a pedal hat
    bool choked = false;
    for (int i = 0; i < TrackProcessor::voiceCount; ++i) choked |= f.v(i).active && f.v(i).pitch == 46 && f.v(i).drum.choking;
    EXPECT_TRUE(choked) << "a pedal hat chokes too";
}

TEST(TrackProcessor, PolyRetriggerLeavesTheOldVoiceInRelease) {
    Fixture f(patchWith(8));
    auto first = f.on(60);
    f.on(60);
    EXPECT_TRUE(f.v(0).released);
    EXPECT_TRUE(f.v(1).pitch == 60 && !f.v(1).released);
    f.tp.noteOff(first);
    EXPECT_FALSE(f.v(1).released) << "ending the first tag again touches nothing: that note is already in release";
    f.tp.noteOffPitch(60);
    EXPECT_TRUE(f.v(1).released);
}

// Legato ties a new note to a held one; mono retriggers it. Neither retriggers on the return.
TEST(TrackProcessor, LegatoAndMonoStacks) {
    for (VoiceMode mode : {VoiceMode::legato, VoiceMode::mono}) {
        SCOPED_TRACE(toString(mode));
        const bool legato = mode == VoiceMode::legato;
        Fixture f(patchWith(8, mode));
        auto a = f.on(60, 0.8);
        f.run(100);
        const Voice& v = f.v(0);
        auto stage = v.ampEnv.stage;
        ASSERT_NE(stage, ADSR::Stage::attack);
        auto b = f.on(64, 0.3);
        EXPECT_TRUE(v.pitch == 64 && v.tag == b);
        EXPECT_EQ(v.ampEnv.stage, legato ? stage : ADSR::Stage::attack) << "only mono restarts the envelope";
        EXPECT_EQ(v.velocity, legato ? 0.8 : 0.3) << "a tied note keeps the first note's velocity";

        f.run(100);
        stage = v.ampEnv.stage;
        ASSERT_NE(stage, ADSR::Stage::attack);
        f.tp.noteOff(b);
        EXPECT_TRUE(v.pitch == 60 && v.tag == a) << "back to the held note";
        EXPECT_EQ(v.ampEnv.stage, stage) << "the return does not retrigger";
        EXPECT_FALSE(v.released);
        f.tp.noteOff(a);
        EXPECT_TRUE(v.released);
        EXPECT_TRUE(f.tp.monoStack().empty());

        // Ending the earlier note while a later one holds only drops it from the stack.
        f.run(400);
        auto c = f.on(60), d = f.on(67);
        f.tp.noteOff(c);
        EXPECT_TRUE(v.pitch == 67 && !v.released);
        ASSERT_EQ(f.tp.monoStack().size(), 1u);
        EXPECT_EQ(f.tp.monoStack()[0].tag, d);
    }
}

TEST(TrackProcessor, ScheduleEndsNotesStrictlyBeforeTheSpanEnd) {
    SynthPatch p;
    Fixture f(p);
    f.tp.load(compiled(p, {{0.5, 60, 1, 0.5}, {0.5, 64, 1, 2}}), kCtx, 0);
    f.tp.schedule(0, 1.0, kCtx);
    ASSERT_EQ(f.tp.pendingOffs().size(), 2u);
    f.tp.schedule(1.0, 1.0, kCtx);
    EXPECT_EQ(f.tp.pendingOffs().size(), 2u) << "an end exactly on `to` is not yet due";
    f.tp.schedule(1.0, 1.5, kCtx);
    EXPECT_EQ(f.tp.pendingOffs().size(), 1u);
    EXPECT_TRUE(f.v(0).released && !f.v(1).released);
}

TEST(TrackProcessor, LoadKeepsVoicesUnlessEngineOrModeChanges) {
    SynthPatch p;
    Fixture f(p);
    f.on({60, 64});
    f.run(2);

    SynthPatch brighter = p;
    brighter.filter.cutoff = 2000;
    brighter.voice.polyphony = 3;
    f.tp.load(compiled(brighter, {{4, 50, 1, 1}, {8, 52, 1, 1}}, 0.5), kCtx, 5);
    EXPECT_EQ(f.activeVoices(), 2) << "a parameter change leaves voices running";

    SynthPatch mono = brighter;
    mono.voice.mode = VoiceMode::mono;
    f.tp.load(compiled(mono), kCtx, 0);
    EXPECT_EQ(f.activeVoices(), 0) << "a voice-mode change hard-stops every voice";
    f.on(60);
    SynthPatch fm = mono;
    fm.engine = EngineKind::fm;
    f.tp.load(compiled(fm), kCtx, 0);
    EXPECT_EQ(f.activeVoices(), 0) << "an engine change hard-stops every voice";
    EXPECT_TRUE(f.tp.monoStack().empty());
}

TEST(TrackProcessor, MIDIOutputFollowsTargetAudibilityAndPlayInternal) {
    auto platform = std::make_shared<MemoryMIDIPlatform>();
    MIDIObjectRef synth = platform->addDestination("Synth");
    auto hub = MIDIHub::create(platform, [](std::function<void()> f) { f(); });
    ASSERT_TRUE(hub);
    MIDISender sender = hub->makeSender();

    SynthPatch p;
    auto routed = std::make_shared<CompiledTrack>(*compiled(p));
    routed->midi = MIDITarget{synth, false, 3};
    routed->playInternal = false;
    TrackProcessor tp("t1", p);
    tp.setMIDISender(&sender);
    tp.load(routed, kCtx, 0);

    auto tag = tp.noteOn(61, 1.0, kCtx);
    ASSERT_EQ(tp.midiHeld().size(), 1u);
    for (int i = 0; i < TrackProcessor::voiceCount; ++i) EXPECT_FALSE(tp.voice(i).active) << "no voice starts";
    tp.noteOff(tag);
    EXPECT_TRUE(tp.midiHeld().empty());
    tp.noteOn(62, 0.5, kCtx);
    tp.allNotesOff();

    std::vector<std::uint32_t> words;
    for (const auto& packet : platform->sent()) words.insert(words.end(), packet.words.begin(), packet.words.end());
    EXPECT_EQ(words, (std::vector<std::uint32_t>{MIDIWords::noteOn(3, 61, 1.0), MIDIWords::noteOff(3, 61),
                                                 MIDIWords::noteOn(3, 62, 0.5), MIDIWords::noteOff(3, 62),
                                                 MIDIWords::allNotesOff(3)}));

    // A held note is ended when the target changes; an inaudible track sends nothing but plays.
    platform->clearSent();
    tp.noteOn(63, 1, kCtx);
    auto muted = std::make_shared<CompiledTrack>(*routed);
    muted->midi = MIDITarget{synth, false, 4};
    muted->audible = false;
    muted->playInternal = true;
    tp.load(muted, kCtx, 0);
    tp.noteOn(64, 1, kCtx);
    ASSERT_EQ(platform->sent().size(), 2u);
    EXPECT_EQ(platform->sent()[1].words, (std::vector<std::uint32_t>{MIDIWords::noteOff(3, 63)}));
    EXPECT_TRUE(tp.voice(0).active) << "an inaudible track plays internally at gain 0";
}

} // namespace
} // namespace velmo
