// The snapshot the audio core publishes after every callback under its status lock, and that
// the control side copies thirty times a second for meters, playheads and the scope.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace velmo {

struct EngineStatus {
    static constexpr std::size_t scopeSize = 512;

    bool playing = false;
    double beat = 0;
    float masterPeak = 0;
    std::vector<std::string> trackIDs;
    std::vector<float> trackPeaks;         // same length as trackIDs
    std::array<float, scopeSize> scope{};  // mono output, oldest first
    // Blocks in which a track or the master bus made a non-finite sample, since the core began:
    // each was replaced by silence (and the track's voices cleared) before it reached the output.
    std::int64_t nonFiniteBlocks = 0;

    bool operator==(const EngineStatus&) const = default;
};

} // namespace velmo
