// The one bridge from the Studio to Qt: turns the Studio's change callback into signals that
// keep "the song changed" apart from "the selection changed" and "the activity log grew", and
// reads the live state at display rate so meters and playheads move without touching the song.
#pragma once

#include "Studio/Studio.h"

#include <QObject>
#include <QTimer>

namespace velmo {

// GUI thread only.
class StudioSignals final : public QObject {
    Q_OBJECT
public:
    // How often the live state is read: 60 Hz, the display's rate.
    static constexpr int liveIntervalMs = 16;

    explicit StudioSignals(Studio& studio, QObject* parent = nullptr);
    ~StudioSignals() override;

    Studio& studio() { return studio_; }

Q_SIGNALS:
    // The project, the file or the undo flags changed.
    void songChanged();
    void selectionChanged();
    void activityChanged();
    // The live state (playhead, meters, scope, held notes) differs from the last frame.
    void liveChanged();

private:
    // Many edits in one turn of the event loop (an agent's batch, a drag) give one signal each.
    void emitDifferences();

    Studio& studio_;
    bool pending_ = false;
    Project song_;
    bool canUndo_ = false, canRedo_ = false;
    std::optional<std::filesystem::path> file_;
    std::optional<std::string> track_, clip_;
    std::string lastActivity_;
    LiveState live_;
    QTimer liveTimer_;
};

} // namespace velmo
