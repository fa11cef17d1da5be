// The measurement of a render, as the analysis tool and the command line report it. Levels are
// in dB, with -180 standing for silence (a linear level of 1e-9 or less).
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace velmo {

struct MixAnalysis {
    static constexpr double silenceDb = -180.0;

    struct TrackStats {
        std::string id;
        double peakDb = silenceDb; // after the track's gain and pan, before the master chain
        double rmsDb = silenceDb;

        bool operator==(const TrackStats&) const = default;
    };

    double seconds = 0;
    double peakDb = silenceDb;         // output, after the limiter
    double rmsDb = silenceDb;          // output, after the limiter
    std::int64_t clippedSamples = 0;   // frames with either channel above 1 before the limiter
    double maxLimiterReductionDb = 0;  // deepest limiter action
    double lowRmsDb = silenceDb;       // below about 250 Hz, before the limiter
    double midRmsDb = silenceDb;       // around 1 kHz
    double highRmsDb = silenceDb;      // above about 4 kHz
    std::vector<TrackStats> tracks;    // in project order

    static double toDb(double level) { return level > 1e-9 ? 20.0 * std::log10(level) : silenceDb; }

    bool operator==(const MixAnalysis&) const = default;
};

} // namespace velmo
