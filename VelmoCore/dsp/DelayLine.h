// The circular float buffer shared by the time-based effects. Each effect indexes `buf` from `w`
// in its own way and wraps `w` to 0 when it reaches `size`; the two helpers below are the ways
// that the chorus and the delay share.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace velmo {

// Audio thread only once made; made (and sized) on whichever thread makes its effect.
struct DelayLine {
    int size;              // length in samples, at least 4
    std::vector<float> buf; // zeroed at creation; never resized after
    int w = 0;             // write index

    explicit DelayLine(int maxSamples) : size(std::max(maxSamples, 4)), buf(static_cast<std::size_t>(size), 0.0f) {}
};

// Silences the whole line; the write index stays. No allocation.
inline void clear(DelayLine& line) { std::fill(line.buf.begin(), line.buf.end(), 0.0f); }

// Writes `x` at `w` and advances `w`.
inline void push(DelayLine& line, float x) {
    line.buf[static_cast<std::size_t>(line.w)] = x;
    if (++line.w == line.size) line.w = 0;
}

// The sample `delay` frames (a real number, less than `size`) before index w - 1, linearly
// interpolated. After `push` that index holds the newest sample; before it, the previous one.
inline float tapBehind(const DelayLine& line, double delay) {
    double position = (line.w - 1) - delay;
    while (position < 0.0) position += line.size;
    const int i = static_cast<int>(position);
    const double frac = position - i;
    const float a = line.buf[static_cast<std::size_t>(i % line.size)];
    const float b = line.buf[static_cast<std::size_t>((i + 1) % line.size)];
    return static_cast<float>(a + (b - a) * frac);
}

} // namespace velmo
