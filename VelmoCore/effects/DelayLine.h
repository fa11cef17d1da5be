// The circular float buffer shared by the time-based effects. It has no read operation: each
// effect indexes `buf` from `w` in its own way and wraps `w` to 0 when it reaches `size`.
#pragma once

#include <algorithm>
#include <vector>

namespace velmo {

// Audio thread only once made; made (and sized) on whichever thread makes its effect.
struct DelayLine {
    int size;              // length in samples, at least 4
    std::vector<float> buf; // zeroed at creation; never resized after
    int w = 0;             // write index

    explicit DelayLine(int maxSamples) : size(std::max(maxSamples, 4)), buf(static_cast<std::size_t>(size), 0.0f) {}
};

} // namespace velmo
