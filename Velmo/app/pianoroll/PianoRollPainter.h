// Drawing the piano roll: the grid with its black-key rows, beats and bars, the notes in the
// track's colour, the clip's playhead, and the key column. Only what lies in the exposed
// rectangle is drawn, so a clip of ten thousand notes paints within a frame.
#pragma once

#include "pianoroll/PianoRollGeometry.h"

#include <QColor>
#include <QRectF>

#include <set>

class QPainter;

namespace velmo::PianoRollPainter {

bool isBlackKey(int pitch);

void paintGrid(QPainter& painter, const QRectF& exposed, const PianoRollGeometry::Scale& scale, double clipLength,
               int beatsPerBar);
// Each note's opacity follows its velocity.
void paintNotes(QPainter& painter, const QRectF& exposed, const NoteList& notes,
                const PianoRollGeometry::Scale& scale, QColor color);
void paintPlayhead(QPainter& painter, double x, double height);
// The key column, scrolled up by `offset` pixels: note names, or drum names on a drums track,
// with `held` pitches marked in `color`.
void paintKeys(QPainter& painter, const QRectF& exposed, double offset, double rowH, bool drums,
               const std::set<int>& held, QColor color);

} // namespace velmo::PianoRollPainter
