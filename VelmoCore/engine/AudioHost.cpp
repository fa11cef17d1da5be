#include "engine/AudioHost.h"

namespace velmo {

namespace {

double coreRate(AudioDevice* device) {
    const double rate = device ? device->outputSampleRate() : 0;
    return rate > 0 ? rate : AudioHost::fallbackSampleRate;
}

} // namespace

AudioHost::AudioHost(std::unique_ptr<AudioDevice> device)
    : device_(std::move(device)),
      renderer_(std::make_shared<AudioRenderer>(std::make_shared<EngineCore>(coreRate(device_.get())))),
      clock_(renderer_) {
    if (!start()) useClock();
}

AudioHost::~AudioHost() {
    if (device_) device_->close();
    clock_.stop();
}

bool AudioHost::start() {
    if (!device_) return false;
    if (running_) return true;
    device_->close(); // whatever is left of a stream that stopped
    if (auto error = device_->open(core().sampleRate(), renderer_)) {
        fail(std::move(*error));
        return false;
    }
    // The clock stops before the first callback, so the core never has two renderers.
    clock_.stop();
    if (auto error = device_->start()) {
        device_->close();
        fail(std::move(*error));
        return false;
    }
    running_ = true;
    lastError_.reset();
    attachSender(device_->outputLatency());
    return true;
}

void AudioHost::fail(std::string error) {
    running_ = false;
    lastError_ = std::move(error);
    useClock();
}

void AudioHost::useClock() {
    if (clock_.running()) return;
    clock_.start();
    attachSender(0); // the clock stamps each tick with the moment it renders it
}

void AudioHost::restartIfStopped() {
    if (!device_) return;
    if (running_ && !device_->running()) {
        std::string reason = device_->stopReason();
        device_->close();
        fail(std::move(reason));
    }
    if (!running_) start();
}

void AudioHost::attachMIDI(const MIDIHub& hub) {
    midi_ = hub.makeSender();
    attachSender(running_ ? device_->outputLatency() : 0);
}

void AudioHost::attachSender(double latency) {
    if (midi_) core().send(EngineCommand::attachMIDI(std::make_shared<MIDISender>(*midi_), latency));
}

} // namespace velmo
