// The Studio's offline renders and auditions: where a render ends by default, that results and
// failures come back on the main queue and never at once, and that an audition sounds without
// touching the song.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"

#include <gtest/gtest.h>

#include <chrono>
#include <system_error>
#include <thread>

namespace velmo {
namespace {

Project songEndingAt(double clipEnd, bool loop) {
    Project p("Song", 120);
    p.loopEnabled = loop;  // the loop runs from 0 to 16
    Track track(p.makeId("t"), "Lead", 0, SynthPatch());
    track.clips.push_back(Clip{p.makeId("c"), "Clip", 0, clipEnd, CowVector<Note>{{60, 0, 1, 0.8}}});
    p.tracks.push_back(track);
    return p;
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
    EXPECT_EQ(songEndingAt(12, true).renderEnd(), 16.0);
    EXPECT_EQ(songEndingAt(20, true).renderEnd(), 20.0);
    EXPECT_EQ(songEndingAt(12, false).renderEnd(), 12.0);
}

TEST(RenderOperations, OutcomesArriveOnTheMainQueueFromASnapshot) {
    HeadlessMainQueue queue;
    Studio studio(songEndingAt(12, true));
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
    Studio studio(songEndingAt(4, false));
    const Project before = studio.project();
    studio.audition("t1", {{0, 72, 0.9, 0.05}, {0.02, 76, 0.9, 0.05}});
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
