#include "controls/LevelMeter.h"

#include "Theme.h"
#include "base/Decibels.h"

#include <QPainter>

#include <algorithm>

namespace velmo {

double meterFill(float level) { return std::clamp((gainToDb(level) + 54) / 54, 0.0, 1.0); }

QColor meterColor(float level) {
    const double db = gainToDb(level);
    if (db > -1) return Theme::red;
    if (db > -9) return Theme::orange;
    return Theme::green;
}

LevelMeter::LevelMeter(bool vertical, QWidget* parent) : QWidget(parent), vertical_(vertical) {
    if (vertical) setFixedWidth(6);
    else setFixedHeight(6);
}

void LevelMeter::setLevel(float level) {
    if (level == level_) return;
    level_ = level;
    update();
}

void LevelMeter::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), Theme::palette().inset);
    const double fill = meterFill(level_);
    if (fill <= 0) return;
    const QRectF lit = vertical_ ? QRectF(0, height() * (1 - fill), width(), height() * fill)
                                 : QRectF(0, 0, width() * fill, height());
    painter.fillRect(lit, meterColor(level_));
}

} // namespace velmo
