// The piano roll's maths, free of drawing and of the toolkit: where pitches and beats lie, which
// note a point hits, and the notes a gesture makes from a pointer's travel. All lengths are in
// pixels of the grid canvas, whose left edge is the clip's start and top edge pitch 108.
#pragma once

#include "model/Project.h"

#include <array>
#include <cmath>
#include <optional>

namespace velmo::PianoRollGeometry {

inline constexpr int topPitch = 108, bottomPitch = 21, rows = topPitch - bottomPitch + 1;
inline constexpr int keyColumnWidth = 64;
inline constexpr double minCanvasWidth = 200;
inline constexpr double resizeZone = 7;  // pixels left of a note's end that resize it
inline constexpr double clickSlop = 2;   // a travel up to this many pixels is still a click

// The three stored preferences, with their defaults.
struct Scale {
    double ppb = 64;     // pixels per beat, "rollZoom"
    double rowH = 13;    // pixels per pitch row, "rollRowHeight"
    double grid = 0.25;  // beats, "rollGrid"
};

// The grid menu: step in beats and its label.
inline constexpr std::array<std::pair<double, const char*>, 6> gridChoices{
    {{1.0, "1/4"}, {0.5, "1/8"}, {0.25, "1/16"}, {0.125, "1/32"}, {1.0 / 3, "1/8t"}, {1.0 / 6, "1/16t"}}};

inline int pitchAt(double y, double rowH) { return topPitch - static_cast<int>(std::floor(y / rowH)); }
inline double rowTop(int pitch, double rowH) { return (topPitch - pitch) * rowH; }
inline double canvasWidth(double clipLength, double ppb) { return std::max(clipLength * ppb, minCanvasWidth); }
inline double canvasHeight(double rowH) { return rows * rowH; }

struct Hit {
    std::size_t index;
    bool resize;  // near the note's end rather than on its body
};

// The note under (x, y): the last in the list of that pitch whose span holds the beat, so the one
// drawn on top wins.
std::optional<Hit> hit(const NoteList& notes, double x, double y, const Scale& scale);

// Where a press on empty grid at `x` starts a new note: the grid step below it, not before 0;
// nothing beyond the clip's end.
std::optional<double> newNoteStart(double x, double clipLength, const Scale& scale);

// `origin` moved by the pointer's travel: whole grid steps in time (not before 0) and whole rows
// in pitch (kept on the keyboard).
Note moved(const Note& origin, double dx, double dy, const Scale& scale);

// The duration of `origin` sized by `dx`: whole grid steps, at least one.
double sized(const Note& origin, double dx, const Scale& scale);

// A gesture that travelled no more than `clickSlop` each way is a click.
inline bool isClick(double dx, double dy) { return std::fabs(dx) <= clickSlop && std::fabs(dy) <= clickSlop; }

// The x of the clip's playhead at `beat`, or nothing while the playhead is outside the clip.
std::optional<double> playheadX(double beat, double clipStart, double clipLength, double ppb);

} // namespace velmo::PianoRollGeometry
