// Decibels and linear gain, both ways, and the level that counts as silence. Faders, makeup and
// output gains, the compressor's detector, the limiter's reduction and the mix analysis all
// convert here, so "-6 dB" means one gain everywhere. Pure functions: any thread, no allocation.
#pragma once

#include <cmath>

namespace velmo {

// A linear level at or below kSilenceLevel is silence and reads as kSilenceDb, not as a
// logarithm racing towards -infinity.
inline constexpr double kSilenceLevel = 1e-9;
inline constexpr double kSilenceDb = -180.0;  // 20 log10(kSilenceLevel)

// -80 dB: an oscillator, sub, noise layer or partial at or under this level is not rendered at
// all, which saves its work without an audible difference.
inline constexpr double kInaudibleLevel = 1e-4;

// ln(1000): a level falls by 60 dB, a factor of 1000, in what the synths call a decay or ring
// time, so a per-sample factor over a time T is exp(-kLn1000 / (T * sampleRate)).
inline constexpr double kLn1000 = 6.907755;

// 0 dB is a gain of 1; every 20 dB is a factor of ten.
inline double dbToGain(double db) { return std::pow(10.0, db / 20.0); }

// The level in dB, or kSilenceDb at and below the silence floor (zero and negatives included).
inline double gainToDb(double level) { return level > kSilenceLevel ? 20.0 * std::log10(level) : kSilenceDb; }

} // namespace velmo
