// The audio device on RtAudio 5.2, with JACK, PulseAudio and ALSA behind it. RtAudio stays in
// this file: the host knows only the AudioDevice interface.
#include "engine/AudioBackend.h"

#include "base/UserError.h"

#include <alsa/asoundlib.h>
#include <rtaudio/RtAudio.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

namespace velmo {

AudioBackend parseAudioBackend(std::string_view text) {
    if (auto backend = fromString<AudioBackend>(text)) return *backend;
    throw UserError("Unknown audio back end '" + std::string(text) + "'. Choose one of: " +
                    joinedNames<AudioBackend>() + ".");
}

namespace {

// RtAudio's error callback carries no context, so a failure of the running stream is noted here;
// Velmo runs one stream at a time. Written on RtAudio's thread, read on the main queue.
std::atomic<bool> streamFailed{false};
std::array<char, 256> streamFailure{};

void onStreamError(RtAudioError::Type type, const std::string& text) {
    if (type == RtAudioError::WARNING || type == RtAudioError::DEBUG_WARNING) return;
    if (streamFailed.load(std::memory_order_acquire)) return;
    const std::size_t n = std::min(text.size(), streamFailure.size() - 1);
    std::memcpy(streamFailure.data(), text.data(), n);
    streamFailure[n] = '\0';
    streamFailed.store(true, std::memory_order_release);
}

std::string apiLabel(RtAudio::Api api) {
    switch (api) {
    case RtAudio::UNIX_JACK: return "JACK";
    case RtAudio::LINUX_PULSE: return "PulseAudio";
    case RtAudio::LINUX_ALSA: return "ALSA";
    default: return RtAudio::getApiDisplayName(api);
    }
}

// ALSA's own "default" device where there is one: it goes through the user's configuration (a
// sound server, a mixer, a rate converter), where RtAudio's first device is the first card's bare
// hardware, which another program may hold.
unsigned int outputDevice(RtAudio& audio) {
    if (audio.getCurrentApi() == RtAudio::LINUX_ALSA) {
        for (unsigned int i = 0; i < audio.getDeviceCount(); ++i) {
            const RtAudio::DeviceInfo info = audio.getDeviceInfo(i);
            if (info.name == "default" && info.outputChannels > 0) return i;
        }
    }
    return audio.getDefaultOutputDevice();
}

// One open stream and what its callback needs; it outlives the device if RtAudio is still
// closing it on a thread of its own.
struct Stream {
    RtAudio::Api api;
    std::unique_ptr<RtAudio> audio;
    std::shared_ptr<AudioRenderer> renderer;
    int channels = 2;
    double sampleRate = 48000;
};

int renderCallback(void* output, void*, unsigned int frames, double, RtAudioStreamStatus, void* context) {
    auto* stream = static_cast<Stream*>(context);
    // The moment of the callback stands for the buffer's time on the steady clock; the output
    // latency, which the core adds for MIDI, covers the way to the speaker.
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const auto hostTime = static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
    auto* base = static_cast<float*>(output);
    float* channels[2] = {base, stream->channels >= 2 ? base + frames : nullptr};
    stream->renderer->render(static_cast<int>(frames), channels, stream->channels, hostTime);
    return 0;
}

class RtAudioDevice final : public AudioDevice {
public:
    RtAudioDevice(std::vector<RtAudio::Api> apis, std::string clientName)
        : apis_(std::move(apis)), clientName_(std::move(clientName)) {}
    ~RtAudioDevice() override { close(); }

    double outputSampleRate() override {
        for (RtAudio::Api api : apis_) {
            try {
                RtAudio audio(api);
                audio.showWarnings(false);
                if (audio.getDeviceCount() == 0) continue;
                const RtAudio::DeviceInfo info = audio.getDeviceInfo(outputDevice(audio));
                if (info.outputChannels > 0) return info.preferredSampleRate;
            } catch (const RtAudioError&) {
            }
        }
        return 0;
    }

    std::optional<std::string> open(double sampleRate, std::shared_ptr<AudioRenderer> renderer) override {
        close();
        std::string failures;
        for (RtAudio::Api api : apis_) {
            auto error = openOn(api, sampleRate, renderer);
            if (!error) return std::nullopt;
            if (!failures.empty()) failures += " ";
            failures += *error;
        }
        return failures;
    }

    std::optional<std::string> start() override {
        if (!stream_) return "No audio stream is open.";
        streamFailed.store(false);
        try {
            stream_->audio->startStream();
        } catch (const RtAudioError& e) {
            return apiLabel(stream_->api) + ": " + e.getMessage();
        }
        return std::nullopt;
    }

    bool running() override {
        return stream_ && !streamFailed.load(std::memory_order_acquire) && stream_->audio->isStreamRunning();
    }

    std::string stopReason() override {
        if (streamFailed.load(std::memory_order_acquire)) return streamFailure.data();
        if (stream_ && stream_->api == RtAudio::UNIX_JACK) return "JACK: the server stopped this client.";
        return "The audio device stopped.";
    }

    double outputLatency() override {
        if (!stream_) return 0;
        try {
            return static_cast<double>(stream_->audio->getStreamLatency()) / stream_->sampleRate;
        } catch (const RtAudioError&) {
            return 0;
        }
    }

    void close() override {
        if (!stream_) return;
        std::unique_ptr<Stream> stream = std::move(stream_);
        RtAudio& audio = *stream->audio;
        if (stream->api == RtAudio::UNIX_JACK && !audio.isStreamRunning()) {
            // When the JACK server goes away RtAudio closes the stream itself, on a thread of its
            // own; closing it here as well would free it twice. Give that thread a moment.
            for (int i = 0; i < 100 && audio.isStreamOpen(); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            // Still closing: it is left to that thread rather than freed under it.
            if (audio.isStreamOpen()) {
                stream.release();
                return;
            }
        }
        try {
            if (audio.isStreamOpen()) audio.closeStream();
        } catch (const RtAudioError&) {
        }
    }

private:
    std::optional<std::string> openOn(RtAudio::Api api, double sampleRate, const std::shared_ptr<AudioRenderer>& renderer) {
        auto stream = std::make_unique<Stream>();
        stream->api = api;
        stream->renderer = renderer;
        stream->sampleRate = sampleRate;
        try {
            stream->audio = std::make_unique<RtAudio>(api);
            RtAudio& audio = *stream->audio;
            audio.showWarnings(false);
            if (audio.getDeviceCount() == 0)
                return apiLabel(api) + (api == RtAudio::UNIX_JACK ? ": no server is running." : ": no output device found.");
            unsigned int device = outputDevice(audio);
            unsigned int outputs = audio.getDeviceInfo(device).outputChannels;
            if (outputs == 0) return apiLabel(api) + ": the default device has no outputs.";
            stream->channels = static_cast<int>(std::min(outputs, 2u));
            RtAudio::StreamParameters parameters;
            parameters.deviceId = device;
            parameters.nChannels = static_cast<unsigned int>(stream->channels);
            RtAudio::StreamOptions options;
            options.flags = RTAUDIO_NONINTERLEAVED;
            options.streamName = clientName_;
            unsigned int bufferFrames = preferredBufferFrames; // JACK keeps its own period
            audio.openStream(&parameters, nullptr, RTAUDIO_FLOAT32, static_cast<unsigned int>(sampleRate), &bufferFrames,
                             &renderCallback, stream.get(), &options, &onStreamError);
        } catch (const RtAudioError& e) {
            return apiLabel(api) + ": " + e.getMessage();
        }
        stream_ = std::move(stream);
        return std::nullopt;
    }

    static constexpr unsigned int preferredBufferFrames = 256; // 5.3 ms at 48 kHz

    std::vector<RtAudio::Api> apis_;
    std::string clientName_;
    std::unique_ptr<Stream> stream_;
};

RtAudio::Api apiOf(AudioBackend backend) {
    switch (backend) {
    case AudioBackend::jack: return RtAudio::UNIX_JACK;
    case AudioBackend::pulse: return RtAudio::LINUX_PULSE;
    case AudioBackend::alsa: return RtAudio::LINUX_ALSA;
    case AudioBackend::none: break;
    }
    return RtAudio::UNSPECIFIED;
}

// ALSA's library tells standard error of every card it looks for and misses, and the host looks
// every 2 s while there is none; the reason that matters reaches lastError anyway.
void quietAlsa(const char*, int, const char*, int, const char*, ...) {}

} // namespace

std::unique_ptr<AudioDevice> makeAudioDevice(std::optional<AudioBackend> backend, std::string clientName) {
    if (backend == AudioBackend::none) return nullptr;
    snd_lib_error_set_handler(&quietAlsa);
    std::vector<RtAudio::Api> apis;
    if (backend) {
        apis.push_back(apiOf(*backend));
    } else {
        std::vector<RtAudio::Api> compiled;
        RtAudio::getCompiledApi(compiled);
        for (RtAudio::Api api : compiled)
            if (api == RtAudio::UNIX_JACK || api == RtAudio::LINUX_PULSE || api == RtAudio::LINUX_ALSA) apis.push_back(api);
    }
    return std::make_unique<RtAudioDevice>(std::move(apis), std::move(clientName));
}

} // namespace velmo
