// A round knob with its label and value text, turned by a vertical drag: 180 pixels cover the
// whole range, a fifth of it with Alt held. It keeps only its drag; the value comes from outside.
#pragma once

#include "controls/ValueMapping.h"

#include <QWidget>

#include <functional>
#include <optional>

namespace velmo {

// The knob's travel (0...1) after a drag of `dy` pixels (down is positive) from `startPosition`.
double knobDragPosition(double startPosition, double dy, bool fine);
// The value at `position`, rounded half away from zero when `integer`.
double knobValue(const ValueMapping& mapping, double position, bool integer);

// GUI thread only.
class Knob final : public QWidget {
public:
    static constexpr double pixelsPerRange = 180;
    static constexpr double fineFactor = 0.2;  // with Alt held

    Knob(QString label, ValueMapping mapping, QString unit, bool integer, std::optional<double> defaultValue,
         QColor color, int size = 34, bool showsLabel = true, QWidget* parent = nullptr);

    void setValue(double value);
    double value() const { return value_; }
    // Called with each new value of a drag, and with the default on a double-click.
    std::function<void(double)> onChange;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    void mouseMoveEvent(QMouseEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;
    void mouseDoubleClickEvent(QMouseEvent*) override;
    void enterEvent(QEnterEvent*) override;
    void leaveEvent(QEvent*) override;

private:
    QString label_;
    double value_ = 0;
    ValueMapping mapping_;
    QString unit_;
    bool integer_;
    std::optional<double> defaultValue_;
    QColor color_;
    int size_;
    bool showsLabel_;
    std::optional<double> dragStart_;
    QPointF pressAt_;
    bool hovering_ = false;
};

} // namespace velmo
