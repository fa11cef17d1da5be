// Compilation of a project into the render form: tempo and loop guards, event lists, solo and
// mute, and MIDI route resolution through a hub on the in-memory MIDI system.
#include "EngineRig.h"
#include "engine/CompiledProject.h"
#include "midi/MIDIHub.h"
#include "support/MemoryMIDIPlatform.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace velmo {
namespace {

using namespace velmo::testing;

TEST(CompiledProject, TempoAndLoopGuards) {
    Project p = projectOf({}, 0);
    p.loopEnabled = true;
    p.loopStart = p.loopEnd = 4;
    CompiledProject c(p);
    EXPECT_EQ(c.tempo, 1.0) << "tempo 0 compiles to 1";
    EXPECT_FALSE(c.loopEnabled) << "a loop of zero span is off";
    EXPECT_EQ(c.songEnd, 0.0);
    p.tempo = -30;
    p.loopEnd = 8;
    CompiledProject c2(p);
    EXPECT_EQ(c2.tempo, 1.0);
    EXPECT_TRUE(c2.loopEnabled);
}

TEST(CompiledProject, NotesAreClippedFilteredAndSortedStably) {
    Project p = projectOf({trackOf("t1", {
        clipOf("c1", 8, 4, {{60, 3.9, 4, 0.5}, {61, 0, 0, 1}, {62, -0.5, 1, 1}, {63, 4, 1, 1}, {64, 1, 1, 1}, {50, 1, 2, 0.3}}),
        clipOf("c2", 0, 2, {{70, 0, 1, 1}, {71, 1.5, 0.25, 1.7}}),
        clipOf("c3", 8, 1, {{40, 1, 1, 1}, {41, 0, 0.5, 1}}), // overlaps c1: notes merge
    })});
    CompiledProject c(p);
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
    EXPECT_EQ(e[1].velocity, 1.7) << "velocity passes unclamped";
    EXPECT_EQ(c.songEnd, 12.0);
}

TEST(CompiledProject, CompilingFromTheLastCompilationEqualsCompilingAfresh) {
    std::vector<Note> many;
    for (int i = 0; i < 2000; ++i) many.push_back({40 + i % 30, i * 0.25, 0.5, 0.8});
    Project p = projectOf({trackOf("t1", {clipOf("c1", 0, 500, many), clipOf("c2", 520, 8, {{60, 1, 1, 1}})}),
                           trackOf("t2", {clipOf("c3", 4, 4, {{50, 0, 1, 1}})})});
    auto shared = [](const EventList& a, const EventList& b) {
        std::set<const void*> chunks;
        for (std::size_t k = 0; k < a.chunkCount(); ++k) chunks.insert(a.chunk(k).get());
        std::size_t n = 0;
        for (std::size_t k = 0; k < b.chunkCount(); ++k) n += chunks.contains(b.chunk(k).get());
        return n;
    };
    // Each edit with how many event chunks of t1 it may remake at most (of 8 for 2000 notes).
    const std::vector<std::pair<std::function<void(Project&)>, std::size_t>> edits{
        {[](Project& q) { q.tracks.mut(0).clips.mut(0).notes.mut(1000).velocity = 0.1; }, 1},
        {[](Project& q) {
             NoteList& notes = q.tracks.mut(0).clips.mut(0).notes;
             notes.mut(5).start = 300.1;  // moved into a full chunk, which splits
             notes.stableSort([](const Note& a, const Note& b) { return a.start < b.start; });
         },
         3},
        {[](Project& q) { q.tracks.mut(0).clips.mut(1).start = 510; }, 1},
        {[](Project& q) { q.tracks.mut(0).clips.mut(0).length = 250; }, 8},  // cuts change everywhere
        {[](Project& q) { q.tracks.mut(0).clips.mut(1).start = 100; }, 9},   // overlapping clips: sorted anew
        {[](Project& q) { q.tracks.erase(0); }, 0},
    };
    CompiledProject last(p);
    for (std::size_t e = 0; e < edits.size(); ++e) {
        edits[e].first(p);
        CompiledProject next(p, nullptr, &last);
        EXPECT_EQ(next, CompiledProject(p)) << "edit " << e;
        if (p.tracks[0].id == "t1") {
            const EventList& before = last.tracks[0].events;
            const EventList& after = next.tracks[0].events;
            EXPECT_GE(shared(before, after) + edits[e].second, after.chunkCount()) << "edit " << e;
        }
        EXPECT_EQ(shared(last.tracks.back().events, next.tracks.back().events), 1u) << "t2 is untouched";
        last = next;
    }
}

TEST(CompiledProject, SoloAndMuteResolve) {
    Track a = trackOf("t1", {}), b = trackOf("t2", {}), d = trackOf("t3", {clipOf("c1", 0, 1, {{60, 0, 1, 1}})});
    b.volumeDb = -12;
    d.volumeDb = -6;
    d.solo = d.mute = true;
    Project p = projectOf({a, b, d});
    for (const auto& t : CompiledProject(p).tracks)
        EXPECT_TRUE(!t.audible && t.gain == 0.0) << t.id << ": a muted soloist silences everyone, itself included";
    EXPECT_EQ(CompiledProject(p).tracks[2].events.size(), 1u) << "a muted track keeps its events";
    p.tracks.mut(2).mute = false;
    CompiledProject soloed(p);
    EXPECT_FALSE(soloed.tracks[0].audible);
    EXPECT_NEAR(soloed.tracks[2].gain, std::pow(10.0, -6.0 / 20.0), 1e-15);
    p.tracks.mut(2).solo = false;
    EXPECT_NEAR(CompiledProject(p).tracks[1].gain, std::pow(10.0, -12.0 / 20.0), 1e-15);
}

TEST(CompiledProject, MIDIRoutesResolveThroughTheHub) {
    auto platform = std::make_shared<MemoryMIDIPlatform>();
    MIDIObjectRef synth = platform->addDestination("Studio Synth");
    auto hub = MIDIHub::create(platform, [](std::function<void()> f) { f(); });
    ASSERT_TRUE(hub);
    Track routed = trackOf("t1", {}), missing = trackOf("t2", {}), virt = trackOf("t3", {}), doubled = trackOf("t4", {});
    routed.midiOut = MIDIRoute{"studio synth", 10, false};
    missing.midiOut = MIDIRoute{"Nothing Here", 1, false};
    virt.midiOut = MIDIRoute{"virtual", 1, false};
    doubled.midiOut = MIDIRoute{"Studio Synth", 2, true};
    Project p = projectOf({routed, missing, virt, doubled});

    CompiledProject c(p, hub.get());
    ASSERT_TRUE(c.tracks[0].midi);
    EXPECT_EQ(*c.tracks[0].midi, (MIDITarget{synth, false, 9}));
    EXPECT_FALSE(c.tracks[0].playInternal) << "the device is there, so the route silences the synth";
    EXPECT_TRUE(!c.tracks[1].midi && c.tracks[1].playInternal) << "a missing device falls back to the internal synth";
    ASSERT_TRUE(c.tracks[2].midi);
    EXPECT_TRUE(c.tracks[2].midi->isVirtual);
    EXPECT_TRUE(c.tracks[3].playInternal);
    for (const auto& t : CompiledProject(p).tracks) EXPECT_TRUE(!t.midi && t.playInternal) << t.id << " without a hub";
}

} // namespace
} // namespace velmo
