#include "arrangement/ArrangementPainter.h"

#include "Theme.h"

#include <QPainter>
#include <QStaticText>

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace velmo::ArrangementPainter {

namespace G = ArrangementGeometry;

namespace {

// Lines are drawn only where they stay this far apart.
constexpr double minLineGap = 6;
// Narrower clips show their notes but no name.
constexpr int minNameWidth = 40;

bool isDrums(const Track& track) { return track.patch.engine == EngineKind::drums; }

} // namespace

void paintLanes(QPainter& painter, const QRectF& exposedF, const Project& project,
                const std::optional<std::string>& selectedTrack, double ppb) {
    // Whole pixels throughout: the raster engine fills aligned rectangles by its fastest path.
    const Palette& p = Theme::palette();
    const QRect exposed = exposedF.toAlignedRect();
    painter.fillRect(exposed, p.body);
    const auto first = static_cast<std::size_t>(std::max(0, exposed.top() / G::rowHeight));
    for (std::size_t i = first; i < project.tracks.size() && static_cast<int>(i) * G::rowHeight <= exposed.bottom(); ++i) {
        const Track& track = project.tracks[i];
        const QRect lane(exposed.left(), static_cast<int>(i) * G::rowHeight, exposed.width(), G::rowHeight);
        // The lane tinted with its track's colour, at full strength on the selected track only.
        const QColor tinted = Theme::mix(p.surface, Theme::trackColor(track.colorIndex), Theme::dark() ? 0.10 : 0.07);
        painter.fillRect(lane, Theme::mix(p.body, tinted, selectedTrack == track.id ? 1.0 : 0.55));
        painter.fillRect(QRect(lane.left(), lane.bottom(), lane.width(), 1), p.line);
    }
    // Beats faintly, bars plainly, each only while they stay apart.
    const int bar = std::max(project.beatsPerBar, 1);
    const bool beats = ppb >= minLineGap;
    const double step = beats ? 1 : bar * std::ceil(minLineGap / (ppb * bar));
    const QColor faint = Theme::mix(p.surface, p.line, 0.5);
    for (double b = std::floor(exposed.left() / ppb / step) * step; b * ppb <= exposed.right() + 1; b += step) {
        const bool onBar = std::fmod(b, bar) == 0;
        painter.fillRect(QRect(static_cast<int>(std::lround(b * ppb)), exposed.top(), 1, exposed.height()),
                         onBar ? p.line : faint);
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

namespace {

// Laid-out names, kept while they are shown: most clips share a handful of names, and laying
// text out again for each of 2,000 clips would take most of a frame.
const QStaticText& clipName(const std::string& name) {
    static std::unordered_map<std::string, QStaticText> laidOut;
    if (laidOut.size() > 4096) laidOut.clear();
    auto [at, added] = laidOut.try_emplace(name);
    if (added) {
        at->second.setText(QString::fromStdString(name));
        at->second.setTextFormat(Qt::PlainText);
    }
    return at->second;
}

} // namespace

void paintClip(QPainter& painter, const QRectF& rectF, const Clip& clip, QColor color, bool selected, bool drums,
               bool lifted, double ppb) {
    const Palette& p = Theme::palette();
    const QRect rect = rectF.toRect();
    if (lifted) painter.fillRect(rect.translated(2, 4), QColor(0, 0, 0, 40));
    const QColor fill = Theme::mix(p.surface, color, Theme::dark() ? 0.30 : 0.20);
    painter.fillRect(rect, fill);
    painter.setBrush(Qt::NoBrush);
    const int border = selected ? 2 : 1;
    painter.setPen(QPen(selected ? p.ink : color, border, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.drawRect(rect.adjusted(border / 2, border / 2, -1, -1));
    paintMiniNotes(painter, QRectF(rect.left() + 1, rect.top() + 18, rect.width() - 2, rect.height() - 22), clip, fill,
                   color, drums, ppb);
    if (rect.width() < minNameWidth) return;
    QFont font = painter.font();
    if (font.pixelSize() != 11) font.setPixelSize(11), painter.setFont(font);
    painter.setPen(p.ink);
    painter.setClipRect(rect.adjusted(4, 0, -4, 0));
    painter.drawStaticText(rect.left() + 6, rect.top() + 2, clipName(clip.name));
    painter.setClipping(false);
}

void paintMiniNotes(QPainter& painter, const QRectF& area, const Clip& clip, QColor background, QColor color, bool drums,
                    double ppb) {
    if (clip.notes.empty() || area.height() <= 0) return;
    int low = clip.notes[0].pitch, high = low;
    for (const Note& n : clip.notes) low = std::min(low, n.pitch), high = std::max(high, n.pitch);
    // A narrow range stays in the middle instead of filling the clip with fat bars.
    const int span = std::max(high - low + 1, 12);
    const int floorPitch = low - (span - (high - low + 1)) / 2;
    const double rowH = area.height() / span;
    const int barH = std::max(1, static_cast<int>(rowH));
    const double right = area.left() + std::min(clip.length * ppb, area.width());
    for (const Note& n : clip.notes) {
        if (n.start >= clip.length) continue;
        const double x = area.left() + n.start * ppb;
        if (x >= right) continue;
        const double length = drums ? std::min(n.duration * ppb, 3.0) : n.duration * ppb;
        const int left = static_cast<int>(x);
        const int width = std::max(static_cast<int>(std::lround(std::min(x + length, right))) - left, 1);
        const int top = static_cast<int>(std::lround(area.bottom() - (n.pitch - floorPitch + 1) * rowH));
        painter.fillRect(QRect(left, top, width, barH),
                         Theme::mix(background, color, std::clamp(n.velocity, 0.0, 1.0) * 0.55 + 0.45));
    }
}

} // namespace velmo::ArrangementPainter
