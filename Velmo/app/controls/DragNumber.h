// A number changed by dragging: four pixels right or up make one step. Shown through a printf
// format ("%.0f beats"). It keeps only its drag; the value comes from outside.
#pragma once

#include "controls/DragControl.h"

#include <functional>

namespace velmo {

// `step` × round(`start` + (dx − dy) × 0.25), clamped to `lo`...`hi`. The step multiplies and
// divides nothing: callers use 1.
double dragNumberValue(double start, double dx, double dy, double step, double lo, double hi);

// GUI thread only.
class DragNumber final : public DragControl {
public:
    DragNumber(double lo, double hi, double step, QString format, int pixelSize = 13, QWidget* parent = nullptr);

    // How the value reads; by default through `format`.
    std::function<QString(double)> text;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent*) override;
    double dragValue(double start, QPointF travel, QPointF at, Qt::KeyboardModifiers modifiers) const override;

private:
    double lo_, hi_, step_;
    QString format_;
};

} // namespace velmo
