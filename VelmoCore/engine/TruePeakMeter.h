// The true peak of a stereo signal: the largest magnitude of the signal rebuilt between its
// samples, as a converter or a codec's decoder rebuilds it, found by 4x oversampling with a
// 49-tap windowed-sinc interpolator. It is computed only where the samples nearby are loud
// enough for an in-between value to rise above the peak found so far, which leaves most quiet
// passages at the cost of a maximum.
#pragma once

#include <array>

namespace velmo {

// One thread at a time: the thread of the offline render that owns it. Allocates nothing.
class TruePeakMeter {
public:
    static constexpr int taps = 12; // input samples under each in-between phase

    // `n` frames of the two channels, any count.
    void add(const float* left, const float* right, int n);
    // The largest magnitude so far, linear; at least the sample peak.
    double peak() const { return peak_; }

private:
    static constexpr int chunk = 32;
    struct Channel {
        // The last taps - 1 samples, then the chunk being measured.
        std::array<float, taps - 1 + chunk> history{};
    };
    void addChunk(Channel& channel, const float* samples, int n);

    Channel left_, right_;
    double peak_ = 0;
};

} // namespace velmo
