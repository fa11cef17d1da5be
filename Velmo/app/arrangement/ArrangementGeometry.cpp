#include "arrangement/ArrangementGeometry.h"

#include <algorithm>
#include <cmath>

namespace velmo::ArrangementGeometry {

double totalBeats(const Project& project) {
    const double bar = project.beatsPerBar;
    const double beats = std::max({64.0, project.songEnd() + 4 * bar, project.loopEnd + 2 * bar});
    return std::ceil(beats / bar) * bar;
}

double clipWidth(double length, double ppb) { return std::max(length * ppb - 3, 6.0); }

Rect clipRect(const Clip& clip, std::size_t track, double ppb) {
    const double top = static_cast<double>(track) * rowHeight + (rowHeight - clipHeight) / 2.0;
    return {clip.start * ppb, top, clipWidth(clip.length, ppb), clipHeight};
}

double newClipStart(double x, double ppb, int beatsPerBar) {
    return beatsPerBar * std::floor(x / ppb / beatsPerBar);
}

double seekBeat(double x, double ppb) { return std::max(std::round(x / ppb * 4) * 0.25, 0.0); }

std::optional<std::pair<double, double>> loopFromDrag(double fromX, double toX, double ppb, int beatsPerBar) {
    const auto onBar = [&](double x) { return std::max(std::round(x / ppb / beatsPerBar) * beatsPerBar, 0.0); };
    const double a = onBar(fromX), b = onBar(toX);
    if (a == b) return std::nullopt;
    return std::pair{std::min(a, b), std::max(a, b)};
}

Move movedClip(double start, std::size_t track, std::size_t trackCount, double dx, double dy, double ppb) {
    const double row = static_cast<double>(track) + std::round(dy / rowHeight);
    const double last = trackCount ? static_cast<double>(trackCount - 1) : 0.0;
    return {start + std::round(dx / ppb), static_cast<std::size_t>(std::clamp(row, 0.0, last))};
}

double resizedLength(double lengthAtStart, double dx, double ppb) {
    return std::max(std::round((lengthAtStart * ppb + dx) / ppb), 1.0);
}

} // namespace velmo::ArrangementGeometry
