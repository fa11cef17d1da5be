#include "controls/Hairline.h"

#include "Theme.h"

#include <QPainter>

namespace velmo {

Hairline::Hairline(bool vertical, QWidget* parent) : QWidget(parent) {
    if (vertical) setFixedWidth(1);
    else setFixedHeight(1);
}

void Hairline::paintEvent(QPaintEvent*) { QPainter(this).fillRect(rect(), Theme::palette().line); }

} // namespace velmo
