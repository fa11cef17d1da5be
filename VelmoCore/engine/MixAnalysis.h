// The measurement of a render, as the analysis tool and the command line report it. Levels are
// in dB, with kSilenceDb (-180) standing for silence (base/Decibels.h).
#pragma once

#include "base/Decibels.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmo {

// Loudness by ITU-R BS.1770 / EBU R128, what a mastering engineer or a streaming service checks
// first. Loudness values in LUFS and the true peak in dBTP read -180 for silence, like levels.
struct Loudness {
    double integratedLufs = kSilenceDb;   // gated, over the whole render
    double rangeLu = 0;                   // loudness range: the spread of the short-term loudness
    double maxShortTermLufs = kSilenceDb; // loudest 3 s window
    double maxMomentaryLufs = kSilenceDb; // loudest 400 ms window
    double truePeakDbtp = kSilenceDb;     // peak of the 4x oversampled signal: what a DAC or codec rebuilds

    bool operator==(const Loudness&) const = default;
};

struct MixAnalysis {
    struct TrackStats {
        std::string id;
        double peakDb = kSilenceDb; // after the track's gain and pan, before the master chain
        double rmsDb = kSilenceDb;
        Loudness loudness;          // of the same signal

        // Who causes the mix's problems. `peakShare` is the track's part of the mix at the
        // frames where the limiter acts (the shares of all tracks add up to 1; 0 when it never
        // acts). `cutForPeaksDb` is how far this track alone would have to come down for no
        // frame to reach the limiter; absent when it cannot do that alone.
        double peakShare = 0;
        std::optional<double> cutForPeaksDb;
        double lowShare = 0;  // the track's part of the energy below 250 Hz
        double highShare = 0; // and above 4 kHz
        double lowMidShare = 0; // and from 200 to 500 Hz
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
    double lowMidRmsDb = kSilenceDb;    // from about 200 to 500 Hz, where mud gathers
    double wholeBandRmsDb = kSilenceDb; // all of it: the signal these bands are cut from
    double peakBeforeLimiterDb = kSilenceDb; // the loudest frame after master gain, before the limiter
    std::int64_t limitedFrames = 0;    // frames at which the limiter acts (above its ceiling)
    Loudness loudness;                 // of the output, as it would be exported
    std::vector<TrackStats> tracks;    // in project order

    // The problems the report warns about; the warnings and the culprits ask the same questions.
    bool hitsLimiter() const { return clippedSamples >= 1 || maxLimiterReductionDb > 1; }
    bool lowEndHeavy() const { return lowRmsDb > midRmsDb + 6; }
    // Pads, keys, guitars and the bass's upper harmonics all pile into 200-500 Hz, and a mix where
    // they meet sounds boxy and blurred. The demo song holds 14% of its energy there (-8.6 dB), and
    // at most 32% (-5.0 dB) with any factory preset in place of its pad, bells or bass. Half of it
    // (-3 dB) is one band crowding out the rest. A single instrument alone, chords from C3 up, can
    // hold up to 78%: heard alone it is that thick.
    static constexpr double muddyShareDb = -3;
    bool muddy() const { return lowMidRmsDb > kSilenceDb && lowMidRmsDb > wholeBandRmsDb + muddyShareDb; }
    double lowMidEnergyShare() const { return std::pow(10.0, (lowMidRmsDb - wholeBandRmsDb) / 10); } // 0 to about 1
    bool dull() const { return highRmsDb < midRmsDb - 24; }
    bool harsh() const { return !dull() && highRmsDb > midRmsDb; }

    bool operator==(const MixAnalysis&) const = default;
};

} // namespace velmo
