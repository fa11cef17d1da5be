// The arrangement's sizes and the formulas its gestures follow: where a clip sits and how wide
// it is, what a ruler drag does to the loop, where a double-click puts a new clip, and where a
// moved or resized clip ends up. Pure functions of pixels, beats and the song.
#pragma once

#include "model/Project.h"

#include <cstddef>
#include <optional>
#include <utility>

namespace velmo::ArrangementGeometry {

inline constexpr int headerWidth = 280;
inline constexpr int rulerHeight = 28;
inline constexpr int rowHeight = 60;
inline constexpr int clipHeight = 48;
inline constexpr int addTrackRowHeight = 40;
inline constexpr int resizeHandleWidth = 8;
// A ruler drag within this many pixels is a click; a clip moves after 3, a resize after 1.
inline constexpr double rulerClickPixels = 4;
inline constexpr double moveMinimumPixels = 3;
inline constexpr double resizeMinimumPixels = 1;

inline constexpr double defaultZoom = 22, minZoom = 4, maxZoom = 200;  // pixels per beat

// The timeline's length: room for four bars behind the song and two behind the loop, at least
// 64 beats, in whole bars.
double totalBeats(const Project& project);

// A clip's drawn width: its length less a 3-pixel gap, never under 6 pixels.
double clipWidth(double length, double ppb);

// The clip's rectangle in the lanes: row `track`, vertically centred in it.
struct Rect {
    double x, y, width, height;
    bool contains(double px, double py) const { return px >= x && px < x + width && py >= y && py < y + height; }
};
Rect clipRect(const Clip& clip, std::size_t track, double ppb);

// A double-click at `x` makes a clip at the start of that bar.
double newClipStart(double x, double ppb, int beatsPerBar);

// A ruler click at `x` seeks to the nearest sixteenth, not before 0.
double seekBeat(double x, double ppb);

// The loop a ruler drag from `fromX` to `toX` sets: both ends on the nearest bar line, not before
// 0, as (start, end); nothing when both fall on the same bar line.
std::optional<std::pair<double, double>> loopFromDrag(double fromX, double toX, double ppb, int beatsPerBar);

// Where a clip dragged by (dx, dy) lands: whole beats in time, whole rows across tracks, within
// the tracks there are. The start may come out below 0; moving the clip clamps it.
struct Move {
    double start;
    std::size_t track;
};
Move movedClip(double start, std::size_t track, std::size_t trackCount, double dx, double dy, double ppb);

// A resize that began at `lengthAtStart` beats and has travelled `dx` pixels: whole beats, at
// least one.
double resizedLength(double lengthAtStart, double dx, double ppb);

} // namespace velmo::ArrangementGeometry
