// The audio host against a stand-in device: the core's rate, a long callback cut into chunks with
// rising host times, a callback without host time, one output channel, the device's latency in
// MIDI time stamps, and the restart, with the clock thread rendering whenever no device does.
// Then the clock thread itself, as `--audio none` runs it: it keeps the tempo and MIDI time.
#include "EngineRig.h"
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "engine/AudioHost.h"
#include "midi/MIDIWords.h"
#include "support/MemoryMIDIPlatform.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace velmo {
namespace {

using namespace velmo::testing;

// A device the test plugs in and pulls out; the test calls its callback as the device's thread.
struct FakeDevice final : AudioDevice {
    struct State {
        double rate = 48000;
        bool present = true; // whether opening works
        bool alive = false;  // whether the started stream runs
        double latency = 0.02;
        std::shared_ptr<AudioRenderer> renderer;
    };
    std::shared_ptr<State> state = std::make_shared<State>();

    double outputSampleRate() override { return state->rate; }
    std::optional<std::string> open(double, std::shared_ptr<AudioRenderer> renderer) override {
        if (!state->present) return "Fake: no output device found.";
        state->renderer = std::move(renderer);
        return std::nullopt;
    }
    std::optional<std::string> start() override {
        state->alive = true;
        return std::nullopt;
    }
    bool running() override { return state->alive; }
    std::string stopReason() override { return "Fake: the device went away."; }
    double outputLatency() override { return state->latency; }
    void close() override {
        state->alive = false;
        state->renderer.reset();
    }
};

std::pair<std::unique_ptr<AudioDevice>, std::shared_ptr<FakeDevice::State>> fakeDevice() {
    auto device = std::make_unique<FakeDevice>();
    auto state = device->state;
    return {std::move(device), state};
}

std::uint64_t nowNanos() {
    return std::uint64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count());
}

// Time stamps of the note-ons that left for the MIDI destination, in order.
std::vector<std::uint64_t> noteOnTimes(const MemoryMIDIPlatform& platform) {
    std::vector<std::uint64_t> times;
    for (const auto& packet : platform.sent())
        if (!packet.words.empty() && (packet.words[0] & 0xFFF00000u) == MIDIWords::noteOnBase) times.push_back(packet.timeStamp);
    return times;
}

TEST(AudioHost, TheCoreTakesTheDeviceRateOr48000) {
    for (double rate : {0.0, 44100.0, 96000.0}) {
        auto [device, state] = fakeDevice();
        state->rate = rate;
        AudioHost host(std::move(device));
        EXPECT_EQ(host.core().sampleRate(), rate > 0 ? rate : 48000.0) << rate;
    }
    EXPECT_EQ(AudioHost(nullptr).core().sampleRate(), 48000.0);
}

TEST(AudioHost, ALongCallbackRendersInChunksWithRisingTimesOnOneChannel) {
    auto platform = std::make_shared<MemoryMIDIPlatform>();
    platform->addDestination("Synth");
    auto hub = MIDIHub::create(platform, [](std::function<void()>) {});
    auto [device, state] = fakeDevice();
    AudioHost host(std::move(device));
    ASSERT_TRUE(host.running());
    host.attachMIDI(*hub);

    // At 120 BPM and 48 kHz a beat is 24000 frames. Notes inside the first blocks of the chunks
    // of a 20000-frame callback (0, 8192, 16384), one three blocks later, and one in the next
    // callback; a note sounds from the start of its block.
    std::vector<Note> notes;
    for (int frame : {0, 8192 + 16, 16384 + 96 + 16, 30000}) notes.push_back({60, frame / 24000.0, 0.01, 1});
    Project p = projectOf({trackOf("t1", {clipOf("c1", 0, 4, notes)})});
    p.tracks.mut(0).midiOut = MIDIRoute{"Synth", 1, true};
    host.core().send(EngineCommand::load(CompiledProject(p, hub.get())));
    host.core().send(EngineCommand::play());

    // One output channel: exactly the frames of the callback and not one float more, so a write
    // past them (or past the scratch buffer) shows under the address sanitizer.
    std::vector<float> left(20000);
    float* channels[1] = {left.data()};
    const std::uint64_t t0 = 5'000'000'000;
    state->renderer->render(20000, channels, 1, t0);
    state->renderer->render(20000, channels, 1, 0); // no host time from the device
    const std::vector<std::uint64_t> times = noteOnTimes(*platform);
    ASSERT_EQ(times.size(), 4u);
    const auto at = [&](double seconds) { return double(t0) + seconds * 1e9; };
    EXPECT_NEAR(double(times[0]), at(0.02), 2) << "the device's latency is in every stamp";
    EXPECT_NEAR(double(times[1]), at(8192 / 48000.0 + 0.02), 2) << "the second chunk starts later";
    EXPECT_NEAR(double(times[2]), at((16384 + 96) / 48000.0 + 0.02), 2);
    EXPECT_EQ(times[3], 0u) << "without host time the writer sends at once";
    float loudest = 0;
    for (float s : left) loudest = std::max(loudest, std::abs(s));
    EXPECT_GT(loudest, 0.0f) << "the one channel carries the left half";
}

TEST(AudioHost, TheClockRendersWhileNoDeviceDoesAndTheDeviceComesBackByItself) {
    auto [device, state] = fakeDevice();
    state->present = false;
    AudioHost host(std::move(device));
    EXPECT_FALSE(host.running());
    EXPECT_EQ(host.lastError(), "Fake: no output device found.");
    EXPECT_TRUE(host.clockRunning()) << "the transport moves without a device";

    host.restartIfStopped();
    EXPECT_FALSE(host.running());
    state->present = true; // plugged in
    host.restartIfStopped();
    EXPECT_TRUE(host.running());
    EXPECT_EQ(host.lastError(), std::nullopt);
    EXPECT_FALSE(host.clockRunning()) << "never two renderers";

    state->present = false; // pulled out while playing
    state->alive = false;
    host.restartIfStopped();
    EXPECT_FALSE(host.running());
    EXPECT_TRUE(host.lastError().has_value());
    EXPECT_TRUE(host.clockRunning());
    state->present = true;
    host.restartIfStopped();
    EXPECT_TRUE(host.running() && !host.clockRunning() && !host.lastError());
}

// Over many samples of (time, beat), the beat's lead over the tempo line is greatest when the
// sample was taken right after a tick; that greatest lead does not move while the clock keeps time.
double greatestLead(EngineCore& core, std::uint64_t origin, double beatsPerSecond, std::chrono::milliseconds window) {
    double lead = -1e9;
    for (auto end = std::chrono::steady_clock::now() + window; std::chrono::steady_clock::now() < end;) {
        const double beat = core.status().beat;
        const double seconds = double(nowNanos() - origin) / 1e9;
        lead = std::max(lead, beat - seconds * beatsPerSecond);
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    return lead;
}

TEST(AudioHost, WithoutADeviceTheClockKeepsTempoAndMIDITime) {
    auto platform = std::make_shared<MemoryMIDIPlatform>();
    platform->addDestination("Synth");
    Project p = projectOf({trackOf("t1", {clipOf("c1", 0, 16, {{60, 1, 0.5, 1}, {62, 3, 0.5, 1}})})});
    p.tracks.mut(0).midiOut = MIDIRoute{"Synth", 1, false};
    HeadlessMainQueue queue;
    Studio studio(p, std::make_unique<AudioHost>(nullptr), queue);
    ASSERT_TRUE(studio.startMIDI(platform, [&](std::function<void()> f) { queue.post(std::move(f)); }));
    ASSERT_TRUE(studio.host()->clockRunning());

    const std::uint64_t sentAt = nowNanos();
    studio.play(0.0);
    constexpr double beatsPerSecond = 2; // 120 BPM
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const double early = greatestLead(studio.core(), sentAt, beatsPerSecond, std::chrono::milliseconds(200));
    std::this_thread::sleep_for(std::chrono::milliseconds(1800));
    const double late = greatestLead(studio.core(), sentAt, beatsPerSecond, std::chrono::milliseconds(200));
    EXPECT_NEAR(late - early, 0, 0.01 * 2.0 * beatsPerSecond) << "the beat follows the tempo within 1% over 2 s";

    const std::vector<std::uint64_t> times = noteOnTimes(*platform);
    ASSERT_EQ(times.size(), 2u);
    EXPECT_NEAR(double(times[1] - times[0]), 1e9, 1e6) << "two beats apart at 120 BPM, to the block";
    EXPECT_NEAR(double(times[0]) - double(sentAt), 0.5e9, 30e6) << "beat 1 leaves half a second after play";

    // The status timer brings the playhead into the live state.
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (studio.live().beat < 4 && std::chrono::steady_clock::now() < giveUp) {
        queue.poll();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_GE(studio.live().beat, 4.0);
    EXPECT_TRUE(studio.live().isPlaying);
}

} // namespace
} // namespace velmo
