// How periodic a stretch of sound is, and its period: the YIN difference function for the first
// clear repeat, then the same difference at a lag of many periods, which pins the period to a
// small fraction of a sample (a tenth of a cent at 440 Hz).
#pragma once

#include <optional>
#include <span>

namespace velmo {

struct Periodicity {
    std::optional<double> periodFrames; // absent when nothing repeats clearly
    double aperiodicity = 1;            // YIN's normalised difference at the period: 0 repeats exactly, ~1 noise
};

// Stateless; any thread. Looks for periods between sampleRate / highestHz and sampleRate /
// lowestHz frames; `x` should hold at least three of the longest.
Periodicity findPeriod(std::span<const double> x, double sampleRate, double lowestHz = 30, double highestHz = 5000);

} // namespace velmo
