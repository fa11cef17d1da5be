// The one interface behind every insert effect, on a track or on the master bus. A processor is
// made once per slot (makeEffect), takes its parameters from the slot on every project load
// (`update`) and runs stereo blocks in place (`process`).
#pragma once

#include "model/Project.h"
#include "dsp/RenderContext.h"

namespace velmo {

// Audio thread only. `update` runs between blocks while commands drain; `process` runs per block.
class EffectProcessor {
public:
    virtual ~EffectProcessor() = default;

    // Takes the slot's parameters (a missing key reads as the catalog default). Called on every
    // load for every slot, changed or not, enabled or not, so it must touch only parameters and
    // coefficients: delay buffers, filter memories, LFO phases and followers stay as they are.
    virtual void update(const EffectSlot& slot, const RenderContext& ctx) = 0;

    // Runs `frames` samples in place, keeping state between calls. Any `frames` >= 0; the engine
    // passes at most 32. Never allocates, never throws.
    virtual void process(float* left, float* right, int frames) = 0;

    // Silences every memory (delay lines, filter states, followers, held samples) and keeps the
    // parameters: after a non-finite sample the processor plays on as if newly made. Never
    // allocates, never throws.
    virtual void reset() = 0;
};

} // namespace velmo
