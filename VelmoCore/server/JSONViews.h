// The read-outs most tools return: a project, track, clip, effect, patch and MIDI route as JSON
// with the tools' snake_case keys, numbers rounded for reading (beats and mix values to 4 places,
// decibels to 1, halves away from zero), and a patch shown only as far as it sounds.
#pragma once

#include "model/Project.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <optional>

namespace velmo {

class MIDIHub;

// Rounded to `places` decimals, halves away from zero.
double roundTo(double value, int places);

struct TransportView {
    bool playing = false;
    double beat = 0;
};

nlohmann::json noteJSON(const Note& note);
nlohmann::json clipJSON(const Clip& clip, bool notes);
nlohmann::json effectJSON(const EffectSlot& slot);
// `connected` asks the hub (if there is one) whether the device name resolves now.
nlohmann::json routeJSON(const MIDIRoute& route, const MIDIHub* hub);
nlohmann::json trackJSON(const Track& track, std::size_t index, bool notes, const MIDIHub* hub);
nlohmann::json projectJSON(const Project& project, bool notes, TransportView transport,
                           const std::optional<std::filesystem::path>& file, const MIDIHub* hub);
nlohmann::json patchJSON(const SynthPatch& patch);

} // namespace velmo
