// Everything that applying a project needs, built on the control side so that the audio thread
// only swaps: the compiled project, a new processor for each track that has none running, each
// chain's effect entries, and the lists the status will publish. After the swap the same record
// holds what was replaced, and goes back to the control side to be freed there.
#pragma once

#include "effects/EffectChain.h"
#include "engine/CompiledProject.h"
#include "engine/TrackProcessor.h"

#include <memory>
#include <string>
#include <vector>

namespace velmo {

// Built on the control side, filled and emptied by the audio thread during one apply, then freed
// on the control side.
struct PreparedLoad {
    std::shared_ptr<const CompiledProject> project;
    // One per compiled track, in order: a new processor, or none where the running processor of
    // that id carries on.
    std::vector<std::unique_ptr<TrackProcessor>> tracks;
    std::vector<EffectChain::Entries> trackEffects; // one per compiled track
    EffectChain::Entries masterEffects;
    std::vector<std::string> trackIDs;
    std::vector<float> trackPeaks; // zeros, as many as tracks

    // What applying `next` needs on a core that will be running `running` by then (nothing before
    // the first load). A track keeps the running processor of its id, the first one not yet
    // claimed, exactly as the core will pair them; every other track gets a new one. Allocates.
    static std::unique_ptr<PreparedLoad> make(std::shared_ptr<const CompiledProject> next,
                                              const CompiledProject* running, double sampleRate);
};

} // namespace velmo
