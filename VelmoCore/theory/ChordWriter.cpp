#include "theory/ChordWriter.h"

#include "base/NumberText.h"
#include "theory/Chords.h"
#include "theory/NoteNames.h"
#include "theory/Steps.h"
#include "theory/TextScan.h"
#include "theory/Voicing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace velmo::MusicTheory {

namespace {

// A strum's later strings start later and end with the chord, but each sounds at least this
// many beats, so a strum longer than its chord still plays every string.
constexpr double kStrumMinDuration = 0.05;
// Each later string of a strum is this much softer (of the chord's velocity), as a pick loses
// force across the strings.
constexpr double kStrumFade = 0.04;
// Every second arpeggio step is played at this share of the velocity, which gives the pattern
// its pulse.
constexpr double kOffbeatVelocity = 0.85;

std::vector<int> voiced(const ChordEvent& chord, const ChordPlaying& playing, const std::vector<int>& previous) {
    if (chord.inversion) return chordPitches(chord.symbol, chord.octave, *chord.inversion);
    if (!playing.voiceLead || previous.empty()) return chordPitches(chord.symbol, chord.octave, 0);
    return voiceLead(chord.symbol, chord.octave, previous);
}

// The root of the chord (a slash bass ignored) below the lowest note of its voicing.
int bassUnder(const ChordEvent& chord, const std::vector<int>& voicing) {
    const std::string root = chord.symbol.substr(0, chord.symbol.find('/'));
    const int lowest = *std::min_element(voicing.begin(), voicing.end());
    int pitch = chordPitches(root, chord.octave, 0).front() - 12;
    while (pitch >= lowest) pitch -= 12;
    return std::max(pitch, 0);
}

std::string voicingText(const std::string& symbol, const std::vector<int>& pitches) {
    std::string text = symbol + ":";
    for (int pitch : pitches) text += " " + noteName(pitch);
    return text;
}

void strum(const ChordEvent& chord, const std::vector<int>& voicing, double spread, std::vector<Note>& notes) {
    for (std::size_t i = 0; i < voicing.size(); ++i) {
        const double offset = spread * static_cast<double>(i);
        const double duration = std::max(chord.duration - offset, kStrumMinDuration);
        notes.push_back({voicing[i], chord.start + offset, duration, chord.velocity * (1 - kStrumFade * static_cast<double>(i))});
    }
}

void arpeggiate(const ChordEvent& chord, const std::vector<int>& voicing, ChordStyle style, double step, Rand& random,
                std::vector<Note>& notes) {
    std::vector<int> ascending = voicing;
    std::sort(ascending.begin(), ascending.end());
    std::vector<int> order = ascending;
    if (style == ChordStyle::arpDown) {
        std::reverse(order.begin(), order.end());
    } else if (style == ChordStyle::arpUpDown && ascending.size() > 2) {
        // A B C D becomes A B C D C B: the turning points are not repeated.
        order.insert(order.end(), ascending.rbegin() + 1, ascending.rend() - 1);
    }
    const std::int64_t steps = stepCount(chord.duration, step, "The arpeggio of '" + chord.symbol + "'", "Use a larger 'rate'.");
    for (std::int64_t i = 0; i < steps; ++i) {
        int pitch = 0;
        if (style == ChordStyle::arpRandom) {
            const auto count = static_cast<std::uint64_t>(ascending.size());
            pitch = ascending[static_cast<std::size_t>(static_cast<std::uint64_t>(random.unit() * double(count)) % count)];
        } else {
            pitch = order[static_cast<std::size_t>(i) % order.size()];
        }
        const double velocity = i % 2 == 0 ? chord.velocity : chord.velocity * kOffbeatVelocity;
        notes.push_back({pitch, chord.start + step * static_cast<double>(i), step * kStepGate, velocity});
    }
}

} // namespace

WrittenProgression writeProgression(const std::vector<ChordEvent>& chords, const ChordPlaying& playing, Rand& random) {
    WrittenProgression written;
    std::vector<int> previous;
    for (const ChordEvent& chord : chords) {
        const std::vector<int> voicing = voiced(chord, playing, previous);
        written.voicings.push_back(voicingText(chord.symbol, voicing));
        previous = voicing;

        if (playing.bass) written.notes.push_back({bassUnder(chord, voicing), chord.start, chord.duration, chord.velocity});
        switch (playing.style) {
        case ChordStyle::block:
            for (int pitch : voicing) written.notes.push_back({pitch, chord.start, chord.duration, chord.velocity});
            break;
        case ChordStyle::strum: strum(chord, voicing, playing.rate, written.notes); break;
        case ChordStyle::arpUp:
        case ChordStyle::arpDown:
        case ChordStyle::arpUpDown:
        case ChordStyle::arpRandom: arpeggiate(chord, voicing, playing.style, playing.rate, random, written.notes); break;
        }
    }
    return written;
}

ChordEvent chordPiece(std::string_view piece, double start, const ChordEvent& defaults) {
    std::vector<std::string_view> parts;
    std::size_t from = 0;
    while (from <= piece.size()) {
        std::size_t colon = piece.find(':', from);
        if (colon == std::string_view::npos) colon = piece.size();
        if (colon > from) parts.push_back(piece.substr(from, colon - from));
        from = colon + 1;
    }
    ChordEvent chord = defaults;
    chord.symbol = parts.empty() ? std::string() : std::string(parts[0]);
    chord.start = start;
    chord.inversion.reset();
    if (parts.size() > 1) {
        if (auto length = parseNumber(parts[1]); length && std::isfinite(*length)) chord.duration = *length;
    }
    return chord;
}

std::vector<ChordEvent> parseProgression(std::string_view text, double start, const ChordEvent& defaults) {
    std::vector<ChordEvent> chords;
    std::size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && detail::isWhiteSpace(text[i])) ++i;
        const std::size_t begin = i;
        while (i < text.size() && !detail::isWhiteSpace(text[i])) ++i;
        if (i == begin) continue;
        chords.push_back(chordPiece(text.substr(begin, i - begin), start, defaults));
        start += chords.back().duration;
    }
    return chords;
}

} // namespace velmo::MusicTheory
