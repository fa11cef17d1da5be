// A round knob with its label and value text, turned by a vertical drag: 180 pixels cover the
// whole range, a fifth of it with Alt held. It keeps only its drag; the value comes from outside.
// A label wider than the knob is narrowed a little, and only cut short (then named in the
// tooltip) when narrowing would make it hard to read.
#pragma once

#include "controls/DragControl.h"
#include "controls/ValueMapping.h"

#include <optional>

namespace velmo {

// The knob's travel (0...1) after a drag of `dy` pixels (down is positive) from `startPosition`.
double knobDragPosition(double startPosition, double dy, bool fine);
// The value at `position`, rounded half away from zero when `integer`.
double knobValue(const ValueMapping& mapping, double position, bool integer);

// GUI thread only.
class Knob final : public DragControl {
public:
    static constexpr double pixelsPerRange = 180;
    static constexpr double fineFactor = 0.2;  // with Alt held

    Knob(QString label, ValueMapping mapping, QString unit, bool integer, std::optional<double> defaultValue,
         QColor color, int size = 34, bool showsLabel = true, QWidget* parent = nullptr);

    QSize sizeHint() const override;
    // The label as drawn: whole, or cut short with an ellipsis.
    const QString& shownLabel() const { return shownLabel_; }
    // The tooltip: `help`, after the whole label if the knob shows it cut short.
    void setHelp(const QString& help);

protected:
    void paintEvent(QPaintEvent*) override;
    double dragValue(double start, QPointF travel, QPointF at, Qt::KeyboardModifiers modifiers) const override;
    void enterEvent(QEnterEvent*) override;
    void leaveEvent(QEvent*) override;

private:
    QString label_;
    QString shownLabel_;
    double labelSqueeze_ = 1;  // horizontal scale of the label, at most 1
    ValueMapping mapping_;
    QString unit_;
    bool integer_;
    QColor color_;
    int size_;
    bool showsLabel_;
    bool hovering_ = false;
};

} // namespace velmo
