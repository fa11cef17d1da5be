// What every render call hands down the synthesis path: sample rate and tempo. The engine core
// fills it once per render call; the block size is passed separately to each render.
#pragma once

namespace velmo {

struct RenderContext {
    double sampleRate = 48000.0; // frames per second
    double tempo = 120.0;        // beats per minute at the current moment

    bool operator==(const RenderContext&) const = default;
};

} // namespace velmo
