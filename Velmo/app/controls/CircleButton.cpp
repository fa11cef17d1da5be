#include "controls/CircleButton.h"

#include "Theme.h"

#include <QPainter>
#include <QPainterPath>

namespace velmo {

CircleButton::CircleButton(Glyph glyph, int size, bool filled, QString help, QWidget* parent)
    : QWidget(parent), glyph_(glyph), filled_(filled) {
    setFixedSize(size, size);
    setToolTip(help);
    setCursor(Qt::PointingHandCursor);
}

void CircleButton::setGlyph(Glyph glyph) {
    if (glyph == glyph_) return;
    glyph_ = glyph;
    update();
}

void CircleButton::setOn(bool on, QColor fill) {
    if (on == on_ && fill == fill_) return;
    on_ = on;
    fill_ = fill;
    update();
}

void CircleButton::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF r = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QColor background = filled_ ? p.ink : (on_ ? fill_ : (hovering_ ? p.hover : p.surface));
    QColor ink = filled_ || on_ ? p.onInk : p.ink;
    if (on_ && !filled_) ink = QColor(0xFFFFFF);
    painter.setPen(filled_ || on_ ? Qt::NoPen : QPen(p.line, 1));
    painter.setBrush(background);
    painter.drawEllipse(r);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    const QPointF c = r.center();
    const double s = width() * 0.18;
    switch (glyph_) {
    case Glyph::play: {
        QPainterPath path;
        path.moveTo(c + QPointF(-s * 0.8, -s));
        path.lineTo(c + QPointF(s * 1.1, 0));
        path.lineTo(c + QPointF(-s * 0.8, s));
        path.closeSubpath();
        painter.drawPath(path);
        break;
    }
    case Glyph::stop: painter.drawRoundedRect(QRectF(c.x() - s * 0.85, c.y() - s * 0.85, s * 1.7, s * 1.7), 1.5, 1.5); break;
    case Glyph::returnToStart: {
        painter.drawRect(QRectF(c.x() - s, c.y() - s, s * 0.35, s * 2));
        QPainterPath path;
        path.moveTo(c + QPointF(s, -s));
        path.lineTo(c + QPointF(-s * 0.55, 0));
        path.lineTo(c + QPointF(s, s));
        path.closeSubpath();
        painter.drawPath(path);
        break;
    }
    case Glyph::loop: {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(ink, 1.6));
        painter.drawRoundedRect(QRectF(c.x() - s * 1.2, c.y() - s * 0.7, s * 2.4, s * 1.4), s * 0.6, s * 0.6);
        painter.setBrush(ink);
        painter.setPen(Qt::NoPen);
        QPainterPath head;
        head.moveTo(c + QPointF(s * 0.1, -s * 1.15));
        head.lineTo(c + QPointF(s * 0.65, -s * 0.7));
        head.lineTo(c + QPointF(s * 0.1, -s * 0.25));
        head.closeSubpath();
        painter.drawPath(head);
        break;
    }
    }
}

void CircleButton::mousePressEvent(QMouseEvent*) {
    if (action) action();
}

void CircleButton::enterEvent(QEnterEvent*) {
    hovering_ = true;
    update();
}

void CircleButton::leaveEvent(QEvent*) {
    hovering_ = false;
    update();
}

} // namespace velmo
