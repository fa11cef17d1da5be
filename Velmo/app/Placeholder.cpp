#include "Placeholder.h"

#include "Theme.h"

#include <QPainter>

namespace velmo {

Placeholder::Placeholder(QString title, QString detail, QWidget* parent)
    : QWidget(parent), title_(std::move(title)), detail_(std::move(detail)) {}

void Placeholder::setText(QString title, QString detail) {
    title_ = std::move(title);
    detail_ = std::move(detail);
    update();
}

void Placeholder::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    painter.fillRect(rect(), p.surface);
    QFont font = painter.font();
    font.setPixelSize(18);
    painter.setFont(font);
    painter.setPen(p.ink2);
    const QRectF upper(0, 0, width(), height() / 2.0 + 2);
    painter.drawText(upper, Qt::AlignHCenter | Qt::AlignBottom, title_);
    font.setPixelSize(12);
    painter.setFont(font);
    painter.setPen(p.ink3);
    painter.drawText(QRectF(0, height() / 2.0 + 8, width(), 20), Qt::AlignHCenter | Qt::AlignTop, detail_);
}

} // namespace velmo
