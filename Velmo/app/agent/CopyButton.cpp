#include "agent/CopyButton.h"

#include "Theme.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>

namespace velmo {

namespace {

constexpr int copiedMs = 1500;

} // namespace

CopyButton::CopyButton(QWidget* parent) : QWidget(parent) {
    QFont f = font();
    f.setPixelSize(11);
    setFont(f);
    setCursor(Qt::PointingHandCursor);
    setFixedSize(sizeHint());
}

QSize CopyButton::sizeHint() const { return {fontMetrics().horizontalAdvance("Copied") + 16, 22}; }

void CopyButton::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(copied_ ? Theme::green : p.line, 1));
    painter.setBrush(p.surface);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 5, 5);
    painter.setPen(copied_ ? Theme::green : p.ink);
    painter.drawText(rect(), Qt::AlignCenter, copied_ ? "Copied" : "Copy");
}

void CopyButton::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    QGuiApplication::clipboard()->setText(text_);
    copied_ = true;
    update();
    const int generation = ++generation_;
    QTimer::singleShot(copiedMs, this, [this, generation] {
        if (generation != generation_) return;
        copied_ = false;
        update();
    });
}

} // namespace velmo
