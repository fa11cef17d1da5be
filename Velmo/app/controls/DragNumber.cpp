#include "controls/DragNumber.h"

#include "Theme.h"
#include "controls/CText.h"

#include <QPainter>

#include <cmath>

namespace velmo {

double dragNumberValue(double start, double dx, double dy, double step, double lo, double hi) {
    return std::clamp(step * std::round(start + (dx - dy) * 0.25), lo, hi);
}

DragNumber::DragNumber(double lo, double hi, double step, QString format, int pixelSize, QWidget* parent)
    : DragControl(std::nullopt, false, parent), lo_(lo), hi_(hi), step_(step), format_(std::move(format)) {
    QFont f = font();
    f.setPixelSize(pixelSize);
    f.setFamily("DejaVu Sans Mono");
    f.setStyleHint(QFont::Monospace);
    setFont(f);
    setToolTip("Drag to change");
    setCursor(Qt::SizeHorCursor);
    text = [this](double v) { return cText(format_.toUtf8().constData(), v); };
}

QSize DragNumber::sizeHint() const {
    const QFontMetrics metrics(font());
    return {std::max(metrics.horizontalAdvance(text(hi_)), metrics.horizontalAdvance(text(value()))) + 12,
            metrics.height() + 8};
}

void DragNumber::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(dragging() ? p.line : p.inset);
    painter.drawRoundedRect(rect(), 4, 4);
    painter.setPen(p.ink);
    painter.drawText(rect(), Qt::AlignCenter, text(value()));
}

double DragNumber::dragValue(double start, QPointF travel, QPointF, Qt::KeyboardModifiers) const {
    return dragNumberValue(start, travel.x(), travel.y(), step_, lo_, hi_);
}

} // namespace velmo
