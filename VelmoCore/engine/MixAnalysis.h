// The measurement of a render, as the analysis tool and the command line report it. Levels are
// in dB, with kSilenceDb (-180) standing for silence (base/Decibels.h).
#pragma once

#include "base/Decibels.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velmo {

struct MixAnalysis {
    struct TrackStats {
        std::string id;
        double peakDb = kSilenceDb; // after the track's gain and pan, before the master chain
        double rmsDb = kSilenceDb;

        bool operator==(const TrackStats&) const = default;
    };

    double seconds = 0;
    double peakDb = kSilenceDb;         // output, after the limiter
    double rmsDb = kSilenceDb;          // output, after the limiter
    std::int64_t clippedSamples = 0;   // frames with either channel above 1 before the limiter
    double maxLimiterReductionDb = 0;  // deepest limiter action
    double lowRmsDb = kSilenceDb;       // below about 250 Hz, before the limiter
    double midRmsDb = kSilenceDb;       // around 1 kHz
    double highRmsDb = kSilenceDb;      // above about 4 kHz
    std::vector<TrackStats> tracks;    // in project order

    bool operator==(const MixAnalysis&) const = default;
};

} // namespace velmo
