// The hub on the real ALSA sequencer, met by a second sequencer client of the test's own: a synth
// port Velmo finds by part of its name and plays, and a keyboard port whose notes reach the hub.
// Without /dev/snd/seq (containers, CI) the hub is absent, which is what the MIDI tools report.
#include "midi/AlsaMIDIPlatform.h"
#include "midi/MIDIHub.h"

#include <alsa/asoundlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace velmo {
namespace {

bool haveSequencer() { return ::access(AlsaMIDIPlatform::devicePath, R_OK | W_OK) == 0; }

TEST(AlsaMIDIPlatform, WithoutASequencerThereIsNoHub) {
    if (haveSequencer()) GTEST_SKIP() << "this machine has " << AlsaMIDIPlatform::devicePath;
    EXPECT_EQ(MIDIHub::create(std::make_shared<AlsaMIDIPlatform>(), [](std::function<void()> f) { f(); }), nullptr);
}

TEST(AlsaMIDIPlatform, PlaysAnExternalSynthAndHearsAKeyboard) {
    if (!haveSequencer()) GTEST_SKIP() << "no " << AlsaMIDIPlatform::devicePath << " (no snd-seq module here)";
    snd_seq_t* other = nullptr;
    ASSERT_GE(snd_seq_open(&other, "default", SND_SEQ_OPEN_DUPLEX, 0), 0);
    snd_seq_set_client_name(other, "Velmo Test Gear");
    const int synth = snd_seq_create_simple_port(other, "Test Synth", SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE,
                                                 SND_SEQ_PORT_TYPE_MIDI_GENERIC);
    const int keys = snd_seq_create_simple_port(other, "Test Keys", SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ,
                                                SND_SEQ_PORT_TYPE_MIDI_GENERIC);

    std::mutex mutex;
    std::vector<std::function<void()>> posted;
    auto hub = MIDIHub::create(std::make_shared<AlsaMIDIPlatform>(), [&](std::function<void()> f) {
        std::lock_guard lock(mutex);
        posted.push_back(std::move(f));
    });
    ASSERT_NE(hub, nullptr);
    std::vector<std::pair<int, double>> heard;
    hub->onNoteInput = [&](int pitch, double velocity) { heard.emplace_back(pitch, velocity); };
    EXPECT_EQ(hub->destinations().front().name, "Velmo Virtual Out");

    const auto destination = hub->resolve("test synth");
    ASSERT_TRUE(destination.has_value()) << "found by part of its name, in any case";
    EXPECT_EQ(destination->name, "Velmo Test Gear: Test Synth");
    const auto inputs = hub->inputNames();
    EXPECT_NE(std::find(inputs.begin(), inputs.end(), "Velmo Test Gear: Test Keys"), inputs.end())
        << "Velmo In listens to every source";

    // Velmo plays the synth on channel 3, 50 ms from now.
    MIDISender sender = hub->makeSender();
    const auto sentAt = std::chrono::steady_clock::now();
    sender.setTime(std::uint64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                     (sentAt + std::chrono::milliseconds(50)).time_since_epoch())
                                     .count()));
    sender.noteOn({destination->endpoint, false, 2}, 64, 0.5);
    snd_seq_event_t* ev = nullptr;
    ASSERT_GE(snd_seq_event_input(other, &ev), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - sentAt, std::chrono::milliseconds(45)) << "held until its time stamp";
    EXPECT_EQ(ev->type, SND_SEQ_EVENT_NOTEON);
    EXPECT_EQ(ev->dest.port, synth);
    EXPECT_EQ(ev->data.note.channel, 2);
    EXPECT_EQ(ev->data.note.note, 64);
    EXPECT_EQ(ev->data.note.velocity, 64);

    // The keyboard plays a note and lets it go with a note on of velocity 0.
    for (int velocity : {127, 0}) {
        snd_seq_event_t out;
        snd_seq_ev_clear(&out);
        snd_seq_ev_set_source(&out, keys);
        snd_seq_ev_set_subs(&out);
        snd_seq_ev_set_direct(&out);
        snd_seq_ev_set_noteon(&out, 9, 60, velocity);
        snd_seq_event_output_direct(other, &out);
    }
    for (auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
         heard.size() < 2 && std::chrono::steady_clock::now() < end;) {
        std::vector<std::function<void()>> tasks;
        {
            std::lock_guard lock(mutex);
            tasks.swap(posted);
        }
        for (auto& task : tasks) task();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(heard, (std::vector<std::pair<int, double>>{{60, 1.0}, {60, 0.0}}));
    hub.reset();
    snd_seq_close(other);
}

} // namespace
} // namespace velmo
