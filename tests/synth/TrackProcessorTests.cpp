// Voice allocation and note bookkeeping of one track: stealing order, poly limits, retrigger,
// mono and legato stacks, MIDI output, and what a load keeps.
#include "midi/MIDIHub.h"
#include "midi/MIDIWords.h"
#include "midi/MemoryMIDIPlatform.h"
#include "synth/TrackProcessor.h"

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
    t->events = std::move(events);
    return t;
}

SynthPatch polyPatch(double polyphony) {
    SynthPatch p;
    p.voice.polyphony = polyphony;
    return p;
}

struct Fixture {
    explicit Fixture(const SynthPatch& patch) : tp("t1", patch) { tp.load(compiled(patch), kCtx, 0); }

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
        Fixture f(polyPatch(2));
        f.tp.noteOn(60, 1, kCtx);
        f.tp.noteOn(62, 1, kCtx);
        f.tp.noteOn(64, 1, kCtx);
        EXPECT_EQ(f.tp.voice(0).pitch, 64) << "the third note takes the oldest voice";
        EXPECT_EQ(f.tp.voice(1).pitch, 62);
        EXPECT_EQ(f.activeVoices(), 2);
    }
    {
        // The quietest released voice goes first: before an older released one and before the
        // oldest held one.
        Fixture f(polyPatch(3));
        f.tp.noteOn(60, 1, kCtx);
        auto b = f.tp.noteOn(62, 1, kCtx);
        auto c = f.tp.noteOn(64, 1, kCtx);
        f.run(300); // well into sustain
        f.tp.noteOff(c);
        f.run(100);
        f.tp.noteOff(b);
        f.run(1);
        ASSERT_TRUE(f.tp.voice(2).active);
        ASSERT_LT(f.tp.voice(2).ampEnv.value, f.tp.voice(1).ampEnv.value);
        f.tp.noteOn(65, 1, kCtx);
        EXPECT_EQ(f.tp.voice(2).pitch, 65);
        EXPECT_FALSE(f.tp.voice(2).released);
        EXPECT_TRUE(f.tp.voice(0).pitch == 60 && f.tp.voice(1).pitch == 62);
    }
    // Polyphony is clamped to 1..16 and truncated.
    for (auto [polyphony, voices] : std::vector<std::pair<double, int>>{{0, 1}, {-3, 1}, {2.9, 2}, {100, 16}}) {
        Fixture f(polyPatch(polyphony));
        for (int i = 0; i < 20; ++i) f.tp.noteOn(40 + i, 1, kCtx);
        EXPECT_EQ(f.activeVoices(), voices) << "polyphony " << polyphony;
    }
}

TEST(TrackProcessor, DrumsUseEveryVoiceAndHatsChokeOpenHats) {
    SynthPatch p;
    p.engine = EngineKind::drums;
    p.voice.mode = VoiceMode::legato;
    p.voice.polyphony = 2;
    {
        Fixture f(p);
        for (int i = 0; i < 16; ++i) f.tp.noteOn(36, 1, kCtx);
        EXPECT_EQ(f.activeVoices(), 16) << "sixteen voices, whatever the patch's mode and polyphony say";
        for (int i = 0; i < 16; ++i) EXPECT_FALSE(f.tp.voice(i).released) << "no same-pitch release on drums, voice " << i;
        f.tp.noteOn(38, 1, kCtx);
        EXPECT_EQ(f.tp.voice(0).pitch, 38) << "the seventeenth hit takes the oldest voice";
    }
    Fixture f(p);
    f.tp.noteOn(46, 1, kCtx); // open hat, voice 0
    f.tp.noteOn(36, 1, kCtx); // kick, voice 1
    f.run(2);
    EXPECT_FALSE(f.tp.voice(0).drum.choking);
    f.tp.noteOn(42, 1, kCtx); // closed hat takes a voice of its own
    EXPECT_TRUE(f.tp.voice(0).drum.choking) << "the open hat is choked";
    EXPECT_FALSE(f.tp.voice(1).drum.choking) << "the kick is not";
    f.run(60); // x0.996 per sample falls below 0.001 after about 1,724 samples
    EXPECT_FALSE(f.tp.voice(0).active) << "the choked hat ends";

    f.tp.noteOn(46, 1, kCtx);
    f.tp.noteOn(44, 1, kCtx); // pedal hat
    bool choked = false;
    for (int i = 0; i < TrackProcessor::voiceCount; ++i)
        choked |= f.tp.voice(i).active && f.tp.voice(i).pitch == 46 && f.tp.voice(i).drum.choking;
    EXPECT_TRUE(choked) << "a pedal hat chokes too";
}

TEST(TrackProcessor, PolyRetriggerLeavesTheOldVoiceInRelease) {
    Fixture f(polyPatch(8));
    auto first = f.tp.noteOn(60, 1, kCtx);
    f.tp.noteOn(60, 1, kCtx);
    EXPECT_TRUE(f.tp.voice(0).released);
    EXPECT_FALSE(f.tp.voice(1).released);
    EXPECT_EQ(f.tp.voice(1).pitch, 60);
    // Ending the first tag again touches nothing: that note is already in release.
    f.tp.noteOff(first);
    EXPECT_FALSE(f.tp.voice(1).released);
    f.tp.noteOffPitch(60);
    EXPECT_TRUE(f.tp.voice(1).released);
}

TEST(TrackProcessor, LegatoTiesAndReturnsWithoutRetrigger) {
    SynthPatch p;
    p.voice.mode = VoiceMode::legato;
    Fixture f(p);
    auto a = f.tp.noteOn(60, 0.8, kCtx);
    f.run(100);
    const Voice& v = f.tp.voice(0);
    auto stage = v.ampEnv.stage;
    ASSERT_NE(stage, ADSR::Stage::attack);
    auto b = f.tp.noteOn(64, 0.3, kCtx);
    EXPECT_EQ(v.pitch, 64);
    EXPECT_EQ(v.tag, b);
    EXPECT_EQ(v.ampEnv.stage, stage) << "a tied note does not restart the envelope";
    EXPECT_EQ(v.velocity, 0.8) << "the velocity stays that of the first note";

    f.tp.noteOff(b);
    EXPECT_EQ(v.pitch, 60) << "back to the held note";
    EXPECT_EQ(v.tag, a);
    EXPECT_FALSE(v.released);
    f.tp.noteOff(a);
    EXPECT_TRUE(v.released);
    EXPECT_TRUE(f.tp.monoStack().empty());

    // Ending the earlier note while a later one holds only drops it from the stack.
    f.run(400);
    auto c = f.tp.noteOn(60, 1, kCtx);
    auto d = f.tp.noteOn(67, 1, kCtx);
    f.tp.noteOff(c);
    EXPECT_EQ(v.pitch, 67);
    EXPECT_FALSE(v.released);
    ASSERT_EQ(f.tp.monoStack().size(), 1u);
    EXPECT_EQ(f.tp.monoStack()[0].tag, d);
}

TEST(TrackProcessor, MonoRetriggersOnNewNotesButNotOnReturn) {
    SynthPatch p;
    p.voice.mode = VoiceMode::mono;
    Fixture f(p);
    auto a = f.tp.noteOn(60, 1, kCtx);
    f.run(100);
    const Voice& v = f.tp.voice(0);
    auto b = f.tp.noteOn(64, 1, kCtx);
    EXPECT_EQ(v.ampEnv.stage, ADSR::Stage::attack) << "mono retriggers at every new note";
    EXPECT_EQ(v.tag, b);
    f.run(100);
    auto stage = v.ampEnv.stage;
    ASSERT_NE(stage, ADSR::Stage::attack);
    f.tp.noteOff(b);
    EXPECT_EQ(v.pitch, 60);
    EXPECT_EQ(v.tag, a);
    EXPECT_EQ(v.ampEnv.stage, stage) << "the return to a held note does not retrigger";
    f.tp.noteOffPitch(60);
    EXPECT_TRUE(v.released);
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
    EXPECT_TRUE(f.tp.voice(0).released);
    EXPECT_FALSE(f.tp.voice(1).released);
}

TEST(TrackProcessor, LoadKeepsVoicesUnlessEngineOrModeChanges) {
    SynthPatch p;
    Fixture f(p);
    f.tp.noteOn(60, 1, kCtx);
    f.tp.noteOn(64, 1, kCtx);
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
    f.tp.noteOn(60, 1, kCtx);
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
