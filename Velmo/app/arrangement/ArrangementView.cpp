#include "arrangement/ArrangementView.h"

#include "AppModel.h"
#include "arrangement/ArrangementGeometry.h"
#include "arrangement/ArrangementLanes.h"
#include "arrangement/ColumnHeader.h"
#include "arrangement/EmptyArrangement.h"
#include "arrangement/Ruler.h"
#include "arrangement/TrackColumn.h"
#include "controls/Hairline.h"

#include <QHBoxLayout>
#include <QScrollArea>
#include <QScrollBar>
#include <QSettings>
#include <QStackedLayout>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <cmath>

namespace velmo {

namespace G = ArrangementGeometry;

ArrangementView::ArrangementView(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    ppb_ = std::clamp(QSettings().value("arrangeZoom", G::defaultZoom).toDouble(), G::minZoom, G::maxZoom);

    columnHeader_ = new ColumnHeader(model_);
    ruler_ = new Ruler(model_, ppb_);
    tracks_ = new TrackColumn(model_);
    lanes_ = new ArrangementLanes(model_, ppb_);

    laneScroll_ = new QScrollArea;
    laneScroll_->setWidget(lanes_);
    laneScroll_->setFrameShape(QFrame::NoFrame);
    // Always there, so the headers beside can leave the same room below and stay level.
    laneScroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    laneScroll_->viewport()->installEventFilter(this);
    // The headers scroll only with the lanes, so their bars stay hidden.
    auto* headerScroll = new QScrollArea;
    headerScroll->setWidget(tracks_);
    headerScroll->setWidgetResizable(true);
    headerScroll->setFrameShape(QFrame::NoFrame);
    headerScroll->setFixedWidth(G::headerWidth);
    headerScroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    headerScroll->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    headerScroll->viewport()->installEventFilter(this);
    connect(laneScroll_->verticalScrollBar(), &QScrollBar::valueChanged, headerScroll->verticalScrollBar(),
            &QScrollBar::setValue);
    connect(laneScroll_->horizontalScrollBar(), &QScrollBar::valueChanged, ruler_, &Ruler::setOffset);

    auto* top = new QHBoxLayout;
    top->setSpacing(0);
    top->addWidget(columnHeader_);
    top->addWidget(new Hairline(true));
    top->addWidget(ruler_, 1);
    auto* headerSide = new QVBoxLayout;
    headerSide->setSpacing(0);
    headerSide->addWidget(headerScroll, 1);
    headerSide->addSpacing(laneScroll_->horizontalScrollBar()->sizeHint().height());
    auto* body = new QHBoxLayout;
    body->setSpacing(0);
    body->addLayout(headerSide);
    body->addWidget(new Hairline(true));
    body->addWidget(laneScroll_, 1);
    auto* arrangement = new QWidget;
    auto* column = new QVBoxLayout(arrangement);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addLayout(top);
    column->addLayout(body, 1);

    pages_ = new QStackedLayout(this);
    pages_->addWidget(arrangement);
    pages_->addWidget(new EmptyArrangement(model_));
    connect(&model_.studioSignals(), &StudioSignals::songChanged, this, &ArrangementView::showPage);
    showPage();
}

void ArrangementView::showPage() { pages_->setCurrentIndex(model_.studio().project().tracks.empty() ? 1 : 0); }

void ArrangementView::setZoom(double ppb) {
    ppb_ = std::clamp(ppb, G::minZoom, G::maxZoom);
    QSettings().setValue("arrangeZoom", ppb_);
    lanes_->refit();
    ruler_->update();
}

// Ctrl with the wheel zooms in time; a plain wheel over the headers scrolls the lanes.
bool ArrangementView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::Wheel) return QWidget::eventFilter(watched, event);
    auto* wheel = static_cast<QWheelEvent*>(event);
    if (wheel->modifiers() & Qt::ControlModifier) {
        setZoom(ppb_ * std::pow(1.15, wheel->angleDelta().y() / 120.0));
        return true;
    }
    if (watched != laneScroll_->viewport()) {
        QScrollBar* bar = laneScroll_->verticalScrollBar();
        bar->setValue(bar->value() - wheel->angleDelta().y() / 2);
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace velmo
