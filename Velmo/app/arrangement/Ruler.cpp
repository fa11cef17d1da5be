#include "arrangement/Ruler.h"

#include "AppModel.h"
#include "Theme.h"
#include "arrangement/ArrangementGeometry.h"

#include <QMouseEvent>
#include <QPainter>

#include <cmath>

namespace velmo {

namespace G = ArrangementGeometry;

namespace {

constexpr double minLabelGap = 36;  // pixels between bar numbers

} // namespace

Ruler::Ruler(AppModel& model, const double& ppb, QWidget* parent) : QWidget(parent), model_(model), ppb_(ppb) {
    setFixedHeight(G::rulerHeight);
    setToolTip("Click to move the playhead; drag to set the loop");
    StudioSignals& signals = model_.studioSignals();
    connect(&signals, &StudioSignals::songChanged, this, qOverload<>(&QWidget::update));
    connect(&signals, &StudioSignals::liveChanged, this, [this] {
        if (model_.studio().live().beat == shownBeat_) return;
        shownBeat_ = model_.studio().live().beat;
        update();
    });
}

void Ruler::setOffset(int offset) {
    offset_ = offset;
    update();
}

void Ruler::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    const Project& project = model_.studio().project();
    QPainter painter(this);
    painter.fillRect(rect(), p.surface);
    painter.translate(-offset_, 0);
    const double left = offset_, right = offset_ + width();

    const QColor loop = project.loopEnabled ? Theme::accent : p.grey;
    const QRectF region(project.loopStart * ppb_, 0, (project.loopEnd - project.loopStart) * ppb_, 6);
    painter.fillRect(region, loop);
    painter.fillRect(QRectF(region.left(), 6, region.width(), height() - 6), Theme::mix(p.surface, loop, 0.12));

    const int bar = std::max(project.beatsPerBar, 1);
    const double barPixels = bar * ppb_;
    const int every = std::max(1, static_cast<int>(std::ceil(minLabelGap / barPixels)));
    QFont font = painter.font();
    font.setPixelSize(10);
    painter.setFont(font);
    for (int n = static_cast<int>(left / barPixels); n * barPixels <= right; ++n) {
        const double x = n * barPixels;
        painter.fillRect(QRectF(x, height() - 8, 1, 8), p.ink3);
        if (n % every == 0)
            painter.setPen(p.ink2), painter.drawText(QPointF(x + 4, height() - 9), QString::number(n + 1));
    }
    painter.fillRect(QRectF(left, height() - 1, width(), 1), p.line);

    // The playhead's head: a small triangle 9 wide and 6 high, pointing down to the lanes.
    shownBeat_ = model_.studio().live().beat;
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::accent);
    const double x = shownBeat_ * ppb_, y = height() - 6;
    painter.drawPolygon(QPolygonF{{x - 4.5, y}, {x + 4.5, y}, {x, y + 6.0}});
}

void Ruler::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    pressX_ = event->position().x() + offset_;
    dragged_ = false;
}

void Ruler::mouseMoveEvent(QMouseEvent* event) {
    if (!pressX_) return;
    const double x = event->position().x() + offset_;
    if (std::abs(x - *pressX_) <= G::rulerClickPixels) return;
    dragged_ = true;
    Studio& studio = model_.studio();
    const auto loop = G::loopFromDrag(*pressX_, x, ppb_, studio.project().beatsPerBar);
    if (!loop) return;
    studio.mutate(std::string("loopdrag"), [&](Project& p) {
        p.loopStart = loop->first;
        p.loopEnd = loop->second;
        p.loopEnabled = true;
    });
}

void Ruler::mouseReleaseEvent(QMouseEvent* event) {
    if (!pressX_ || event->button() != Qt::LeftButton) return;
    const double x = event->position().x() + offset_;
    if (!dragged_ && std::abs(x - *pressX_) <= G::rulerClickPixels) model_.studio().seek(G::seekBeat(x, ppb_));
    pressX_.reset();
}

} // namespace velmo
