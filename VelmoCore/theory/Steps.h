// Filling time with repeated notes, as the arpeggio and drum-lane writers do: how many steps of
// one length fit a span, the most a single call may write, and how long each step sounds.
// Stateless: any thread.
#pragma once

#include <cstdint>
#include <string>

namespace velmo::MusicTheory {

// A step's note sounds for this share of the step, so that repeated notes stay apart.
inline constexpr double kStepGate = 0.9;

// More steps than this in one arpeggiated chord or one drum lane is a mistake (a step of 1e-6
// beats, a clip of a million beats), not music: it is refused before anything is written,
// rather than filling memory or hanging the main queue.
inline constexpr std::int64_t kMaxSteps = 100000;

// floor(span / step), at least 1; 0.3 / 0.1 is 3 steps, not 2. A step of 0 or below is not
// refused: it gives one step, as a negative quotient does. More than kMaxSteps throws a
// UserError: `what` + " would take N steps; the limit is 100000. " + `advice`.
std::int64_t stepCount(double span, double step, const std::string& what, const std::string& advice);

} // namespace velmo::MusicTheory
