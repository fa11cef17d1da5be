// A live chain of insert effects, as a track and the master bus hold it, and the rule by which a
// new project load keeps processors: an entry is kept when a slot of the same id and the same
// kind is still there, wherever it moved in the list. Kept processors keep their delay lines,
// tails and filter state, so an edit of the chain makes no click.
#pragma once

#include "effects/EffectProcessor.h"
#include "effects/MakeEffect.h"

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

// Audio thread only, except `prepare`, which the control side calls to build what a load needs.
class EffectChain {
public:
    using Entries = std::vector<EffectChainEntry>;

    // Control side. The entries that a load of `slots` needs, for a chain that was last loaded
    // with `running` (anything with `id` and `kind`): a slot that will find its running processor
    // (the first unclaimed one of the same id and kind) gets an entry without one, every other
    // slot a new processor. Allocates, so that `swapIn` need not.
    template <class Slots, class Running>
    static Entries prepare(const Slots& slots, const Running& running, double sampleRate) {
        std::vector<bool> claimed(running.size(), false);
        Entries next;
        next.reserve(slots.size());
        for (const EffectSlot& slot : slots) {
            bool found = false;
            for (std::size_t i = 0; i < running.size() && !found; ++i) {
                if (claimed[i] || running[i].id != slot.id || running[i].kind != slot.kind) continue;
                claimed[i] = true;
                found = true;
            }
            next.push_back({slot.id, slot.kind, slot.enabled, found ? nullptr : makeEffect(slot.kind, sampleRate)});
        }
        return next;
    }

    // Audio thread. Puts the prepared entries in place, one per slot in slot order: an entry
    // without a processor takes the running one of its id and kind; `update` then runs on every
    // processor, enabled or not. `next` is left holding the previous entries and the processors
    // not taken, for the control side to free. Allocates and frees nothing.
    template <class Slots>
    void swapIn(Entries& next, const Slots& slots, const RenderContext& ctx) {
        for (EffectChainEntry& entry : next) {
            if (entry.proc) continue;
            for (EffectChainEntry& old : entries_) {
                if (old.proc && old.id == entry.id && old.kind == entry.kind) {
                    entry.proc = std::move(old.proc);
                    break;
                }
            }
        }
        entries_.swap(next);
        std::size_t i = 0;
        for (const EffectSlot& slot : slots) {
            if (i == entries_.size()) break;
            if (EffectProcessor* proc = entries_[i++].proc.get()) proc->update(slot, ctx);
        }
    }

    // Both steps at once, for a chain that one thread owns. Allocates.
    template <class Slots>
    void load(const Slots& slots, double sampleRate, const RenderContext& ctx) {
        Entries next = prepare(slots, entries_, sampleRate);
        swapIn(next, slots, ctx);
    }

    // Runs the enabled processors in order, in place. A disabled one keeps its state.
    void process(float* left, float* right, int frames) {
        for (auto& e : entries_)
            if (e.enabled && e.proc) e.proc->process(left, right, frames);
    }

    // Every processor, enabled or not, forgets its signal (EffectProcessor::reset).
    void reset() {
        for (auto& e : entries_)
            if (e.proc) e.proc->reset();
    }

    const Entries& entries() const { return entries_; }

private:
    Entries entries_;
};

} // namespace velmo
