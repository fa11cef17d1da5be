#include "pianoroll/PianoRollCanvas.h"

#include "StudioSignals.h"
#include "Theme.h"
#include "pianoroll/PianoRollPainter.h"

#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>

namespace velmo {

namespace G = PianoRollGeometry;

PianoRollCanvas::PianoRollCanvas(StudioSignals& signals, const G::Scale& scale, QWidget* parent)
    : QWidget(parent), signals_(signals), scale_(scale), gesture_(signals.studio()) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setToolTip("Click to add, drag to move or resize, click a note to delete");
    connect(&signals_, &StudioSignals::liveChanged, this, &PianoRollCanvas::movePlayhead);
    refit();
}

const Clip* PianoRollCanvas::clip() const {
    const auto& id = signals_.studio().selectedClipID();
    return id ? signals_.studio().clip(*id) : nullptr;
}

void PianoRollCanvas::refit() {
    const Clip* c = clip();
    setFixedSize(static_cast<int>(std::ceil(G::canvasWidth(c ? c->length : 0, scale_.ppb))),
                 static_cast<int>(std::ceil(G::canvasHeight(scale_.rowH))));
    update();
}

void PianoRollCanvas::movePlayhead() {
    const Clip* c = clip();
    const std::optional<double> x =
        c ? G::playheadX(signals_.studio().live().beat, c->start, c->length, scale_.ppb) : std::nullopt;
    if (x == playheadX_) return;
    // Only the two thin strips repaint, not the notes between them.
    if (playheadX_) update(QRect(static_cast<int>(*playheadX_) - 2, 0, 5, height()));
    playheadX_ = x;
    if (playheadX_) update(QRect(static_cast<int>(*playheadX_) - 2, 0, 5, height()));
}

void PianoRollCanvas::paintEvent(QPaintEvent* event) {
    const Clip* c = clip();
    if (!c) return;
    const Project& project = signals_.studio().project();
    const auto at = project.clipLocation(c->id);
    QPainter painter(this);
    const QRectF exposed = event->rect();
    PianoRollPainter::paintGrid(painter, exposed, scale_, c->length, project.beatsPerBar);
    PianoRollPainter::paintNotes(painter, exposed, c->notes, scale_, Theme::trackColor(project.tracks[at->track].colorIndex));
    if (playheadX_) PianoRollPainter::paintPlayhead(painter, *playheadX_, height());
}

void PianoRollCanvas::mousePressEvent(QMouseEvent* event) {
    const Clip* c = clip();
    if (event->button() != Qt::LeftButton || !c) return;
    pressAt_ = event->position();
    gesture_.press(c->id, pressAt_->x(), pressAt_->y(), scale_);
}

void PianoRollCanvas::mouseMoveEvent(QMouseEvent* event) {
    if (!pressAt_ || !gesture_.active()) return;
    const QPointF d = event->position() - *pressAt_;
    gesture_.drag(d.x(), d.y(), scale_);
}

void PianoRollCanvas::mouseReleaseEvent(QMouseEvent* event) {
    if (!pressAt_ || event->button() != Qt::LeftButton) return;
    const QPointF d = event->position() - *pressAt_;
    gesture_.end(d.x(), d.y(), scale_);
    pressAt_.reset();
}

} // namespace velmo
