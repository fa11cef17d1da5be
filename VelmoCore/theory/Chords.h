// Chord symbols to pitches: a root ("C", "F#", "Bb"), a quality suffix from a fixed table ("m7",
// "maj9", "ø7", "" for major), an optional slash bass ("C/E"), and an inversion. Stateless: any thread.
#pragma once

#include <string_view>
#include <vector>

namespace velmo::MusicTheory {

struct ChordQuality {
    std::string_view suffix;  // exactly what follows the root; empty means a major triad
    std::vector<int> offsets; // semitones above the root, in voicing order
};

// The 48 qualities in search order, which is also the order the failure message lists them in.
const std::vector<ChordQuality>& chordQualities();

// True when `symbol` (trimmed) carries a slash bass: it holds a "/" and does not end in "6/9".
// "C6/9" is one chord; "C6/9/E" is that chord over E.
bool hasSlashBass(std::string_view symbol);

// The pitches of a chord with its root in `octave` (octave 4 puts C at 60): the quality's offsets
// in table order, the first `inversion` of them raised an octave and moved to the end (at most
// one fewer than the notes), then a slash bass placed below everything. Each pitch is clamped to
// 0..127; duplicates stay. Throws ParamError for an unreadable root, quality or bass.
std::vector<int> chordPitches(std::string_view symbol, int octave, int inversion);

} // namespace velmo::MusicTheory
