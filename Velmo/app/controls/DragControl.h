// What the dragged controls (knob, fader, drag number) share: a value given from outside, the
// press point and the value at the press, and a change callback fed through the whole drag. Each
// control says only how a drag's travel becomes a value.
#pragma once

#include <QWidget>

#include <functional>
#include <optional>

namespace velmo {

// GUI thread only. Keeps the drag and nothing of the song: the value comes back through setValue.
class DragControl : public QWidget {
public:
    void setValue(double value);
    double value() const { return value_; }
    // Called with each new value of a drag, and with the default on a double-click. The caller's
    // coalesce key goes here, so a whole drag is one undo step.
    std::function<void(double)> onChange;

protected:
    // `followsPress`: a press alone already sets the value (a fader jumps to the pointer).
    DragControl(std::optional<double> defaultValue, bool followsPress, QWidget* parent);

    // The value a drag gives that began at `start`, has travelled `travel` and is now at `at`.
    virtual double dragValue(double start, QPointF travel, QPointF at, Qt::KeyboardModifiers modifiers) const = 0;
    bool dragging() const { return start_.has_value(); }

    void mousePressEvent(QMouseEvent*) final;
    void mouseMoveEvent(QMouseEvent*) final;
    void mouseReleaseEvent(QMouseEvent*) final;
    void mouseDoubleClickEvent(QMouseEvent*) final;

private:
    void follow(QMouseEvent* event);

    double value_ = 0;
    std::optional<double> defaultValue_;
    bool followsPress_;
    std::optional<double> start_;
    QPointF pressAt_;
};

} // namespace velmo
