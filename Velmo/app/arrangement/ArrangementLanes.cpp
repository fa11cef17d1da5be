#include "arrangement/ArrangementLanes.h"

#include "AppModel.h"
#include "Theme.h"
#include "arrangement/ArrangementGeometry.h"
#include "arrangement/ArrangementPainter.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>

#include <cmath>

namespace velmo {

namespace G = ArrangementGeometry;

ArrangementLanes::ArrangementLanes(AppModel& model, const double& ppb, QWidget* parent)
    : QWidget(parent), model_(model), ppb_(ppb) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);  // the resize cursor over a clip's right edge
    setToolTip("Double-click empty space to create a clip");
    StudioSignals& signals = model_.studioSignals();
    connect(&signals, &StudioSignals::songChanged, this, &ArrangementLanes::refit);
    connect(&signals, &StudioSignals::selectionChanged, this, qOverload<>(&QWidget::update));
    connect(&signals, &StudioSignals::liveChanged, this, &ArrangementLanes::movePlayhead);
    refit();
}

void ArrangementLanes::refit() {
    const Project& project = model_.studio().project();
    setFixedSize(static_cast<int>(std::ceil(G::totalBeats(project) * ppb_)),
                 static_cast<int>(project.tracks.size()) * G::rowHeight + G::addTrackRowHeight);
    playheadX_.reset();
    movePlayhead();
    update();
}

void ArrangementLanes::movePlayhead() {
    const double x = model_.studio().live().beat * ppb_;
    if (playheadX_ == x) return;
    // Only the two thin strips repaint, not the clips between them.
    if (playheadX_) update(QRect(static_cast<int>(*playheadX_) - 2, 0, 5, height()));
    playheadX_ = x;
    update(QRect(static_cast<int>(x) - 2, 0, 5, height()));
}

std::optional<ArrangementLanes::Hit> ArrangementLanes::hit(QPointF at) const {
    const Project& project = model_.studio().project();
    if (at.y() < 0) return std::nullopt;
    const auto row = static_cast<std::size_t>(at.y() / G::rowHeight);
    if (row >= project.tracks.size()) return std::nullopt;
    const auto& clips = project.tracks[row].clips;
    // From the last clip back, so the one drawn on top wins.
    for (std::size_t i = clips.size(); i-- > 0;) {
        const G::Rect r = G::clipRect(clips[i], row, ppb_);
        if (r.contains(at.x(), at.y()))
            return Hit{clips[i].id, row, at.x() >= r.x + r.width - G::resizeHandleWidth};
    }
    return std::nullopt;
}

void ArrangementLanes::paintEvent(QPaintEvent* event) {
    Studio& studio = model_.studio();
    const Project& project = studio.project();
    QPainter painter(this);
    const QRectF exposed = event->rect();
    ArrangementPainter::paintLanes(painter, exposed, project, studio.selectedTrackID(), ppb_);
    const std::string dragged = drag_ && drag_->moving ? drag_->clip : std::string();
    ArrangementPainter::paintClips(painter, exposed, project, studio.selectedClipID(), dragged, ppb_);
    if (!dragged.empty()) {
        if (const Clip* clip = studio.clip(dragged)) {
            const Track& track = project.tracks[drag_->track];
            const G::Rect r = G::clipRect(*clip, drag_->track, ppb_);
            ArrangementPainter::paintClip(painter, QRectF(r.x, r.y, r.width, r.height).translated(drag_->travel), *clip,
                                          Theme::trackColor(track.colorIndex), true,
                                          track.patch.engine == EngineKind::drums, true, ppb_);
        }
    }
    if (playheadX_) painter.fillRect(QRectF(*playheadX_ - 0.5, exposed.top(), 1.5, exposed.height()), Theme::accent);
}

void ArrangementLanes::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    const auto h = hit(event->position());
    if (!h) return;
    Studio& studio = model_.studio();
    studio.selectClip(h->clip);
    const Clip* clip = studio.clip(h->clip);
    drag_ = Drag{h->clip, h->track, clip->start, clip->length, h->onHandle, event->position(), {}};
}

void ArrangementLanes::mouseMoveEvent(QMouseEvent* event) {
    if (!drag_) {
        const auto h = hit(event->position());
        setCursor(h && h->onHandle ? Qt::SizeHorCursor : Qt::ArrowCursor);
        return;
    }
    drag_->travel = event->position() - drag_->pressAt;
    const double distance = std::hypot(drag_->travel.x(), drag_->travel.y());
    Studio& studio = model_.studio();
    if (drag_->resize) {
        if (distance < G::resizeMinimumPixels || !studio.clip(drag_->clip)) return;
        const double length = G::resizedLength(drag_->length, drag_->travel.x(), ppb_);
        studio.updateClip(drag_->clip, "resize-" + drag_->clip, [length](Clip& c) { c.length = length; });
        return;
    }
    if (distance >= G::moveMinimumPixels) drag_->moving = true;
    if (drag_->moving) update();
}

void ArrangementLanes::mouseReleaseEvent(QMouseEvent* event) {
    if (!drag_ || event->button() != Qt::LeftButton) return;
    const Drag done = *drag_;
    drag_.reset();
    update();
    Studio& studio = model_.studio();
    const auto at = studio.project().clipLocation(done.clip);
    if (done.resize || !done.moving || !at) return;
    const QPointF travel = event->position() - done.pressAt;
    const G::Move to = G::movedClip(done.start, at->track, studio.project().tracks.size(), travel.x(), travel.y(), ppb_);
    studio.moveClip(done.clip, to.start, to.track != at->track ? std::optional(to.track) : std::nullopt);
}

void ArrangementLanes::mouseDoubleClickEvent(QMouseEvent* event) {
    const QPointF at = event->position();
    Studio& studio = model_.studio();
    const Project& project = studio.project();
    if (event->button() != Qt::LeftButton || hit(at) || at.y() < 0) return;
    const auto row = static_cast<std::size_t>(at.y() / G::rowHeight);
    if (row >= project.tracks.size()) return;
    const int bar = project.beatsPerBar;
    studio.addClip(row, G::newClipStart(at.x(), ppb_, bar), 4.0 * bar, std::nullopt, {});
    model_.setEditorTab(EditorTab::notes);
}

void ArrangementLanes::contextMenuEvent(QContextMenuEvent* event) {
    const auto h = hit(event->pos());
    if (!h) return;
    Studio& studio = model_.studio();
    studio.selectClip(h->clip);
    QMenu menu(this);
    const std::string id = h->clip;
    menu.addAction("Duplicate", this, [&studio, id] {
        if (studio.clip(id)) studio.duplicateClip(id, std::nullopt, std::nullopt);
    });
    menu.addAction("Delete", this, [&studio, id] {
        if (studio.clip(id)) studio.removeClip(id);
    });
    menu.exec(event->globalPos());
}

} // namespace velmo
