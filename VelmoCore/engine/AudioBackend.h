// The audio back ends a person can ask for, by `velmo --audio NAME` or VELMO_AUDIO, and the
// device each one gives.
#pragma once

#include "engine/AudioDevice.h"
#include "model/EnumTable.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velmo {

// `none`: no device at all; the clock thread renders.
enum class AudioBackend { jack, pulse, alsa, none };

template <> struct EnumNames<AudioBackend> {
    static constexpr std::array<std::string_view, 4> names{"jack", "pulse", "alsa", "none"};
};

// The back end named by `text`; a UserError that lists the choices for any other text.
AudioBackend parseAudioBackend(std::string_view text);

// The device of `backend` (nothing for `none`), or, without one, a device that takes the first of
// JACK, PulseAudio and ALSA that opens. `clientName` names the stream where the back end shows
// one (JACK's client).
std::unique_ptr<AudioDevice> makeAudioDevice(std::optional<AudioBackend> backend, std::string clientName);

} // namespace velmo
