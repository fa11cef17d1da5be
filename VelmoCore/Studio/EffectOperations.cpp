#include "Studio/Studio.h"

namespace velmo {

CowVector<EffectSlot>& Studio::chain(Project& p, std::optional<std::size_t> track) const {
    return track ? p.tracks.mut(*track).effects : p.masterEffects;
}

void Studio::removeEffect(std::optional<std::size_t> track, std::size_t index) {
    VELMO_PRECONDITION(!track || *track < project_.tracks.size(), "removeEffect");
    mutate([&](Project& p) {
        auto& slots = chain(p, track);
        VELMO_PRECONDITION(index < slots.size(), "removeEffect");
        slots.erase(index);
    });
}

void Studio::moveEffect(std::optional<std::size_t> track, std::size_t index, int by) {
    VELMO_PRECONDITION(!track || *track < project_.tracks.size(), "moveEffect");
    mutate([&](Project& p) {
        auto& slots = chain(p, track);
        VELMO_PRECONDITION(index < slots.size(), "moveEffect");
        const long long other = static_cast<long long>(index) + by;
        if (other < 0 || other >= static_cast<long long>(slots.size())) return;
        EffectSlot moved = slots[index];
        slots.mut(index) = slots[static_cast<std::size_t>(other)];
        slots.mut(static_cast<std::size_t>(other)) = std::move(moved);
    });
}

} // namespace velmo
