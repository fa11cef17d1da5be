#include "controls/BarFader.h"

#include "Theme.h"

#include <QMouseEvent>
#include <QPainter>

namespace velmo {

double barFaderPosition(double x, double width) { return width > 0 ? std::clamp(x / width, 0.0, 1.0) : 0.0; }

BarFader::BarFader(ValueMapping mapping, std::optional<double> defaultValue, bool bipolar, QColor color, int height,
                   QWidget* parent)
    : QWidget(parent), mapping_(mapping), defaultValue_(defaultValue), bipolar_(bipolar), color_(color),
      barHeight_(height) {
    setMinimumSize(40, barHeight_ + 8);
    setCursor(Qt::PointingHandCursor);
}

void BarFader::setValue(double value) {
    if (value == value_) return;
    value_ = value;
    update();
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
    const double n = mapping_.position(value_);
    const double from = bipolar_ ? 0.5 : 0.0;
    QRectF fill(bar.left() + bar.width() * std::min(from, n), bar.top(), bar.width() * std::abs(n - from), barHeight_);
    painter.setBrush(color_);
    painter.drawRoundedRect(fill, barHeight_ / 2.0, barHeight_ / 2.0);
    const double knobX = bar.left() + bar.width() * n;
    painter.setBrush(dragging_ ? p.ink : p.surface);
    painter.setPen(QPen(p.ink2, 1));
    painter.drawEllipse(QPointF(std::clamp(knobX, 4.0, width() - 4.0), bar.center().y()), 4, 4);
}

void BarFader::follow(double x) {
    if (onChange) onChange(mapping_.value(barFaderPosition(x, width())));
}

void BarFader::mousePressEvent(QMouseEvent* event) {
    dragging_ = true;
    follow(event->position().x());
}

void BarFader::mouseMoveEvent(QMouseEvent* event) {
    if (dragging_) follow(event->position().x());
}

void BarFader::mouseReleaseEvent(QMouseEvent*) {
    dragging_ = false;
    update();
}

void BarFader::mouseDoubleClickEvent(QMouseEvent*) {
    if (defaultValue_ && onChange) onChange(*defaultValue_);
}

} // namespace velmo
