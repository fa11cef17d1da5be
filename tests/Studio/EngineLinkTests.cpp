// The Studio's link to its engine core: every committed edit reaches the core and a no-op edit
// does not, the transport and live-note operations, the status poll, MIDI through the in-memory
// MIDI system; offline renders (default end, outcomes on the main queue and never at once) and
// auditions that sound without touching the song.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "midi/MIDIWords.h"
#include "support/MemoryMIDIPlatform.h"

#include <gtest/gtest.h>

#include <chrono>
#include <system_error>
#include <thread>


namespace velmo {
namespace {

// t1 with c2, a clip of `clipEnd` beats; the loop runs from 0 to 16.
Project song(double clipEnd = 4, bool loop = false) {
    Project p("Song", 120);
    p.loopEnabled = loop;
    Track track(p.makeId("t"), "Lead", 0, SynthPatch());
    track.clips.push_back(Clip{p.makeId("c"), "Clip", 0, clipEnd, NoteList{{60, 0, 4, 0.8}}});
    p.tracks.push_back(track);
    return p;
}

// The voice of the track that sounds `pitch`, started last.
const Voice* voiceOf(Studio& studio, int pitch) {
    const Voice* found = nullptr;
    for (int i = 0; i < TrackProcessor::voiceCount; ++i) {
        const Voice& v = studio.core().track("t1")->voice(i);
        if (v.active && v.pitch == pitch && (!found || v.startOrder > found->startOrder)) found = &v;
    }
    return found;
}

// Carries out what the Studio sent, as the audio thread would at its next callback.
void applyCommands(Studio& studio) { studio.core().render(0, nullptr, nullptr, 0); }

void renderCore(Studio& studio, int frames) {
    std::vector<float> l(static_cast<std::size_t>(frames)), r(static_cast<std::size_t>(frames));
    studio.core().render(frames, l.data(), r.data(), 0);
}

TEST(EngineLink, EveryCommittedEditReachesTheCoreAndANoOpDoesNot) {
    Studio studio(song());
    applyCommands(studio);
    ASSERT_NE(studio.core().track("t1"), nullptr) << "the constructor compiles and loads";
    EXPECT_EQ(studio.core().sampleRate(), 48000);

    studio.play();
    renderCore(studio, 4096);
    ASSERT_GT(studio.core().status().trackPeaks.at(0), 0.0f);
    studio.mutate([](Project& p) { p.tempo = 120; }); // changes nothing
    applyCommands(studio);
    EXPECT_GT(studio.core().status().trackPeaks.at(0), 0.0f) << "a no-op edit posts no load (a load zeroes the peaks)";

    std::string added = studio.mutate([](Project& p) {
        Track t(p.makeId("t"), "Bass", 1, SynthPatch());
        p.tracks.push_back(t);
        return t.id;
    });
    applyCommands(studio);
    EXPECT_NE(studio.core().track(added), nullptr);
    EXPECT_EQ(studio.core().status().trackIDs, (std::vector<std::string>{"t1", added}));
    studio.undo();
    applyCommands(studio);
    EXPECT_EQ(studio.core().track(added), nullptr) << "undo reaches the core too";
    studio.redo();
    applyCommands(studio);
    EXPECT_NE(studio.core().track(added), nullptr);
}

TEST(EngineLink, TransportAndLiveNotes) {
    Studio studio(song());
    studio.seek(2.5);
    EXPECT_EQ(studio.live().beat, 2.5) << "the display follows before the next poll";
    applyCommands(studio);
    EXPECT_EQ(studio.core().beat(), 2.5);
    studio.play(0.0);
    EXPECT_TRUE(studio.live().isPlaying);
    applyCommands(studio);
    EXPECT_TRUE(studio.core().playing());
    EXPECT_EQ(studio.core().beat(), 0.0);
    renderCore(studio, 48000); // one second: two beats at 120 BPM
    studio.poll();
    EXPECT_NEAR(studio.live().beat, 2.0, 1e-9);
    EXPECT_GT(studio.live().masterLevel, 0.0f);
    EXPECT_EQ(studio.live().trackLevels.count("t1"), 1u);
    EXPECT_EQ(studio.live().scope.size(), EngineStatus::scopeSize);
    studio.togglePlay();
    EXPECT_FALSE(studio.live().isPlaying);
    applyCommands(studio);
    EXPECT_FALSE(studio.core().playing());
    EXPECT_NEAR(studio.core().beat(), 2.0, 1e-9) << "stop leaves the playhead";

    studio.mutate([](Project& p) {
        p.loopEnabled = true;
        p.loopStart = 3;
    });
    studio.returnToStart();
    EXPECT_EQ(studio.live().beat, 3.0);
    EXPECT_FALSE(studio.anyMutedOrSoloed());
    studio.mutate([](Project& p) { p.tracks.mut(0).solo = true; });
    EXPECT_TRUE(studio.anyMutedOrSoloed());

    studio.noteOn("t1", 64, 1);
    studio.noteOn("t1", 67, 1);
    applyCommands(studio);
    const Voice* v64 = voiceOf(studio, 64);
    ASSERT_NE(v64, nullptr);
    EXPECT_FALSE(v64->released);
    studio.noteOff("t1", 64);
    applyCommands(studio);
    EXPECT_TRUE(v64->released);
    EXPECT_EQ(studio.live().heldPitches.at("t1"), (std::set<int>{67}));
    studio.noteOff("t1", 67);
    EXPECT_TRUE(studio.live().heldPitches.at("t1").empty()) << "the emptied set stays";
    studio.noteOn("t1", 70, 1);
    applyCommands(studio);
    const Voice* v70 = voiceOf(studio, 70);
    ASSERT_NE(v70, nullptr);
    studio.releaseLiveNotes();
    applyCommands(studio);
    EXPECT_TRUE(studio.live().heldPitches.empty());
    EXPECT_TRUE(v70->released);
    studio.noteOn("t1", 72, 1);
    studio.panic();
    applyCommands(studio);
    EXPECT_TRUE(studio.live().heldPitches.empty());
    EXPECT_EQ(voiceOf(studio, 72), nullptr) << "panic stops every voice at once";
}

TEST(EngineLink, MIDIRoutesFollowDevicesAndInputPlaysTheSelectedTrack) {
    auto platform = std::make_shared<MemoryMIDIPlatform>();
    MIDIObjectRef synth = platform->addDestination("Synth");
    MIDIObjectRef keys = platform->addSource("Keys");
    HeadlessMainQueue queue;
    auto runMain = [&] { queue.poll(); };

    Project p = song();
    p.tracks.mut(0).midiOut = MIDIRoute{"synth", 2, false};
    Studio studio(p);
    ASSERT_TRUE(studio.startMIDI(platform, [&](std::function<void()> f) { queue.post(std::move(f)); }));
    ASSERT_EQ(studio.midiDestinations().size(), 2u);
    EXPECT_TRUE(studio.midiDestinations()[0].isVirtual);
    EXPECT_EQ(studio.midiInputs(), std::vector<std::string>{"Keys"});

    studio.noteOn("t1", 60, 1);
    applyCommands(studio);
    EXPECT_FALSE(studio.core().track("t1")->voice(0).active) << "the route resolved: the synth is silent";
    auto sent = platform->sent();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].endpoint, synth);
    EXPECT_EQ(sent[0].words, std::vector<std::uint32_t>{MIDIWords::noteOn(1, 60, 1)});

    // A new route ends the note held on the old one.
    studio.mutate([](Project& p) { p.tracks.mut(0).midiOut->channel = 3; });
    applyCommands(studio);
    sent = platform->sent();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1].words, std::vector<std::uint32_t>{MIDIWords::noteOff(1, 60)});

    // Unplugging the device brings the synth back with no edit; the note-off of the held note
    // goes to the vanished endpoint.
    studio.noteOn("t1", 61, 1);
    applyCommands(studio);
    platform->removeEndpoint(synth);
    runMain();
    applyCommands(studio);
    EXPECT_EQ(studio.midiDestinations().size(), 1u);
    EXPECT_EQ(platform->droppedSends(), 1u);
    studio.noteOn("t1", 62, 1);
    applyCommands(studio);
    EXPECT_TRUE(studio.core().track("t1")->voice(0).active);

    // A controller plays the selected track; velocity 0 ends the note.
    std::uint32_t on = MIDIWords::noteOn(0, 50, 1), off = MIDIWords::noteOnBase | MIDIWords::pitchBits(50);
    platform->emit(keys, std::span(&on, 1));
    runMain();
    EXPECT_EQ(studio.live().heldPitches.at("t1").count(50), 1u);
    platform->emit(keys, std::span(&off, 1));
    runMain();
    EXPECT_EQ(studio.live().heldPitches.at("t1").count(50), 0u);
    studio.mutate([](Project& p) { p.tracks.erase(0); });
    platform->emit(keys, std::span(&on, 1));
    runMain();
    EXPECT_EQ(studio.live().heldPitches.at("t1").count(50), 0u) << "with no selected track the note is dropped";
}

// Serves the queue until `outcome` is there.
void serveUntil(HeadlessMainQueue& queue, const std::optional<Studio::RenderOutcome>& outcome) {
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!outcome && std::chrono::steady_clock::now() < giveUp)
        if (queue.poll() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    ASSERT_TRUE(outcome) << "the render never answered";
}

TEST(RenderOperations, DefaultEndIsTheLaterOfSongEndAndLoopEnd) {
    Project empty("Empty", 120);
    empty.loopEnabled = false;
    EXPECT_EQ(empty.renderEnd(), 0.0);
    EXPECT_EQ(song(12, true).renderEnd(), 16.0);
    EXPECT_EQ(song(20, true).renderEnd(), 20.0);
    EXPECT_EQ(song(12, false).renderEnd(), 12.0);
}

TEST(RenderOperations, OutcomesArriveOnTheMainQueueFromASnapshot) {
    HeadlessMainQueue queue;
    Studio studio(song(12, true));
    const auto mainThread = std::this_thread::get_id();

    std::optional<Studio::RenderOutcome> analysis;
    std::thread::id deliveredOn;
    studio.analyze(-3, std::nullopt, queue, [&](Studio::RenderOutcome o) {
        deliveredOn = std::this_thread::get_id();
        analysis = std::move(o);
    });
    EXPECT_FALSE(analysis) << "never before the call returns";
    studio.mutate([](Project& p) { p.tempo = 60; });  // after the snapshot: the render keeps 120 BPM
    serveUntil(queue, analysis);
    EXPECT_EQ(deliveredOn, mainThread);
    ASSERT_TRUE(std::holds_alternative<MixAnalysis>(*analysis));
    EXPECT_NEAR(std::get<MixAnalysis>(*analysis).seconds, 16 * 0.5 + 0.5, 1e-3) << "from beat 0 to the loop end";
    EXPECT_GT(std::get<MixAnalysis>(*analysis).peakDb, -60);

    std::optional<Studio::RenderOutcome> failed;
    studio.exportAudio("/nonexistent-velmo-folder/out.wav", 0, 1, 0, queue, [&](Studio::RenderOutcome o) {
        deliveredOn = std::this_thread::get_id();
        failed = std::move(o);
    });
    EXPECT_FALSE(failed);
    serveUntil(queue, failed);
    EXPECT_EQ(deliveredOn, mainThread);
    ASSERT_TRUE(std::holds_alternative<std::exception_ptr>(*failed));
    EXPECT_THROW(std::rethrow_exception(std::get<std::exception_ptr>(*failed)), std::system_error);
    EXPECT_EQ(studio.rendersRunning(), 0u);
}

TEST(RenderOperations, AnAuditionSoundsWhileStoppedAndIsNoEdit) {
    Studio studio(song(4, false));
    const Project before = studio.project();
    studio.audition("t1", {{0, 72, 0.9, 0.05}, {0.02, 76, 0.9, 0.05}});
    applyCommands(studio);
    EXPECT_EQ(studio.core().auditionCount(), 2u);
    EXPECT_FALSE(studio.core().playing());

    std::vector<float> left(4800), right(4800);
    studio.core().render(4800, left.data(), right.data(), 0);
    float loudest = 0;
    for (float s : left) loudest = std::max(loudest, std::abs(s));
    EXPECT_GT(loudest, 0.01f);
    EXPECT_EQ(studio.project(), before);
    EXPECT_FALSE(studio.canUndo());
}

} // namespace
} // namespace velmo
