#include "controls/Knob.h"

#include "Theme.h"
#include "controls/FormatValue.h"

#include <QPainter>

#include <cmath>

namespace velmo {

namespace {

constexpr int labelPixels = 10;
// How far a label may be narrowed before it is cut short instead.
constexpr double narrowest = 0.85;

QFont labelFont(QFont font) {
    font.setPixelSize(labelPixels);
    return font;
}

} // namespace

double knobDragPosition(double startPosition, double dy, bool fine) {
    const double factor = fine ? Knob::fineFactor : 1.0;
    return std::clamp(startPosition + factor * (dy / -Knob::pixelsPerRange), 0.0, 1.0);
}

double knobValue(const ValueMapping& mapping, double position, bool integer) {
    const double v = mapping.value(position);
    return integer ? std::round(v) : v;
}

Knob::Knob(QString label, ValueMapping mapping, QString unit, bool integer, std::optional<double> defaultValue,
           QColor color, int size, bool showsLabel, QWidget* parent)
    : DragControl(defaultValue, false, parent), label_(std::move(label)), mapping_(mapping), unit_(std::move(unit)),
      integer_(integer), color_(color), size_(size), showsLabel_(showsLabel) {
    setCursor(Qt::SizeVerCursor);
    setFixedSize(sizeHint());
    shownLabel_ = label_;
    if (!showsLabel_) return;
    const QFontMetricsF metrics(labelFont(font()));
    const double natural = metrics.horizontalAdvance(label_);
    const double room = width();
    if (natural > room && natural * narrowest <= room) {
        labelSqueeze_ = room / natural;
    } else if (natural > room) {
        shownLabel_ = metrics.elidedText(label_, Qt::ElideRight, room);
        setHelp({});
    }
}

void Knob::setHelp(const QString& help) {
    if (shownLabel_ == label_) setToolTip(help);
    else setToolTip(help.isEmpty() ? label_ : label_ + ": " + help);
}

QSize Knob::sizeHint() const {
    const int width = showsLabel_ ? std::max(size_ + 24, 58) : size_;
    return {width, size_ + (showsLabel_ ? 30 : 0)};
}

void Knob::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF ring((width() - size_) / 2.0 + 1.25, 1.25, size_ - 2.5, size_ - 2.5);
    // A 270-degree travel from lower left to lower right; Qt counts sixteenths of a degree.
    const double n = mapping_.position(value());
    painter.setPen(QPen(hovering_ || dragging() ? p.ink3 : p.line, 2.5, Qt::SolidLine, Qt::RoundCap));
    painter.drawArc(ring, 225 * 16, -270 * 16);
    painter.setPen(QPen(color_, 2.5, Qt::SolidLine, Qt::RoundCap));
    painter.drawArc(ring, 225 * 16, static_cast<int>(-270 * 16 * n));
    const double angle = (225 - 270 * n) * M_PI / 180;
    const QPointF centre = ring.center();
    const double r = ring.width() / 2 - 5;
    painter.setPen(QPen(p.ink, 2, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(centre, centre + QPointF(std::cos(angle) * r, -std::sin(angle) * r));
    if (!showsLabel_) return;
    painter.setFont(labelFont(font()));
    painter.setPen(p.ink2);
    painter.save();
    painter.translate(width() / 2.0, 0);
    painter.scale(labelSqueeze_, 1);
    const double span = width() / labelSqueeze_;
    painter.drawText(QRectF(-span / 2, size_ + 2, span, 13), Qt::AlignCenter, shownLabel_);
    painter.restore();
    painter.setPen(p.ink);
    painter.drawText(QRectF(0, size_ + 15, width(), 13), Qt::AlignCenter, formatValue(value(), unit_, integer_));
}

double Knob::dragValue(double start, QPointF travel, QPointF, Qt::KeyboardModifiers modifiers) const {
    const bool fine = modifiers & Qt::AltModifier;
    return knobValue(mapping_, knobDragPosition(mapping_.position(start), travel.y(), fine), integer_);
}

void Knob::enterEvent(QEnterEvent*) {
    hovering_ = true;
    update();
}

void Knob::leaveEvent(QEvent*) {
    hovering_ = false;
    update();
}

} // namespace velmo
