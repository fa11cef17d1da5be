// The ranges of a song's own settings, which the synth and effect catalogs do not cover: tempo,
// fader levels and pan. The tools, a new project and the window's controls clamp to these, so a
// value means the same wherever it is set. Constants: any thread.
#pragma once

#include <algorithm>

namespace velmo {

// Values outside min...max are clamped, never refused.
struct SettingRange {
    double min = 0;
    double max = 1;

    constexpr double clamp(double value) const { return std::clamp(value, min, max); }
};

inline constexpr SettingRange kTempoRange{20, 300};    // beats per minute
inline constexpr SettingRange kVolumeDbRange{-60, 6};  // track and master faders, in dB
inline constexpr SettingRange kPanRange{-1, 1};        // -1 hard left, 1 hard right

} // namespace velmo
