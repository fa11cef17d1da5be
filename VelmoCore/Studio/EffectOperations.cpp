#include "Studio/Studio.h"

#include "catalog/EffectCatalog.h"

#include <algorithm>

namespace velmo {

CowVector<EffectSlot>& Studio::chain(Project& p, std::optional<std::size_t> track) const {
    return track ? p.tracks.mut(*track).effects : p.masterEffects;
}

std::string Studio::addEffect(std::optional<std::size_t> track, EffectKind kind, const nlohmann::json& params,
                              std::optional<long long> position) {
    VELMO_PRECONDITION(!track || *track < project_.tracks.size(), "Studio.addEffect");
    EffectParams merged = EffectCatalog::merge(kind, EffectCatalog::defaults(kind), params);
    return mutate([&](Project& p) {
        std::string id = p.makeId("fx");
        auto& slots = chain(p, track);
        const auto length = static_cast<long long>(slots.size());
        const auto at = static_cast<std::size_t>(std::clamp(position.value_or(length), 0LL, length));
        slots.insert(at, EffectCatalog::makeSlot(id, kind, true, std::move(merged)));
        return id;
    });
}

void Studio::updateEffect(std::optional<std::size_t> track, std::size_t index, const nlohmann::json& params,
                          std::optional<bool> enabled, std::optional<std::string> coalesce) {
    VELMO_PRECONDITION(!track || *track < project_.tracks.size(), "Studio.updateEffect");
    const auto& slots = track ? project_.tracks[*track].effects : project_.masterEffects;
    VELMO_PRECONDITION(index < slots.size(), "Studio.updateEffect");
    EffectParams merged = EffectCatalog::merge(slots[index].kind, slots[index].params, params);
    mutate(std::move(coalesce), [&](Project& p) {
        EffectSlot& slot = chain(p, track).mut(index);
        slot.params = std::move(merged);
        if (enabled) slot.enabled = *enabled;
    });
}

void Studio::removeEffect(std::optional<std::size_t> track, std::size_t index) {
    VELMO_PRECONDITION(!track || *track < project_.tracks.size(), "Studio.removeEffect");
    mutate([&](Project& p) {
        auto& slots = chain(p, track);
        VELMO_PRECONDITION(index < slots.size(), "Studio.removeEffect");
        slots.erase(index);
    });
}

void Studio::moveEffect(std::optional<std::size_t> track, std::size_t index, int by) {
    VELMO_PRECONDITION(!track || *track < project_.tracks.size(), "Studio.moveEffect");
    mutate([&](Project& p) {
        auto& slots = chain(p, track);
        VELMO_PRECONDITION(index < slots.size(), "Studio.moveEffect");
        const long long other = static_cast<long long>(index) + by;
        if (other < 0 || other >= static_cast<long long>(slots.size())) return;
        EffectSlot moved = slots[index];
        slots.mut(index) = slots[static_cast<std::size_t>(other)];
        slots.mut(static_cast<std::size_t>(other)) = std::move(moved);
    });
}

} // namespace velmo
