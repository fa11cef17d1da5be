#include "controls/FlowLayout.h"

#include <QWidget>

namespace velmo {

FlowLayout::FlowLayout(int spacing, QWidget* parent) : QLayout(parent), spacing_(spacing) {}

FlowLayout::~FlowLayout() {
    while (QLayoutItem* item = takeAt(0)) delete item;
}

void FlowLayout::addItem(QLayoutItem* item) { items_.append(item); }

QLayoutItem* FlowLayout::itemAt(int index) const { return index >= 0 && index < items_.size() ? items_[index] : nullptr; }

QLayoutItem* FlowLayout::takeAt(int index) { return index >= 0 && index < items_.size() ? items_.takeAt(index) : nullptr; }

int FlowLayout::heightForWidth(int width) const { return arrange(QRect(0, 0, width, 0), false); }

QSize FlowLayout::minimumSize() const {
    QSize size;
    for (const QLayoutItem* item : items_) size = size.expandedTo(item->minimumSize());
    const QMargins m = contentsMargins();
    return size + QSize(m.left() + m.right(), m.top() + m.bottom());
}

QSize FlowLayout::sizeHint() const { return minimumSize(); }

void FlowLayout::setGeometry(const QRect& rect) {
    QLayout::setGeometry(rect);
    arrange(rect, true);
}

int FlowLayout::arrange(const QRect& rect, bool place) const {
    const QRect area = rect.marginsRemoved(contentsMargins());
    int x = area.x(), y = area.y(), rowHeight = 0;
    for (QLayoutItem* item : items_) {
        if (item->isEmpty()) continue;
        const QSize size = item->sizeHint();
        if (x > area.x() && x + size.width() > area.right() + 1) {
            x = area.x();
            y += rowHeight + spacing_;
            rowHeight = 0;
        }
        if (place) item->setGeometry(QRect(QPoint(x, y), size));
        x += size.width() + spacing_;
        rowHeight = std::max(rowHeight, size.height());
    }
    return y + rowHeight - rect.y() + contentsMargins().bottom();
}

} // namespace velmo
