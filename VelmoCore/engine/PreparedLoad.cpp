#include "engine/PreparedLoad.h"

#include <span>

namespace velmo {

std::unique_ptr<PreparedLoad> PreparedLoad::make(std::shared_ptr<const CompiledProject> next,
                                                 const CompiledProject* running, double sampleRate) {
    auto load = std::make_unique<PreparedLoad>();
    const std::size_t count = next->tracks.size();
    load->tracks.resize(count);
    load->trackEffects.reserve(count);
    load->trackIDs.reserve(count);
    load->trackPeaks.assign(count, 0.0f);

    const std::size_t runningCount = running ? running->tracks.size() : 0;
    std::vector<bool> claimed(runningCount, false);
    for (std::size_t i = 0; i < count; ++i) {
        const CompiledTrack& track = next->tracks[i];
        const CompiledTrack* kept = nullptr;
        for (std::size_t j = 0; j < runningCount && !kept; ++j) {
            if (claimed[j] || running->tracks[j].id != track.id) continue;
            claimed[j] = true;
            kept = &running->tracks[j];
        }
        if (kept) {
            load->trackEffects.push_back(EffectChain::prepare(track.effects, kept->effects, sampleRate));
        } else {
            // The processor starts out on its own track, so that the apply frees nothing of it.
            load->tracks[i] = std::make_unique<TrackProcessor>(std::shared_ptr<const CompiledTrack>(next, &track));
            load->trackEffects.push_back(EffectChain::prepare(track.effects, std::span<const EffectSlot>(), sampleRate));
        }
        load->trackIDs.push_back(track.id);
    }
    load->masterEffects =
        EffectChain::prepare(next->masterEffects, running ? running->masterEffects : CowVector<EffectSlot>(), sampleRate);
    load->project = std::move(next);
    return load;
}

} // namespace velmo
