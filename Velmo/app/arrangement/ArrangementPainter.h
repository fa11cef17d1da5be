// How the arrangement's lanes and clips look: tinted lanes with bar and beat lines, clips in
// their track's colour with name and mini notes, and the playhead. Kept apart from the gestures
// so the canvas file stays about input.
#pragma once

#include "arrangement/ArrangementGeometry.h"

#include <QColor>
#include <QRectF>

#include <optional>
#include <string>

class QPainter;

namespace velmo::ArrangementPainter {

// The lanes of every track crossing `exposed`, with the selected one at full tint.
void paintLanes(QPainter& painter, const QRectF& exposed, const Project& project,
                const std::optional<std::string>& selectedTrack, double ppb);
// Every clip crossing `exposed`, except the one being dragged (`skip`).
void paintClips(QPainter& painter, const QRectF& exposed, const Project& project,
                const std::optional<std::string>& selectedClip, const std::string& skip, double ppb);
// One clip at `rect`: its body, name and notes; lifted shows it with a shadow, as while dragged.
void paintClip(QPainter& painter, const QRectF& rect, const Clip& clip, QColor color, bool selected, bool drums,
               bool lifted, double ppb);
// The clip's notes as small bars in `color` on `background`, fainter for softer notes, cut at the
// clip's end.
void paintMiniNotes(QPainter& painter, const QRectF& area, const Clip& clip, QColor background, QColor color, bool drums,
                    double ppb);

} // namespace velmo::ArrangementPainter
