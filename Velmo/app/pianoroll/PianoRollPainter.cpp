#include "pianoroll/PianoRollPainter.h"

#include "Theme.h"
#include "theory/DrumMap.h"
#include "theory/NoteNames.h"

#include <QPainter>

#include <array>
#include <cmath>
#include <vector>

namespace velmo::PianoRollPainter {

namespace G = PianoRollGeometry;

bool isBlackKey(int pitch) {
    static constexpr std::array<bool, 12> black{false, true, false, true, false, false,
                                                true,  false, true, false, true, false};
    return black[static_cast<std::size_t>(((pitch % 12) + 12) % 12)];
}

namespace {

// The pitches whose rows cross the exposed band, top row first.
std::pair<int, int> pitchSpan(const QRectF& exposed, double rowH) {
    const int high = std::min(G::pitchAt(exposed.top(), rowH), G::topPitch);
    const int low = std::max(G::pitchAt(exposed.bottom(), rowH), G::bottomPitch);
    return {high, low};
}

} // namespace

void paintGrid(QPainter& painter, const QRectF& exposed, const G::Scale& scale, double clipLength, int beatsPerBar) {
    const Palette& p = Theme::palette();
    painter.fillRect(exposed, p.surface);
    const auto [high, low] = pitchSpan(exposed, scale.rowH);
    for (int pitch = high; pitch >= low; --pitch) {
        const QRectF row(exposed.left(), G::rowTop(pitch, scale.rowH), exposed.width(), scale.rowH);
        if (isBlackKey(pitch)) painter.fillRect(row, p.hover);
        if (pitch % 12 == 0) painter.fillRect(QRectF(row.left(), row.bottom() - 1, row.width(), 1), p.line);
    }
    // Beyond the clip's end the grid is dimmed: notes may lie there but do not play.
    const double end = clipLength * scale.ppb;
    if (exposed.right() > end) {
        QColor shade = p.inset;
        shade.setAlphaF(0.6f);
        painter.fillRect(QRectF(end, exposed.top(), exposed.right() - end, exposed.height()), shade);
    }
    // Vertical lines: grid steps faint, beats stronger, bars strongest.
    const double stepPx = scale.grid * scale.ppb;
    const bool showSteps = stepPx >= 6;
    const double unit = showSteps ? scale.grid : 1.0;
    const long long first = static_cast<long long>(std::floor(exposed.left() / scale.ppb / unit));
    const long long last = static_cast<long long>(std::ceil(exposed.right() / scale.ppb / unit));
    QColor step = p.line;
    step.setAlphaF(0.5f);
    for (long long i = std::max(first, 0LL); i <= last; ++i) {
        const double beat = static_cast<double>(i) * unit;
        const double x = std::round(beat * scale.ppb);
        const bool wholeBeat = std::fabs(beat - std::round(beat)) < 1e-6;
        const bool bar = wholeBeat && static_cast<long long>(std::round(beat)) % std::max(beatsPerBar, 1) == 0;
        painter.fillRect(QRectF(x, exposed.top(), 1, exposed.height()), bar ? p.ink3 : wholeBeat ? p.line : step);
    }
}

void paintNotes(QPainter& painter, const QRectF& exposed, const NoteList& notes, const G::Scale& scale,
                QColor color) {
    // Notes come in ten opacity bands, each drawn in one call: far fewer state changes than a
    // colour per note, and the eye cannot tell the bands apart.
    constexpr int bands = 10;
    std::array<std::vector<QRectF>, bands> byBand;
    for (const Note& n : notes) {
        const QRectF r(n.start * scale.ppb + 0.5, G::rowTop(n.pitch, scale.rowH) + 1,
                       std::max(n.duration * scale.ppb - 1, 2.0), scale.rowH - 2);
        if (!r.intersects(exposed)) continue;
        const double alpha = std::clamp(n.velocity, 0.0, 1.0) * 0.55 + 0.45;
        byBand[static_cast<std::size_t>(std::min(bands - 1, static_cast<int>(alpha * bands - 4.5)))].push_back(r);
    }
    painter.setPen(Qt::NoPen);
    for (int b = 0; b < bands; ++b) {
        if (byBand[static_cast<std::size_t>(b)].empty()) continue;
        QColor fill = color;
        fill.setAlphaF(static_cast<float>(std::min(1.0, (b + 5) / static_cast<double>(bands))));
        painter.setBrush(fill);
        const auto& rects = byBand[static_cast<std::size_t>(b)];
        painter.drawRects(rects.data(), static_cast<int>(rects.size()));
    }
}

void paintPlayhead(QPainter& painter, double x, double height) {
    painter.fillRect(QRectF(x - 0.75, 0, 1.5, height), Theme::palette().ink);
}

void paintKeys(QPainter& painter, const QRectF& exposed, double offset, double rowH, bool drums,
               const std::set<int>& held, QColor color) {
    const Palette& p = Theme::palette();
    painter.fillRect(exposed, p.surface);
    const QRectF band = exposed.translated(0, offset);
    const auto [high, low] = pitchSpan(band, rowH);
    QFont font = painter.font();
    font.setPixelSize(std::clamp(static_cast<int>(rowH) - 3, 7, 11));
    painter.setFont(font);
    const double width = exposed.width();
    for (int pitch = high; pitch >= low; --pitch) {
        const QRectF row(0, G::rowTop(pitch, rowH) - offset, width, rowH);
        // A drums track has pieces, not keys: every row is plain and named.
        const bool black = !drums && isBlackKey(pitch);
        QColor fill = black ? p.ink2 : p.surface;
        if (held.count(pitch)) fill = color;
        painter.fillRect(black ? row.adjusted(0, 0, -width * 0.4, 0) : row, fill);
        painter.fillRect(QRectF(0, row.bottom() - 0.5, width, 0.5), p.line);
        QString name;
        if (drums) {
            if (auto drum = MusicTheory::drumDisplayName(pitch)) name = QString::fromUtf8(drum->data(), static_cast<int>(drum->size()));
        } else if (pitch % 12 == 0 || (rowH >= 12 && !black)) {
            name = QString::fromStdString(MusicTheory::noteName(pitch));
        }
        if (name.isEmpty() || rowH < 8) continue;
        painter.setPen(held.count(pitch) ? QColor(0xFFFFFF) : pitch % 12 == 0 ? p.ink : p.ink3);
        painter.drawText(row.adjusted(4, 0, -4, 0), Qt::AlignVCenter | Qt::AlignRight, name);
    }
    painter.fillRect(QRectF(width - 1, exposed.top(), 1, exposed.height()), p.line);
}

} // namespace velmo::PianoRollPainter
