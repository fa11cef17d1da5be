#include "controls/BarFader.h"

#include "Theme.h"

#include <QPainter>

namespace velmo {

double barFaderPosition(double x, double width) { return width > 0 ? std::clamp(x / width, 0.0, 1.0) : 0.0; }

BarFader::BarFader(ValueMapping mapping, std::optional<double> defaultValue, bool bipolar, QColor color, int height,
                   QWidget* parent)
    : DragControl(defaultValue, true, parent), mapping_(mapping), bipolar_(bipolar), color_(color), barHeight_(height) {
    setMinimumSize(40, barHeight_ + 8);
    setCursor(Qt::PointingHandCursor);
}

void BarFader::setColor(QColor color) {
    color_ = color;
    update();
}

void BarFader::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bar(0, (height() - barHeight_) / 2.0, width(), barHeight_);
    painter.setPen(Qt::NoPen);
    painter.setBrush(p.inset);
    painter.drawRoundedRect(bar, barHeight_ / 2.0, barHeight_ / 2.0);
    const double n = mapping_.position(value());
    const double from = bipolar_ ? 0.5 : 0.0;
    QRectF fill(bar.left() + bar.width() * std::min(from, n), bar.top(), bar.width() * std::abs(n - from), barHeight_);
    painter.setBrush(color_);
    painter.drawRoundedRect(fill, barHeight_ / 2.0, barHeight_ / 2.0);
    const double knobX = bar.left() + bar.width() * n;
    painter.setBrush(dragging() ? p.ink : p.surface);
    painter.setPen(QPen(p.ink2, 1));
    painter.drawEllipse(QPointF(std::clamp(knobX, 4.0, width() - 4.0), bar.center().y()), 4, 4);
}

double BarFader::dragValue(double, QPointF, QPointF at, Qt::KeyboardModifiers) const {
    return mapping_.value(barFaderPosition(at.x(), width()));
}

} // namespace velmo
