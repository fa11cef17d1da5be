// What one note of a track's sound is like to a listener, measured from an offline render of that
// note alone: the pitch it actually sounds at, how it starts, holds and dies away, how loud, how
// bright and how noisy it is, and whether it clicks. An agent that designs sounds without hearing
// them checks its work with this.
#pragma once

#include "engine/MixAnalysis.h"
#include "model/Project.h"

#include <optional>

namespace velmo {

struct SoundPortrait {
    double heldSeconds = 0;                 // the key was down this long
    double renderedSeconds = 0;             // held, and then the tail until silence or the limit
    std::optional<double> pitchHz;          // the fundamental heard; absent when the sound has none
    double peakDb = kSilenceDb; // largest sample of either channel
    double rmsDb = kSilenceDb;  // while the key is down
    double attackSeconds = 0;               // note-on to the top of the envelope
    std::optional<double> decaySeconds;     // top to 20 dB below it while the key is down
    double levelAtReleaseDb = kSilenceDb; // the envelope at note-off against its top
    std::optional<double> release20Seconds; // note-off to 20 dB below the level there
    std::optional<double> release60Seconds; // and to 60 dB below it
    double centroidHz = 0;                  // spectral centroid while the key is down
    double brightness = 0;                  // share of the energy above 1.5 kHz
    double lowShare = 0, midShare = 0, highShare = 0; // below 250 Hz, 250 Hz to 4 kHz, above 4 kHz
    double noisiness = 1;                   // 0 for a steady periodic tone, near 1 for noise
    bool clickAtStart = false;              // a jump at note-on, broadband and far above the tone's own top
    bool clickAtEnd = false;                // the same just after note-off

    bool operator==(const SoundPortrait&) const = default;
};

// Any thread; allocates. Renders `track`'s patch, through its insert effects when `withEffects`
// (but never its volume, pan or the master), playing `pitch` at `velocity` held for
// `holdSeconds` (0.01 to 10), then lets it ring for up to 10 s until it falls 70 dB under its
// top. `tempo` drives synced LFOs and delays.
SoundPortrait portraitOf(const Track& track, int pitch, double velocity, double holdSeconds, bool withEffects,
                         double tempo, double sampleRate = 44100);

} // namespace velmo
