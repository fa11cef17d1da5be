#include "effectview/EffectsView.h"

#include "AppModel.h"
#include "Theme.h"
#include "controls/Hairline.h"
#include "controls/TextLabel.h"
#include "effectview/EffectChainView.h"

#include <QScrollArea>
#include <QStackedLayout>
#include <QVBoxLayout>

namespace velmo {

EffectsView::EffectsView(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    auto* none = textLabel("Select a track", 13, false, true);
    none->setContentsMargins(12, 12, 12, 12);
    auto* trackArea = new QWidget;
    trackPages_ = new QStackedLayout(trackArea);
    trackPages_->addWidget(none);
    master_ = new EffectChainView(model_.studio(), std::nullopt, Theme::accent);
    master_->setTitle("Master", "");

    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(trackArea);
    column->addWidget(new Hairline);
    column->addWidget(master_);
    column->addStretch(1);
    auto* scroll = new QScrollArea;
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setWidget(content);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(scroll);

    connect(&model_.studioSignals(), &StudioSignals::songChanged, this, &EffectsView::showSong);
    connect(&model_.studioSignals(), &StudioSignals::selectionChanged, this, &EffectsView::showSong);
    showSong();
}

void EffectsView::showSong() {
    const Studio& studio = model_.studio();
    const Project& project = studio.project();
    const auto& id = studio.selectedTrackID();
    const auto index = id ? project.trackIndex(*id) : std::nullopt;
    if (trackChain_ && (!index || trackChain_->trackID() != project.tracks[*index].id)) {
        trackPages_->removeWidget(trackChain_);
        trackChain_->deleteLater();
        trackChain_ = nullptr;
    }
    if (index) {
        const Track& track = project.tracks[*index];
        if (!trackChain_) {
            trackChain_ = new EffectChainView(model_.studio(), track.id, Theme::trackColor(track.colorIndex));
            trackPages_->addWidget(trackChain_);
        }
        trackChain_->setTitle(QString::fromStdString(track.name), "track inserts");
        trackChain_->showChain(track.effects);
        trackPages_->setCurrentWidget(trackChain_);
    } else {
        trackPages_->setCurrentIndex(0);
    }
    master_->showChain(project.masterEffects);
}

} // namespace velmo
