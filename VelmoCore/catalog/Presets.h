// The factory sound library: 31 complete patches, each a named starting point for one engine and
// one musical role. Loading a preset replaces a track's whole patch. Built once on first use,
// on whichever thread asks first, and never changed.
#pragma once

#include "model/SynthPatch.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace velmo {

struct Preset {
    std::string name;
    std::string category;  // one of Presets::categories
    SynthPatch patch;

    bool operator==(const Preset&) const = default;
};

namespace Presets {

// The roles the library covers, as the agent's preset list and the editor's menu show them.
inline constexpr std::array<std::string_view, 8> categories{"Lead",  "Bass",   "Pad", "Keys",
                                                            "Pluck", "Mallet", "FX",  "Drums"};

// Every preset in library order: by engine, analog first, then per engine by role.
const std::vector<Preset>& all();

// The first preset whose lower-cased name equals `name` lower-cased with each "_" read as a blank,
// so "acid_bass", "Acid Bass" and "ACID BASS" all find "Acid Bass". No partial matches: "acid"
// finds nothing (nullptr). The pointer stays valid for the life of the process.
const Preset* named(std::string_view name);

// The first preset in library order that uses `engine`, or nullptr: the sound a new track of that
// engine starts with.
const Preset* firstFor(EngineKind engine);

// "Unknown preset '<text>'. Presets: Init Saw, Fat Bass, ... ." quoting the text as given.
std::string unknownPresetMessage(std::string_view text);

} // namespace Presets

} // namespace velmo
