#include "controls/Segmented.h"

#include "Theme.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>

namespace velmo {

Segmented::Segmented(QStringList items, QStringList help, QWidget* parent)
    : QWidget(parent), items_(std::move(items)), help_(std::move(help)) {
    QFont f = font();
    f.setPixelSize(12);
    setFont(f);
    setFixedSize(sizeHint());
}

double Segmented::itemWidth() const {
    int widest = 0;
    for (const QString& item : items_) widest = std::max(widest, fontMetrics().horizontalAdvance(item));
    return widest + 24;
}

QSize Segmented::sizeHint() const { return {static_cast<int>(itemWidth() * items_.size()) + 4, 26}; }

void Segmented::setSelection(int index) {
    if (index == selection_) return;
    selection_ = index;
    update();
}

int Segmented::itemAt(double x) const {
    const int index = static_cast<int>((x - 2) / itemWidth());
    return index >= 0 && index < items_.size() ? index : -1;
}

void Segmented::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    Theme::paintWell(painter, rect());
    const double w = itemWidth();
    for (int i = 0; i < items_.size(); ++i) {
        const QRectF cell(2 + i * w, 2, w, height() - 4);
        if (i == selection_) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(p.surface);
            painter.drawRoundedRect(cell, 5, 5);
        }
        painter.setPen(i == selection_ ? p.ink : p.ink2);
        painter.drawText(cell, Qt::AlignCenter, items_[i]);
    }
}

void Segmented::mousePressEvent(QMouseEvent* event) {
    const int index = itemAt(event->position().x());
    if (index >= 0 && onSelect) onSelect(index);
}

bool Segmented::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        const int index = itemAt(help->pos().x());
        if (index >= 0 && index < help_.size() && !help_[index].isEmpty()) QToolTip::showText(help->globalPos(), help_[index], this);
        else QToolTip::hideText();
        return true;
    }
    return QWidget::event(event);
}

} // namespace velmo
