#include "controls/DragControl.h"

#include <QMouseEvent>

namespace velmo {

DragControl::DragControl(std::optional<double> defaultValue, bool followsPress, QWidget* parent)
    : QWidget(parent), defaultValue_(defaultValue), followsPress_(followsPress) {}

void DragControl::setValue(double value) {
    if (value == value_) return;
    value_ = value;
    updateGeometry();
    update();
}

void DragControl::follow(QMouseEvent* event) {
    const QPointF at = event->position();
    const double next = dragValue(*start_, at - pressAt_, at, event->modifiers());
    // An unchanged value makes no edit, so a press that moves nothing leaves no undo step.
    if (next != value_ && onChange) onChange(next);
}

void DragControl::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    pressAt_ = event->position();
    start_ = value_;
    if (followsPress_) follow(event);
    update();
}

void DragControl::mouseMoveEvent(QMouseEvent* event) {
    if (start_) follow(event);
}

void DragControl::mouseReleaseEvent(QMouseEvent*) {
    start_.reset();
    update();
}

void DragControl::mouseDoubleClickEvent(QMouseEvent*) {
    if (defaultValue_ && onChange) onChange(*defaultValue_);
}

} // namespace velmo
