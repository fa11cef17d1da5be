#include "pianoroll/PianoRollGeometry.h"

#include <algorithm>
#include <cmath>

namespace velmo::PianoRollGeometry {

std::optional<Hit> hit(const NoteList& notes, double x, double y, const Scale& scale) {
    const double beat = x / scale.ppb;
    const int pitch = pitchAt(y, scale.rowH);
    for (std::size_t i = notes.size(); i-- > 0;) {
        const Note& n = notes[i];
        if (n.pitch != pitch || beat < n.start || beat > n.start + n.duration) continue;
        const double toEnd = std::fabs((n.start + n.duration) * scale.ppb - x);
        return Hit{i, toEnd < resizeZone};
    }
    return std::nullopt;
}

std::optional<double> newNoteStart(double x, double clipLength, const Scale& scale) {
    const double beat = std::max(std::floor(x / scale.ppb / scale.grid) * scale.grid, 0.0);
    if (beat > clipLength) return std::nullopt;
    return beat;
}

Note moved(const Note& origin, double dx, double dy, const Scale& scale) {
    Note n = origin;
    n.start = std::max(origin.start + std::round(dx / scale.ppb / scale.grid) * scale.grid, 0.0);
    n.pitch = std::clamp(origin.pitch - static_cast<int>(std::round(dy / scale.rowH)), bottomPitch, topPitch);
    return n;
}

double sized(const Note& origin, double dx, const Scale& scale) {
    return std::max(std::round((origin.duration + dx / scale.ppb) / scale.grid) * scale.grid, scale.grid);
}

std::optional<double> playheadX(double beat, double clipStart, double clipLength, double ppb) {
    const double x = beat - clipStart;
    if (x < 0 || x > clipLength) return std::nullopt;
    return x * ppb;
}

} // namespace velmo::PianoRollGeometry
