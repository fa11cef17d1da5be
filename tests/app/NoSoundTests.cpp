// The transport bar says "no sound" while no device plays, with the back end's reason as its
// tooltip, and stops saying it once the device plays again, which the host finds by itself.
#include "AppRig.h"
#include "transport/TransportBar.h"

#include <QLabel>

#include <gtest/gtest.h>

namespace velmo {
namespace {

// An output that opens only while `present` holds; nothing ever calls its stream back.
struct SwitchedDevice final : AudioDevice {
    std::shared_ptr<bool> present = std::make_shared<bool>(false);
    bool started = false;

    double outputSampleRate() override { return 0; }
    std::optional<std::string> open(double, std::shared_ptr<AudioRenderer>) override {
        if (!*present) return "ALSA: no output device found.";
        return std::nullopt;
    }
    std::optional<std::string> start() override {
        started = true;
        return std::nullopt;
    }
    bool running() override { return started; }
    std::string stopReason() override { return "gone"; }
    double outputLatency() override { return 0; }
    void close() override { started = false; }
};

TEST(NoSound, TheTransportBarSaysSoWhileNoDevicePlays) {
    auto device = std::make_unique<SwitchedDevice>();
    auto present = device->present;
    QtMainQueue queue;
    AppModel model(queue, 0, rigSong(), std::make_unique<AudioHost>(std::move(device)));
    TransportBar bar(model);
    bar.show();
    auto* noSound = bar.findChild<QLabel*>("noSound");
    ASSERT_NE(noSound, nullptr);
    EXPECT_TRUE(noSound->isVisible());
    EXPECT_TRUE(noSound->toolTip().startsWith("ALSA: no output device found.")) << noSound->toolTip().toStdString();

    *present = true; // plugged in: within the host's next try and the bar's next look
    EXPECT_TRUE(QTest::qWaitFor([&] { return !noSound->isVisible(); }, 5000));
    EXPECT_TRUE(model.studio().host()->running());
}

} // namespace
} // namespace velmo
