#include "effects/EffectChain.h"

#include "effects/MakeEffect.h"

namespace velmo {

EffectChainEntry EffectChain::take(const EffectSlot& slot, double sampleRate, const RenderContext& ctx) {
    EffectChainEntry entry{slot.id, slot.kind, slot.enabled, nullptr};
    for (auto& old : entries_) {
        // A processor is taken at most once: a duplicate id in a hand-edited file gets its own.
        if (old.proc && old.id == slot.id && old.kind == slot.kind) {
            entry.proc = std::move(old.proc);
            break;
        }
    }
    if (!entry.proc) entry.proc = makeEffect(slot.kind, sampleRate);
    entry.proc->update(slot, ctx);
    return entry;
}

} // namespace velmo
