#include "arrangement/TrackColumn.h"

#include "AppModel.h"
#include "Theme.h"
#include "arrangement/AddTrackMenu.h"
#include "arrangement/ArrangementGeometry.h"
#include "arrangement/TrackHeader.h"

#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmo {

namespace G = ArrangementGeometry;

TrackColumn::TrackColumn(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    setFixedWidth(G::headerWidth);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    headerList_ = new QVBoxLayout;
    headerList_->setSpacing(0);
    column->addLayout(headerList_);

    auto* add = new QPushButton("Add track");
    add->setFlat(true);
    auto* menu = new QMenu(add);
    fillAddTrackMenu(*menu, model_.studio());
    add->setMenu(menu);
    auto* addRow = new QHBoxLayout;
    addRow->setContentsMargins(12, 6, 12, 6);
    addRow->addWidget(add);
    addRow->addStretch();
    auto* addRowWidget = new QWidget;
    addRowWidget->setFixedHeight(G::addTrackRowHeight);
    addRowWidget->setLayout(addRow);
    column->addWidget(addRowWidget);
    column->addStretch(1);

    StudioSignals& signals = model_.studioSignals();
    connect(&signals, &StudioSignals::songChanged, this, &TrackColumn::showTracks);
    connect(&signals, &StudioSignals::selectionChanged, this, [this] {
        for (TrackHeader* h : headers_) h->update();
    });
    showTracks();
}

void TrackColumn::showTracks() {
    const Project& project = model_.studio().project();
    std::vector<std::string> ids;
    for (const Track& t : project.tracks) ids.push_back(t.id);
    if (ids != shownIds_) {
        // Later, not now: the change may come from inside a header's own menu or name field.
        for (TrackHeader* h : headers_) h->hide(), h->deleteLater();
        headers_.clear();
        for (std::size_t i = 0; i < ids.size(); ++i) {
            headers_.push_back(new TrackHeader(model_, i));
            headerList_->addWidget(headers_.back());
        }
        shownIds_ = std::move(ids);
        return;
    }
    for (TrackHeader* h : headers_) h->refresh();
}

void TrackColumn::paintEvent(QPaintEvent*) { QPainter(this).fillRect(rect(), Theme::palette().body); }

} // namespace velmo
