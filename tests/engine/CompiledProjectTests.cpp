// Compilation of a project into the render form: levels, solo and mute, event lists, loop and
// tempo guards, and MIDI route resolution through a hub on the in-memory MIDI system.
#include "engine/CompiledProject.h"
#include "midi/MIDIHub.h"
#include "midi/MemoryMIDIPlatform.h"

#include <gtest/gtest.h>

#include <cmath>

namespace velmo {
namespace {

Track makeTrack(std::string id, std::vector<Clip> clips = {}) {
    Track t(id, "Track " + id, 0, SynthPatch{});
    for (auto& c : clips) t.clips.push_back(c);
    return t;
}

Clip makeClip(std::string id, double start, double length, std::vector<Note> notes) {
    Clip c;
    c.id = std::move(id);
    c.start = start;
    c.length = length;
    for (auto& n : notes) c.notes.push_back(n);
    return c;
}

TEST(CompiledProject, ProjectLevelValues) {
    Project p("Empty", 0);
    p.masterVolumeDb = -6;
    p.loopEnabled = true;
    p.loopStart = 4;
    p.loopEnd = 4;
    CompiledProject c(p);
    EXPECT_TRUE(c.tracks.empty());
    EXPECT_EQ(c.songEnd, 0.0);
    EXPECT_EQ(c.tempo, 1.0) << "tempo 0 compiles to 1";
    EXPECT_NEAR(c.masterGain, std::pow(10.0, -6.0 / 20.0), 1e-15);
    EXPECT_FALSE(c.loopEnabled) << "a loop of zero span is off";
    EXPECT_EQ(c.loopStart, 4.0);
    EXPECT_EQ(c.loopEnd, 4.0);

    p.tempo = -30;
    p.loopEnd = 8;
    CompiledProject c2(p);
    EXPECT_EQ(c2.tempo, 1.0);
    EXPECT_TRUE(c2.loopEnabled);
    p.loopEnabled = false;
    EXPECT_FALSE(CompiledProject(p).loopEnabled);
}

TEST(CompiledProject, NotesAreClippedFilteredAndSortedStably) {
    Project p("Notes", 120);
    Track t = makeTrack("t1", {
        makeClip("c1", 8, 4, {{60, 3.9, 4, 0.5}, {61, 0, 0, 1}, {62, -0.5, 1, 1}, {63, 4, 1, 1}, {64, 1, 1, 1}, {50, 1, 2, 0.3}}),
        makeClip("c2", 0, 2, {{70, 0, 1, 1}, {71, 1.5, 0.25, 1.7}}),
        makeClip("c3", 8, 1, {{40, 1, 1, 1}, {41, 0, 0.5, 1}}), // overlaps c1: notes merge
    });
    p.tracks.push_back(t);
    CompiledProject c(p);
    ASSERT_EQ(c.tracks.size(), 1u);
    const auto& e = c.tracks[0].events;
    ASSERT_EQ(e.size(), 7u) << "notes at -0.5 and at the clip length are dropped";
    // Stable by beat only: c2 first (beats 0, 1.5), then beat 8 from c1 (61) before c3 (41),
    // then 64 and 50 on beat 9 in stored order, then 11.9.
    std::vector<int> pitches;
    for (const auto& ev : e) pitches.push_back(ev.pitch);
    EXPECT_EQ(pitches, (std::vector<int>{70, 71, 61, 41, 64, 50, 60}));
    EXPECT_NEAR(e[6].beat, 11.9, 1e-12);
    EXPECT_NEAR(e[6].duration, 0.1, 1e-12) << "cut at the clip's end";
    EXPECT_EQ(e[2].duration, 0.01) << "a zero-length note still sounds";
    EXPECT_EQ(e[1].duration, 0.25);
    EXPECT_EQ(e[1].velocity, 1.7) << "velocity passes unclamped";
    EXPECT_EQ(c.songEnd, 12.0);
}

TEST(CompiledProject, SoloAndMuteResolve) {
    Project p("Mix", 120);
    Track a = makeTrack("t1"), b = makeTrack("t2"), d = makeTrack("t3", {makeClip("c1", 0, 1, {{60, 0, 1, 1}})});
    a.volumeDb = 0;
    b.volumeDb = -12;
    d.solo = true;
    d.mute = true;
    p.tracks.push_back(a);
    p.tracks.push_back(b);
    p.tracks.push_back(d);
    CompiledProject c(p);
    for (const auto& t : c.tracks) {
        EXPECT_FALSE(t.audible) << t.id << ": a muted soloist silences everyone, itself included";
        EXPECT_EQ(t.gain, 0.0) << t.id;
    }
    EXPECT_EQ(c.tracks[2].events.size(), 1u) << "a muted track keeps its events";

    p.tracks.mut(2).mute = false;
    CompiledProject c2(p);
    EXPECT_FALSE(c2.tracks[0].audible);
    EXPECT_TRUE(c2.tracks[2].audible);
    EXPECT_NEAR(c2.tracks[2].gain, std::pow(10.0, -6.0 / 20.0), 1e-15);

    p.tracks.mut(2).solo = false;
    CompiledProject c3(p);
    EXPECT_EQ(c3.tracks[0].gain, 1.0);
    EXPECT_NEAR(c3.tracks[1].gain, std::pow(10.0, -12.0 / 20.0), 1e-15);
}

TEST(CompiledProject, MIDIRoutesResolveThroughTheHub) {
    auto platform = std::make_shared<MemoryMIDIPlatform>();
    MIDIObjectRef synth = platform->addDestination("Studio Synth");
    auto hub = MIDIHub::create(platform, [](std::function<void()> f) { f(); });
    ASSERT_TRUE(hub);

    Project p("Routes", 120);
    Track routed = makeTrack("t1"), missing = makeTrack("t2"), virt = makeTrack("t3"), doubled = makeTrack("t4");
    routed.midiOut = MIDIRoute{"studio synth", 10, false};
    missing.midiOut = MIDIRoute{"Nothing Here", 1, false};
    virt.midiOut = MIDIRoute{"virtual", 1, false};
    doubled.midiOut = MIDIRoute{"Studio Synth", 2, true};
    for (auto* t : {&routed, &missing, &virt, &doubled}) p.tracks.push_back(*t);

    CompiledProject c(p, hub.get());
    ASSERT_TRUE(c.tracks[0].midi);
    EXPECT_EQ(*c.tracks[0].midi, (MIDITarget{synth, false, 9}));
    EXPECT_FALSE(c.tracks[0].playInternal) << "the device is there, so the route silences the synth";
    EXPECT_FALSE(c.tracks[1].midi);
    EXPECT_TRUE(c.tracks[1].playInternal) << "a missing device falls back to the internal synth";
    ASSERT_TRUE(c.tracks[2].midi);
    EXPECT_TRUE(c.tracks[2].midi->isVirtual);
    EXPECT_TRUE(c.tracks[3].playInternal);

    CompiledProject headless(p);
    for (const auto& t : headless.tracks) {
        EXPECT_FALSE(t.midi) << t.id;
        EXPECT_TRUE(t.playInternal) << t.id;
    }
}

} // namespace
} // namespace velmo
