// The resolvers are lenient where an agent is likely to be vague, and their failures list the
// valid choices so that a model can correct itself from the message alone.
#include "Studio/Studio.h"

#include "model/Unicode.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace velmo {

namespace {

using json = nlohmann::json;

bool isNumber(const json* ref) { return ref && ref->is_number(); }

// A JSON number taken as an integer, by truncation, saturating far outside any list's range.
long long asInteger(const json& number) {
    if (number.is_number_integer()) return number.get<long long>();
    if (number.is_number_unsigned()) return std::numeric_limits<long long>::max();
    double d = std::trunc(number.get<double>());
    if (!(d > -9.2e18)) return std::numeric_limits<long long>::min();
    if (!(d < 9.2e18)) return std::numeric_limits<long long>::max();
    return static_cast<long long>(d);
}

// Decimal integer text with an optional sign, as a whole.
std::optional<long long> parseInteger(std::string_view text) {
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    long long value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::string printed(const json* ref) {
    if (!ref) return "nil";
    if (ref->is_string()) return ref->get<std::string>();
    return ref->dump();
}

} // namespace

std::size_t Studio::trackIndex(const json* ref) const {
    const auto& tracks = project_.tracks;
    const auto count = static_cast<long long>(tracks.size());
    if (!ref) throw StudioError("Missing 'track'. Pass a track id, name, or index.");
    if (isNumber(ref)) {
        long long index = asInteger(*ref);
        if (index >= 0 && index < count) return static_cast<std::size_t>(index);
        throw StudioError("Track index " + std::to_string(index) + " out of range (0..<" + std::to_string(count) + ").");
    }
    if (!ref->is_string()) throw StudioError("'track' must be a string id/name or an index.");

    const std::string text = ref->get<std::string>();
    if (auto byId = project_.trackIndex(text)) return *byId;
    const std::string lowered = lowercased(text);
    for (std::size_t i = 0; i < tracks.size(); ++i)
        if (lowercased(tracks[i].name) == lowered) return i;
    if (auto index = parseInteger(text); index && *index >= 0 && *index < count) return static_cast<std::size_t>(*index);

    std::string list;
    for (const auto& track : tracks) list += (list.empty() ? "" : ", ") + track.id + " (" + track.name + ")";
    throw StudioError("No track '" + text + "'. Tracks: " + list + ".");
}

std::size_t Studio::effectIndex(std::optional<std::size_t> track, const json* ref) const {
    VELMO_PRECONDITION(!track || *track < project_.tracks.size(), "Studio.effectIndex");
    const auto& slots = track ? project_.tracks[*track].effects : project_.masterEffects;
    if (isNumber(ref)) {
        long long index = asInteger(*ref);
        if (index >= 0 && index < static_cast<long long>(slots.size())) return static_cast<std::size_t>(index);
    } else if (ref && ref->is_string()) {
        const std::string text = ref->get<std::string>();
        for (std::size_t i = 0; i < slots.size(); ++i)
            if (slots[i].id == text) return i;
        const std::string lowered = lowercased(text);
        for (std::size_t i = 0; i < slots.size(); ++i)
            if (toString(slots[i].kind) == lowered) return i;
    }
    std::string list;
    for (std::size_t i = 0; i < slots.size(); ++i)
        list += (i ? ", " : "") + std::to_string(i) + ": " + slots[i].id + " " + std::string(toString(slots[i].kind));
    throw StudioError("No effect '" + printed(ref) + "' on " + (track ? project_.tracks[*track].name : "master") +
                      ". Effects: " + list + ".");
}

ClipLocation Studio::clipLocation(const json* ref) const {
    if (!ref || !ref->is_string()) throw StudioError("Missing 'clip' id (e.g. \"c4\").");
    return clipLocationOf(ref->get<std::string>());
}

ClipLocation Studio::clipLocationOf(std::string_view id) const {
    if (auto at = project_.clipLocation(id)) return *at;
    throw StudioError("No clip '" + std::string(id) + "'.", NotFound::clip);
}

const Clip* Studio::clip(std::string_view id) const {
    auto at = project_.clipLocation(id);
    return at ? &project_.tracks[at->track].clips[at->clip] : nullptr;
}

} // namespace velmo
