// The high-rate playback state that meters, playheads and keyboards read: refreshed from the
// engine's status thirty times a second while a device plays, and set at once by the transport
// and live-note operations. Kept apart from the song, which changes only on edits.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace velmo {

// Main queue only: written by the Studio, read by views.
struct LiveState {
    bool isPlaying = false;
    double beat = 0;                                  // playhead, beats
    float masterLevel = 0;                            // master peak since the last snapshot
    std::map<std::string, float> trackLevels;         // track id to peak
    std::vector<float> scope;                         // oscilloscope samples, oldest first
    std::map<std::string, std::set<int>> heldPitches; // track id to pitches held live

    bool operator==(const LiveState&) const = default;
};

} // namespace velmo
