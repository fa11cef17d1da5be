#include "controls/PillToggle.h"

#include "Theme.h"

#include <QMouseEvent>
#include <QPainter>

namespace velmo {

PillToggle::PillToggle(QString title, QColor onColor, QString help, QWidget* parent)
    : QWidget(parent), title_(std::move(title)), onColor_(onColor) {
    QFont f = font();
    f.setPixelSize(10);
    setFont(f);
    setToolTip(help);
    setCursor(Qt::PointingHandCursor);
    setFixedSize(sizeHint());
}

QSize PillToggle::sizeHint() const {
    return {std::max(fontMetrics().horizontalAdvance(title_), fontMetrics().horizontalAdvance(onTitle_)) + 14, 18};
}

void PillToggle::setOnTitle(QString title) {
    onTitle_ = std::move(title);
    setFixedSize(sizeHint());
    update();
}

void PillToggle::setOn(bool on) {
    if (on == on_) return;
    on_ = on;
    update();
}

void PillToggle::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF r = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.setPen(on_ ? Qt::NoPen : QPen(p.line, 1));
    painter.setBrush(on_ ? onColor_ : p.surface);
    painter.drawRoundedRect(r, r.height() / 2, r.height() / 2);
    painter.setPen(on_ ? QColor(0xFFFFFF) : p.ink2);
    painter.drawText(r, Qt::AlignCenter, on_ && !onTitle_.isEmpty() ? onTitle_ : title_);
}

void PillToggle::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && action) action();
}

} // namespace velmo
