#include "controls/PanelSection.h"

#include "Theme.h"

#include <QPainter>
#include <QVBoxLayout>

namespace velmo {

namespace {

constexpr int titleHeight = 22;

} // namespace

PanelSection::PanelSection(QString title, QColor accent, QWidget* content, QWidget* parent)
    : QWidget(parent), title_(std::move(title)), accent_(accent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(10, titleHeight + 4, 10, 8);
    column->addWidget(content);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void PanelSection::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    Theme::paintRaised(painter, rect());
    painter.setPen(Qt::NoPen);
    painter.setBrush(accent_);
    painter.drawEllipse(QPointF(14, 14), 3.5, 3.5);
    QFont font = painter.font();
    font.setPixelSize(11);
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(p.ink2);
    painter.drawText(QRectF(24, 6, width() - 30, 16), Qt::AlignLeft | Qt::AlignVCenter, title_.toUpper());
}

} // namespace velmo
