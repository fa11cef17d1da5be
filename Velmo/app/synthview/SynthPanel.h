// One track's whole sound as the synth editor shows it: the MIDI banner when the track drives
// external gear, the engine and preset choices, the sections that the catalog lists for the
// engine (knob grids, drawbars, the modulation matrix), and the on-screen keyboard.
#pragma once

#include "model/Project.h"

#include <QWidget>

#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <vector>

class QPushButton;

namespace velmo {

class AppModel;
class Keyboard;
class MIDIBanner;
class Segmented;

// GUI thread only. Built for one track and one engine; the editor builds a new one when either
// changes, and shows every other change in place, so a control being dragged stays.
class SynthPanel final : public QWidget {
public:
    SynthPanel(AppModel& model, const Track& track, QWidget* parent = nullptr);

    const std::string& trackID() const { return trackID_; }
    EngineKind engine() const { return engine_; }
    void showTrack(const Track& track);

private:
    QWidget* buildSections(const Track& track);
    QPushButton* buildPresetMenu();

    AppModel& model_;
    std::string trackID_;
    EngineKind engine_;
    MIDIBanner* banner_;
    Segmented* engines_;
    Keyboard* keyboard_;
    std::vector<std::function<void(const nlohmann::json&)>> showPatch_;
};

} // namespace velmo
