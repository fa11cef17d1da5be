// The measurements of a render beyond its levels: the loudness of the mix and of each track, and
// who causes the mix's problems, as each track's part of the frames where the limiter acts and of
// the energy in the three analysis bands. The engine core feeds it block by block while it
// measures.
#pragma once

#include "dsp/Biquad.h"
#include "engine/LoudnessMeter.h"
#include "engine/MixAnalysis.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace velmo {

class TrackProcessor;

// The analysis bands of the mix, in this order: a low-pass at 250 Hz, a band-pass at 1 kHz, a
// high-pass at 4 kHz and a band-pass from 200 to 500 Hz. Each track's share is measured in all but
// the 1 kHz band, the ones the warnings name culprits of.
std::array<Biquad, 4> analysisBands(double sampleRate);

// Thread of the offline render that owns the core: made when the measurement starts, fed by
// `EngineCore::render`. Feeding allocates nothing.
class MixMeter {
public:
    // Allocates everything for `trackCount` tracks.
    MixMeter(double sampleRate, std::size_t trackCount);

    // One block of `n` frames. `tracks` in project order, their block output ready; `preL` and
    // `preR` are the master after its chain and gain, before the limiter; `outL` and `outR` the
    // output. Tracks are measured only while their count is the one the meter was made for.
    void block(int n, const std::vector<std::unique_ptr<TrackProcessor>>& tracks, const float* preL, const float* preR,
               const float* outL, const float* outR);

    // Adds the loudness and the limiter's figures to `analysis`, and to each of its tracks, which
    // are in the order the meter was fed, their loudness and shares.
    void finish(MixAnalysis& analysis);

private:
    struct TrackMeter {
        LoudnessMeter loudness;
        Biquad low, high, lowMid;
        double lowEnergy = 0, highEnergy = 0, lowMidEnergy = 0;
        double peakPart = 0;     // sum of its part of the mix in the limiter's frames
        double lowestGain = 1;   // the gain it alone would need for the mix to stay under the ceiling
        bool cannotAlone = false;
    };

    void attributePeak(float pre, std::size_t channel, const std::vector<std::unique_ptr<TrackProcessor>>& tracks, int frame);

    LoudnessMeter master_;
    std::vector<TrackMeter> tracks_;
    double peakTotal_ = 0; // sum of the mix's magnitude in the limiter's frames
    double peakBeforeLimiter_ = 0;
    std::int64_t limitedFrames_ = 0;
};

} // namespace velmo
