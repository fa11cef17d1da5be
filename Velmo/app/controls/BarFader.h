// A horizontal bar fader whose position follows the pointer: press anywhere and drag.
// Bipolar faders fill from the centre. It keeps only its drag; the value comes from outside.
#pragma once

#include "controls/ValueMapping.h"

#include <QWidget>

#include <functional>
#include <optional>

namespace velmo {

// The fader's travel under the pointer at `x` on a bar `width` wide, clamped to 0...1.
double barFaderPosition(double x, double width);

// GUI thread only.
class BarFader final : public QWidget {
public:
    BarFader(ValueMapping mapping, std::optional<double> defaultValue, bool bipolar, QColor color, int height = 6,
             QWidget* parent = nullptr);

    void setValue(double value);
    double value() const { return value_; }
    void setColor(QColor color);
    // Called with each new value of a drag, and with the default on a double-click.
    std::function<void(double)> onChange;

    QSize sizeHint() const override { return {120, barHeight_ + 8}; }

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    void mouseMoveEvent(QMouseEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;
    void mouseDoubleClickEvent(QMouseEvent*) override;

private:
    void follow(double x);

    double value_ = 0;
    ValueMapping mapping_;
    std::optional<double> defaultValue_;
    bool bipolar_;
    QColor color_;
    int barHeight_;
    bool dragging_ = false;
};

} // namespace velmo
