#include "synthview/MIDIBanner.h"

#include "Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>

namespace velmo {

QString midiBannerText(const MIDIRoute& route, bool connected) {
    const QString device = QString::fromStdString(route.device);
    if (!connected) return device + " isn't connected, so the internal synth plays instead.";
    return "Notes go to " + device + " on channel " + QString::number(route.channel) + ". " +
           (route.playInternal ? "The internal synth plays too." : "The internal synth is silent.");
}

MIDIBanner::MIDIBanner(QWidget* parent) : QWidget(parent) {
    text_ = new QLabel;
    auto* button = new QPushButton("Use internal synth");
    button->setFocusPolicy(Qt::NoFocus);
    connect(button, &QPushButton::clicked, this, [this] {
        if (disconnect) disconnect();
    });
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(28, 4, 8, 4);
    row->addWidget(text_, 1);
    row->addWidget(button);
}

void MIDIBanner::showRoute(const MIDIRoute& route, bool connected) { text_->setText(midiBannerText(route, connected)); }

void MIDIBanner::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    Theme::paintWell(painter, QRectF(rect()).adjusted(0, 1, 0, -1));
    // A plug: the cable comes in from the left.
    painter.setPen(QPen(Theme::blue, 2, Qt::SolidLine, Qt::RoundCap));
    const double y = height() / 2.0;
    painter.drawLine(QPointF(8, y), QPointF(13, y));
    painter.drawRoundedRect(QRectF(13, y - 4, 6, 8), 1.5, 1.5);
    painter.drawLine(QPointF(19, y - 2), QPointF(22, y - 2));
    painter.drawLine(QPointF(19, y + 2), QPointF(22, y + 2));
}

} // namespace velmo
