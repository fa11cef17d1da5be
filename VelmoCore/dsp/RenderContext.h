// What every render call hands down the synthesis path: sample rate and tempo. The engine core
// fills it once per render call; the block size is passed separately to each render.
#pragma once

namespace velmo {

// Frames per block: the engine's control period (commands, sequencing, meters and modulation
// move once per block) and the longest block that a track, voice or generator is handed.
inline constexpr int kBlockFrames = 32;

struct RenderContext {
    double sampleRate = 48000.0; // frames per second
    double tempo = 120.0;        // beats per minute at the current moment

    bool operator==(const RenderContext&) const = default;
};

} // namespace velmo
