// A live chain of insert effects, as a track and the master bus hold it, and the rule by which a
// new project load keeps processors: an entry is kept when a slot of the same id and the same
// kind is still there, wherever it moved in the list. Kept processors keep their delay lines,
// tails and filter state, so an edit of the chain makes no click.
#pragma once

#include "effects/EffectProcessor.h"

#include <memory>
#include <string>
#include <vector>

namespace velmo {

struct EffectChainEntry {
    std::string id;
    EffectKind kind = EffectKind::drive;
    bool enabled = true; // the chain's business, not the processor's: a disabled entry is skipped
    std::unique_ptr<EffectProcessor> proc;
};

// Audio thread only.
class EffectChain {
public:
    // Replaces the chain by one entry per slot, in slot order: an old entry of the same id and
    // kind gives its processor, otherwise makeEffect makes one. `update` then runs on every
    // processor, enabled or not. Processors not taken are destroyed. Allocates.
    template <class Slots>
    void load(const Slots& slots, double sampleRate, const RenderContext& ctx) {
        std::vector<EffectChainEntry> next;
        next.reserve(slots.size());
        for (const EffectSlot& slot : slots) next.push_back(take(slot, sampleRate, ctx));
        entries_ = std::move(next);
    }

    // Runs the enabled processors in order, in place. A disabled one keeps its state.
    void process(float* left, float* right, int frames) {
        for (auto& e : entries_)
            if (e.enabled) e.proc->process(left, right, frames);
    }

    const std::vector<EffectChainEntry>& entries() const { return entries_; }

private:
    EffectChainEntry take(const EffectSlot& slot, double sampleRate, const RenderContext& ctx);

    std::vector<EffectChainEntry> entries_;
};

} // namespace velmo
