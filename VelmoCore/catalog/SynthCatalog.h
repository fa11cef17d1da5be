// The one table of everything about a sound that can be set from outside: 149 parameter rows with
// path, label, section, range or options, unit and help. The path tools validate against it, the
// reference text prints it and the synth editor builds its knobs from it; the patch record
// itself holds no ranges. Built once on first use, from any thread, and never changed after.
#pragma once

#include "catalog/ParamInfo.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace velmo::SynthCatalog {

// Every row in catalog order: the engines' rows (analog, wavetable, fm, additive, pluck, modal,
// drums), then the shared filter, envelopes, LFOs, modulation slots and voice.
const std::vector<ParamInfo>& params();

// The rows by path. Only leaves are parameters: there is no row for "engine", "mod" or
// "additive.harmonics".
const std::map<std::string, ParamInfo, std::less<>>& byPath();

// The row for `path`, or nullptr.
const ParamInfo* find(std::string_view path);

// The section names of the rows that `engine` shows (its own and the shared ones), each once, in
// order of first appearance.
std::vector<std::string> sections(EngineKind engine);

} // namespace velmo::SynthCatalog
