#include "midi/MIDIHub.h"
#include "midi/MIDIWords.h"
#include "support/MemoryMIDIPlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <unordered_set>

using namespace velmo;

namespace {

// A main queue the test drains by hand, so every hop from a platform callback is visible.
struct HubTest : ::testing::Test {
    std::shared_ptr<MemoryMIDIPlatform> platform = std::make_shared<MemoryMIDIPlatform>();
    std::vector<std::function<void()>> mainQueue;
    MainQueuePost post = [this](std::function<void()> task) { mainQueue.push_back(std::move(task)); };
    int changes = 0;
    std::vector<std::pair<int, double>> notes;

    std::shared_ptr<MIDIHub> makeHub() {
        auto hub = MIDIHub::create(platform, post);
        if (hub) {
            hub->onChange = [this] { ++changes; };
            hub->onNoteInput = [this](int pitch, double velocity) { notes.emplace_back(pitch, velocity); };
        }
        return hub;
    }

    void runMain() {
        while (!mainQueue.empty()) {
            auto tasks = std::move(mainQueue);
            mainQueue.clear();
            for (auto& task : tasks) task();
        }
    }
};

} // namespace

TEST_F(HubTest, CreatesNamedObjectsAndDisposesThem) {
    auto hub = makeHub();
    ASSERT_TRUE(hub);
    EXPECT_EQ(platform->objectName(hub->client()), "Velmo");
    EXPECT_EQ(platform->objectName(hub->port()), "Velmo Out");
    EXPECT_EQ(platform->objectName(hub->virtualSource()), "Velmo Virtual Out");
    EXPECT_EQ(platform->objectName(hub->inPort()), "Velmo In");
    EXPECT_EQ(hub->destinations(), (std::vector<MIDIDestination>{{"Velmo Virtual Out", true, hub->virtualSource()}}))
        << "with no hardware the list holds the virtual source alone";

    MIDIObjectRef virtualSource = hub->virtualSource();
    hub.reset();
    EXPECT_EQ(platform->clientCount(), 0u);
    EXPECT_FALSE(platform->exists(virtualSource));
    runMain();  // a setup change queued for a hub that is gone does nothing

    platform->failClientCreation = true;
    EXPECT_EQ(MIDIHub::create(platform, post), nullptr);
}

TEST_F(HubTest, DestinationsSkipVanishedEntriesAndNameTheUnnamed) {
    platform->addDestination("Synth A");
    platform->addVanishedDestination();
    MIDIObjectRef unnamed = platform->addDestination(std::nullopt);
    auto hub = makeHub();
    auto list = hub->destinations();
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[1], (MIDIDestination{"Synth A", false, list[1].endpoint}));
    EXPECT_EQ(list[2], (MIDIDestination{"MIDI " + std::to_string(unnamed), false, unnamed}));
    EXPECT_EQ(std::unordered_set<MIDIDestination>(list.begin(), list.end()).size(), 3u);
}

TEST_F(HubTest, ResolveTriesExactThenCaseThenContains) {
    MIDIObjectRef lowerFirst = platform->addDestination("synth port");
    MIDIObjectRef exact = platform->addDestination("Synth Port");
    MIDIObjectRef outBus = platform->addDestination("Drum Out");
    auto hub = makeHub();

    EXPECT_EQ(hub->resolve("Synth Port")->endpoint, exact) << "exact wins over an earlier case match";
    EXPECT_EQ(hub->resolve("SYNTH PORT")->endpoint, lowerFirst) << "case pass takes the first in order";
    EXPECT_EQ(hub->resolve("synth")->endpoint, lowerFirst);
    EXPECT_EQ(hub->resolve("drum")->endpoint, outBus);
    auto byCase = hub->resolve("VELMO VIRTUAL OUT");
    ASSERT_TRUE(byCase);
    EXPECT_TRUE(byCase->isVirtual);
    EXPECT_EQ(byCase->name, "Velmo Virtual Out");
    EXPECT_TRUE(hub->resolve("virtual")->isVirtual);
    EXPECT_TRUE(hub->resolve("Out")->isVirtual) << "the virtual source comes first in a tie";
    EXPECT_FALSE(hub->resolve("Piano"));
    EXPECT_FALSE(hub->resolve("")) << "an empty name must not grab the first output";
}

TEST_F(HubTest, RouteFollowsADeviceThatGoesAndComesBack) {
    MIDIObjectRef first = platform->addDestination("Moog Sub 37");
    auto hub = makeHub();
    runMain();  // the hub's own virtual source announced itself while the hub was built
    changes = 0;
    MIDISender sender = hub->makeSender();
    auto target = [&]() -> std::optional<MIDITarget> {
        auto d = hub->resolve("moog");
        return d ? std::optional(MIDITarget{d->endpoint, d->isVirtual, 0}) : std::nullopt;
    };
    ASSERT_EQ(target()->endpoint, first);
    sender.noteOn(*target(), 48, 1.0);
    EXPECT_EQ(platform->sent().size(), 1u);

    platform->removeEndpoint(first);
    EXPECT_EQ(changes, 0) << "the change is only seen on the main queue";
    runMain();
    EXPECT_EQ(changes, 1) << "one change, though the system sent two notifications";
    EXPECT_FALSE(target());
    EXPECT_EQ(hub->destinations(), (std::vector<MIDIDestination>{{"Velmo Virtual Out", true, hub->virtualSource()}}));

    platform->addDestination("Other");
    MIDIObjectRef second = platform->addDestination("Moog Sub 37");
    runMain();
    EXPECT_EQ(changes, 3);
    ASSERT_TRUE(target());
    EXPECT_EQ(target()->endpoint, second);
    sender.noteOn(*target(), 48, 1.0);
    auto sent = platform->sent();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1].endpoint, second);
    EXPECT_EQ(sent[1].port, hub->port());

    platform->notifyClients(MemoryMIDIPlatform::objectAdded);
    runMain();
    EXPECT_EQ(changes, 3) << "only the setup-changed notification counts";
}

TEST_F(HubTest, SourcesAreReconciledWithoutDuplicatesOrFeedback) {
    MIDIObjectRef keys = platform->addSource("Keys");
    MIDIObjectRef pads = platform->addSource("Pads");
    platform->addVanishedSource();
    MIDIObjectRef unnamed = platform->addSource(std::nullopt);
    auto hub = makeHub();
    runMain();  // the hub's own virtual source announced itself while the hub was built

    auto connectedOnce = [&](std::vector<MIDIObjectRef> expected) {
        auto actual = platform->connections(hub->inPort());
        std::sort(actual.begin(), actual.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(actual, expected);
        EXPECT_EQ(std::set<MIDIObjectRef>(expected.begin(), expected.end()), hub->connected());
    };
    connectedOnce({keys, pads, unnamed});
    EXPECT_FALSE(hub->connected().contains(hub->virtualSource()));
    EXPECT_EQ(hub->inputNames(), (std::vector<std::string>{"Keys", "MIDI " + std::to_string(unnamed), "Pads"}));

    hub->connectSources();
    hub->connectSources();
    connectedOnce({keys, pads, unnamed});

    platform->removeEndpoint(pads);
    runMain();
    connectedOnce({keys, unnamed});
    MIDIObjectRef padsAgain = platform->addSource("Pads");
    runMain();
    connectedOnce({keys, unnamed, padsAgain});

    // What the hub publishes never comes back in as input.
    MIDISender sender = hub->makeSender();
    sender.noteOn(MIDITarget{hub->virtualSource(), true, 0}, 60, 1.0);
    runMain();
    EXPECT_EQ(platform->sent().size(), 1u);
    EXPECT_TRUE(notes.empty());
}

TEST_F(HubTest, IncomingNotesReachTheReceiverOnTheMainQueue) {
    MIDIObjectRef keys = platform->addSource("Keys");
    MIDIObjectRef pads = platform->addSource("Pads");
    auto hub = makeHub();
    runMain();

    const std::uint32_t batch[] = {
        0x20953C64,  // note on, channel 5, pitch 60, velocity 100
        0x20B07B00,  // controller: ignored
        0x10F80000,  // system real-time clock: ignored
        0x40903C00,  // MIDI 2.0 note on: ignored
        0x23904000,  // note on, group 3, velocity 0
        0x20803C40,  // note off
    };
    platform->emit(keys, batch);
    EXPECT_TRUE(notes.empty()) << "nothing is delivered on the platform's thread";
    EXPECT_EQ(mainQueue.size(), 1u) << "one batch, one hop";
    runMain();
    EXPECT_EQ(notes, (std::vector<std::pair<int, double>>{{60, 100.0 / 127}, {64, 0.0}, {60, 0.0}}));

    notes.clear();
    const std::uint32_t noise[] = {0x20B07B00, 0x10F80000};
    platform->emit(pads, noise);
    EXPECT_TRUE(mainQueue.empty()) << "a list without notes posts nothing";
    const std::uint32_t one[] = {0x20907F7F};
    platform->emit(pads, one);
    hub.reset();
    runMain();
    EXPECT_TRUE(notes.empty()) << "a note queued for a hub that is gone is dropped";
}
