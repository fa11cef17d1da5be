#include "arrangement/ArrangementPainter.h"

#include "Theme.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace velmo::ArrangementPainter {

namespace G = ArrangementGeometry;

namespace {

// Lines are drawn only where they stay this far apart.
constexpr double minLineGap = 6;

bool isDrums(const Track& track) { return track.patch.engine == EngineKind::drums; }

} // namespace

void paintLanes(QPainter& painter, const QRectF& exposed, const Project& project,
                const std::optional<std::string>& selectedTrack, double ppb) {
    const Palette& p = Theme::palette();
    painter.fillRect(exposed, p.body);
    const auto first = static_cast<std::size_t>(std::max(0.0, std::floor(exposed.top() / G::rowHeight)));
    for (std::size_t i = first; i < project.tracks.size() && i * G::rowHeight < exposed.bottom(); ++i) {
        const Track& track = project.tracks[i];
        const QRectF lane(exposed.left(), static_cast<double>(i * G::rowHeight), exposed.width(), G::rowHeight);
        QColor tint = Theme::trackColor(track.colorIndex);
        tint.setAlphaF(Theme::dark() ? 0.10 : 0.07);
        painter.setOpacity(selectedTrack == track.id ? 1.0 : 0.55);
        painter.fillRect(lane, p.surface);
        painter.fillRect(lane, tint);
        painter.setOpacity(1.0);
        painter.fillRect(QRectF(lane.left(), lane.bottom() - 1, lane.width(), 1), p.line);
    }
    // Beats faintly, bars plainly, each only while they stay apart.
    const int bar = std::max(project.beatsPerBar, 1);
    const bool beats = ppb >= minLineGap;
    const double step = beats ? 1 : bar * std::ceil(minLineGap / (ppb * bar));
    QColor faint = p.line;
    faint.setAlphaF(0.5);
    for (double b = std::floor(exposed.left() / ppb / step) * step; b * ppb <= exposed.right(); b += step) {
        const bool onBar = std::fmod(b, bar) == 0;
        painter.fillRect(QRectF(b * ppb, exposed.top(), 1, exposed.height()), onBar ? p.line : faint);
    }
}

void paintClips(QPainter& painter, const QRectF& exposed, const Project& project,
                const std::optional<std::string>& selectedClip, const std::string& skip, double ppb) {
    const auto first = static_cast<std::size_t>(std::max(0.0, std::floor(exposed.top() / G::rowHeight)));
    for (std::size_t i = first; i < project.tracks.size() && i * G::rowHeight < exposed.bottom(); ++i) {
        const Track& track = project.tracks[i];
        const QColor color = Theme::trackColor(track.colorIndex);
        for (const Clip& clip : track.clips) {
            const G::Rect r = G::clipRect(clip, i, ppb);
            if (r.x > exposed.right()) break;  // clips are sorted by start
            if (r.x + r.width < exposed.left() || clip.id == skip) continue;
            paintClip(painter, QRectF(r.x, r.y, r.width, r.height), clip, color, selectedClip == clip.id, isDrums(track),
                      false, ppb);
        }
    }
}

void paintClip(QPainter& painter, const QRectF& rect, const Clip& clip, QColor color, bool selected, bool drums,
               bool lifted, double ppb) {
    const Palette& p = Theme::palette();
    painter.setRenderHint(QPainter::Antialiasing);
    if (lifted) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0, 0, 0, 40));
        painter.drawRoundedRect(rect.translated(2, 4), 5, 5);
    }
    QColor fill = color;
    fill.setAlphaF(Theme::dark() ? 0.30 : 0.20);
    painter.setBrush(p.surface);
    painter.setPen(Qt::NoPen);
    painter.drawRoundedRect(rect, 5, 5);
    painter.setBrush(fill);
    painter.setPen(QPen(selected ? p.ink : color, selected ? 1.5 : 1));
    painter.drawRoundedRect(rect.adjusted(0.5, 0.5, -0.5, -0.5), 5, 5);
    painter.setRenderHint(QPainter::Antialiasing, false);
    if (rect.width() < 14) return;
    painter.save();
    painter.setClipRect(rect.adjusted(4, 0, -4, 0));
    QFont font = painter.font();
    font.setPixelSize(11);
    painter.setFont(font);
    painter.setPen(p.ink);
    painter.drawText(QRectF(rect.left() + 6, rect.top() + 2, rect.width() - 10, 14), Qt::AlignLeft | Qt::AlignVCenter,
                     QString::fromStdString(clip.name));
    painter.restore();
    paintMiniNotes(painter, QRectF(rect.left(), rect.top() + 18, rect.width(), rect.height() - 22), clip, color, drums, ppb);
}

void paintMiniNotes(QPainter& painter, const QRectF& area, const Clip& clip, QColor color, bool drums, double ppb) {
    if (clip.notes.empty() || area.height() <= 0) return;
    int low = clip.notes[0].pitch, high = low;
    for (const Note& n : clip.notes) low = std::min(low, n.pitch), high = std::max(high, n.pitch);
    // A narrow range stays in the middle instead of filling the clip with fat bars.
    const int span = std::max(high - low + 1, 12);
    const int floorPitch = low - (span - (high - low + 1)) / 2;
    const double rowH = area.height() / span;
    const double barH = std::max(rowH - 0.5, 1.5);
    const double right = area.left() + std::min(clip.length * ppb, area.width());
    for (const Note& n : clip.notes) {
        if (n.start >= clip.length) continue;
        const double x = area.left() + n.start * ppb;
        if (x >= right) continue;
        const double length = drums ? std::min(n.duration * ppb, 3.0) : n.duration * ppb;
        const double w = std::max(std::min(x + length, right) - x, 1.5);
        QColor c = color;
        c.setAlphaF(std::clamp(n.velocity, 0.0, 1.0) * 0.55 + 0.45);
        painter.fillRect(QRectF(x, area.bottom() - (n.pitch - floorPitch + 1) * rowH, w, barH), c);
    }
}

} // namespace velmo::ArrangementPainter
