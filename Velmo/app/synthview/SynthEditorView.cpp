#include "synthview/SynthEditorView.h"

#include "AppModel.h"
#include "Placeholder.h"
#include "synthview/SynthPanel.h"

#include <QStackedLayout>

namespace velmo {

SynthEditorView::SynthEditorView(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    pages_ = new QStackedLayout(this);
    pages_->addWidget(new Placeholder("Select a track to design its sound", ""));
    connect(&model_.studioSignals(), &StudioSignals::songChanged, this, &SynthEditorView::showSelection);
    connect(&model_.studioSignals(), &StudioSignals::selectionChanged, this, &SynthEditorView::showSelection);
    showSelection();
}

void SynthEditorView::showSelection() {
    const Studio& studio = model_.studio();
    const auto& id = studio.selectedTrackID();
    const auto index = id ? studio.project().trackIndex(*id) : std::nullopt;
    const Track* track = index ? &studio.project().tracks[*index] : nullptr;
    if (panel_ && track && panel_->trackID() == track->id && panel_->engine() == track->patch.engine) {
        panel_->showTrack(*track);
        return;
    }
    if (panel_) {
        pages_->removeWidget(panel_);
        // Later, since the panel may be inside its own gesture (a menu choosing an engine).
        panel_->deleteLater();
        panel_ = nullptr;
    }
    if (!track) {
        pages_->setCurrentIndex(0);
        return;
    }
    panel_ = new SynthPanel(model_, *track);
    pages_->addWidget(panel_);
    pages_->setCurrentWidget(panel_);
}

} // namespace velmo
