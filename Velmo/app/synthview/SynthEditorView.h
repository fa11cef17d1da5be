// The "Synth" tab: the selected track's whole sound, built from the synth catalog so that every
// parameter an agent can set has its control here, or a word on choosing a track.
#pragma once

#include <QWidget>

class QStackedLayout;

namespace velmo {

class AppModel;
class SynthPanel;

// GUI thread only.
class SynthEditorView final : public QWidget {
public:
    explicit SynthEditorView(AppModel& model, QWidget* parent = nullptr);

    // The panel of the selected track, or nullptr when none is selected.
    SynthPanel* panel() const { return panel_; }

private:
    void showSelection();

    AppModel& model_;
    QStackedLayout* pages_;
    SynthPanel* panel_ = nullptr;
};

} // namespace velmo
