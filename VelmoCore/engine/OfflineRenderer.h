// Renders a span of a project faster than real time through the same EngineCore::render that
// plays live, and measures it; with a path it also writes a 24-bit stereo WAV file. Each call
// builds a private core, so renders run on background tasks beside live playback.
#pragma once

#include "engine/MixAnalysis.h"
#include "model/Project.h"

#include <cstdint>
#include <filesystem>
#include <optional>

namespace velmo {

// Stateless; any thread. Two renders may run at once.
namespace OfflineRenderer {

constexpr int chunkFrames = 4096;

// The longest render, music and tail together: a mistyped end beat must not keep a core busy
// for hours or fill a disk. One hour holds any song; the measured `seconds` tell the truth.
constexpr double maxSeconds = 3600.0;

struct FrameSpan {
    std::int64_t music = 0; // frames from startBeat to endBeat
    std::int64_t tail = 0;  // frames after them
};

// The frames a render covers: negative or undefined lengths count as none, and music then tail
// are cut to maxSeconds in all.
FrameSpan frameSpan(double startBeat, double endBeat, double tail, double tempo, double sampleRate);

// Renders `project` from `startBeat` to `endBeat` (the project loop is ignored), then `tail`
// seconds more for releases, at `sampleRate`, within maxSeconds (see frameSpan). Notes sounding
// at `endBeat` are released there. With `path`, an existing file there is replaced once the
// render is complete. Throws std::system_error when the file cannot be written (the path then
// stays as it was), ParamError "Could not allocate render buffer." when the buffer cannot be made. MIDI routes do not resolve: every track plays its own synth.
MixAnalysis render(const Project& project, double startBeat, double endBeat, double tail, double sampleRate,
                   const std::optional<std::filesystem::path>& path = std::nullopt);

} // namespace OfflineRenderer

} // namespace velmo
