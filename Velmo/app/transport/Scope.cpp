#include "transport/Scope.h"

#include "Theme.h"

#include <QPainter>
#include <QPolygonF>

#include <algorithm>

namespace velmo {

Scope::Scope(QWidget* parent) : QWidget(parent) { setFixedSize(140, 40); }

void Scope::setSamples(const std::vector<float>& samples) {
    if (samples == samples_) return;
    samples_ = samples;
    update();
}

void Scope::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    Theme::paintWell(painter, rect());
    const double mid = height() / 2.0;
    painter.setPen(QPen(p.line, 1));
    painter.drawLine(QPointF(4, mid), QPointF(width() - 4, mid));
    if (samples_.size() < 2) return;
    QPolygonF line;
    line.reserve(static_cast<int>(samples_.size()));
    const double step = (width() - 8.0) / static_cast<double>(samples_.size() - 1);
    for (std::size_t i = 0; i < samples_.size(); ++i)
        line << QPointF(4 + step * static_cast<double>(i), mid - std::clamp(samples_[i], -1.0f, 1.0f) * (mid - 4));
    painter.setPen(QPen(p.ink, 1.2));
    painter.drawPolyline(line);
}

} // namespace velmo
