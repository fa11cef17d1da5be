// A number changed by dragging: four pixels right or up make one step. Shown through a printf
// format ("%.0f beats"). It keeps only its drag; the value comes from outside.
#pragma once

#include <QWidget>

#include <functional>
#include <optional>

namespace velmo {

// `step` × round(`start` + (dx − dy) × 0.25), clamped to `lo`...`hi`. The step multiplies and
// divides nothing: callers use 1.
double dragNumberValue(double start, double dx, double dy, double step, double lo, double hi);

// GUI thread only.
class DragNumber final : public QWidget {
public:
    DragNumber(double lo, double hi, double step, QString format, int pixelSize = 13, QWidget* parent = nullptr);

    void setValue(double value);
    double value() const { return value_; }
    // How the value reads; by default through `format`.
    std::function<QString(double)> text;
    std::function<void(double)> onChange;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    void mouseMoveEvent(QMouseEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    double value_ = 0;
    double lo_, hi_, step_;
    QString format_;
    std::optional<double> start_;
    QPointF pressAt_;
};

} // namespace velmo
