// Loudness of a stereo signal by ITU-R BS.1770 / EBU R128, measured with libebur128 (the
// implementation ffmpeg and mpv use): integrated loudness, loudness range, the loudest momentary
// and short-term windows; and the true peak, by TruePeakMeter.
#pragma once

#include "engine/MixAnalysis.h"
#include "engine/TruePeakMeter.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace velmo {

// One thread at a time: the thread of the offline render that owns it.
class LoudnessMeter {
public:
    // Allocates all it will need (in histogram mode the library keeps fixed-size histograms
    // instead of a list of blocks), so that `add` never allocates. Throws std::bad_alloc when
    // the library cannot make its state.
    explicit LoudnessMeter(double sampleRate);
    ~LoudnessMeter();
    LoudnessMeter(LoudnessMeter&&) noexcept;
    LoudnessMeter& operator=(LoudnessMeter&&) noexcept;

    // `n` frames of the two channels. Never allocates.
    void add(const float* left, const float* right, int n);
    // The measurement of everything added so far; frames still buffered are measured first.
    Loudness result();

private:
    // The library's state, kept out of this header: its header puts enumerations named `mode`,
    // `error` and `channel` into the global scope.
    struct State;
    void flush();

    std::unique_ptr<State> state_;
    std::vector<float> interleaved_; // one hop of frames, left and right in turn
    std::size_t buffered_ = 0;       // frames waiting in `interleaved_`
    std::array<double, 30> hopEnergy_{}; // the last 3 s, as the mean squares of 100 ms blocks
    std::size_t hops_ = 0;               // whole blocks measured
    double maxMomentary_;                // LUFS, -inf until measured
    double maxShortTerm_;
    TruePeakMeter truePeak_;
};

} // namespace velmo
