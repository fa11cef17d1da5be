#include "transport/PositionDisplay.h"

#include "StudioSignals.h"
#include "Theme.h"
#include "controls/CText.h"

#include <QPainter>

#include <cmath>

namespace velmo {

QString musicalPosition(double beat, int beatsPerBar) {
    // A beat a rounding error below a sixteenth reads as that sixteenth, not the one before.
    const long long sixteenths = static_cast<long long>(std::floor(std::max(beat, 0.0) * 4 + 1e-9));
    const long long beats = sixteenths / 4;
    const int perBar = std::max(beatsPerBar, 1);
    return cText("%lld.%02d.%02d", beats / perBar + 1, static_cast<int>(beats % perBar) + 1,
                 static_cast<int>(sixteenths % 4) + 1);
}

QString clockPosition(double beat, double tempo) {
    // Hundredths first, so 59.999 s reads 1:00.00 and never 0:60.00.
    const long long hundredths = std::llround(std::max(beat, 0.0) * 60 / tempo * 100);
    return cText("%d:%05.2f", static_cast<int>(hundredths / 6000), static_cast<double>(hundredths % 6000) / 100);
}

PositionDisplay::PositionDisplay(StudioSignals& signals, QWidget* parent) : QWidget(parent), signals_(signals) {
    setFixedWidth(150);
    connect(&signals_, &StudioSignals::liveChanged, this, qOverload<>(&QWidget::update));
    connect(&signals_, &StudioSignals::songChanged, this, qOverload<>(&QWidget::update));
}

void PositionDisplay::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    Studio& studio = signals_.studio();
    QPainter painter(this);
    Theme::paintWell(painter, rect());
    QFont font("DejaVu Sans Mono");
    font.setStyleHint(QFont::Monospace);
    font.setPixelSize(15);
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(p.ink);
    const double beat = studio.live().beat;
    painter.drawText(QRectF(0, 2, width(), height() * 0.58), Qt::AlignCenter,
                     musicalPosition(beat, studio.project().beatsPerBar));
    font.setPixelSize(10);
    font.setBold(false);
    painter.setFont(font);
    painter.setPen(p.ink2);
    painter.drawText(QRectF(0, height() * 0.55, width(), height() * 0.4), Qt::AlignCenter,
                     clockPosition(beat, studio.project().tempo));
}

} // namespace velmo
