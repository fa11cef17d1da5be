// A horizontal bar fader whose position follows the pointer: press anywhere and drag.
// Bipolar faders fill from the centre. It keeps only its drag; the value comes from outside.
#pragma once

#include "controls/DragControl.h"
#include "controls/ValueMapping.h"

#include <optional>

namespace velmo {

// The fader's travel under the pointer at `x` on a bar `width` wide, clamped to 0...1.
double barFaderPosition(double x, double width);

// GUI thread only.
class BarFader final : public DragControl {
public:
    BarFader(ValueMapping mapping, std::optional<double> defaultValue, bool bipolar, QColor color, int height = 6,
             QWidget* parent = nullptr);

    void setColor(QColor color);

    QSize sizeHint() const override { return {120, barHeight_ + 8}; }

protected:
    void paintEvent(QPaintEvent*) override;
    double dragValue(double start, QPointF travel, QPointF at, Qt::KeyboardModifiers modifiers) const override;

private:
    ValueMapping mapping_;
    bool bipolar_;
    QColor color_;
    int barHeight_;
};

} // namespace velmo
