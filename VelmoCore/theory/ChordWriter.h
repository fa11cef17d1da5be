// A chord progression written as notes: each chord voiced (a told inversion, or led from the
// chord before), optionally doubled by its root below, then played as a block, a strum or an
// arpeggio. Everything is computed before anything is returned, so a bad symbol late in a
// progression leaves the caller nothing half-written. Stateless apart from the random stream
// the caller passes: any thread.
#pragma once

#include "base/Rand.h"
#include "model/Project.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmo::MusicTheory {

struct ChordEvent {
    std::string symbol;            // "Am7", "C/E"
    double start = 0;              // beats
    double duration = 4;           // beats
    int octave = 4;                // of the root; 4 puts C at 60
    std::optional<int> inversion;  // absent: led from the chord before, or root position
    double velocity = 0.7;         // 0 to 1
};

enum class ChordStyle { block, strum, arpUp, arpDown, arpUpDown, arpRandom };

struct ChordPlaying {
    ChordStyle style = ChordStyle::block;
    double rate = 0.25;     // beats: the arpeggio's step, or the strum's delay from string to string
    bool voiceLead = true;  // chords without an inversion follow the one before
    bool bass = false;      // add the root an octave below everything
};

// The rate when none is given: sixteenths for an arpeggio, a quick strum.
inline constexpr double kDefaultArpeggioStep = 0.25;
inline constexpr double kDefaultStrumSpread = 0.03;

struct WrittenProgression {
    std::vector<Note> notes;
    std::vector<std::string> voicings;  // "Am7: A4 C5 E5 G5", one per chord, the bass left out
};

// Throws ParamError for an unreadable symbol, and a UserError for an arpeggio of more than
// kMaxSteps steps. `random` is drawn only by arpRandom, once per step.
WrittenProgression writeProgression(const std::vector<ChordEvent>& chords, const ChordPlaying& playing, Rand& random);

// One piece of a progression text: "Am7" or "Am7:2" (two beats) at `start`. Empty parts around
// ":" are dropped; a length that is no finite number leaves `defaults.duration`. Octave and
// velocity come from `defaults`.
ChordEvent chordPiece(std::string_view piece, double start, const ChordEvent& defaults);

// "Am7 D7:2 Gmaj7": the pieces between blanks, one after the other from `start`.
std::vector<ChordEvent> parseProgression(std::string_view text, double start, const ChordEvent& defaults);

} // namespace velmo::MusicTheory
