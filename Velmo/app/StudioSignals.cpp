#include "StudioSignals.h"

namespace velmo {

StudioSignals::StudioSignals(Studio& studio, QObject* parent)
    : QObject(parent), studio_(studio), song_(studio.project()), canUndo_(studio.canUndo()),
      canRedo_(studio.canRedo()), file_(studio.fileURL()), track_(studio.selectedTrackID()),
      clip_(studio.selectedClipID()), live_(studio.live()) {
    if (!studio.activity().empty()) lastActivity_ = studio.activity().back().id;
    studio_.onChange = [this] {
        if (pending_) return;
        pending_ = true;
        QMetaObject::invokeMethod(this, [this] { emitDifferences(); }, Qt::QueuedConnection);
    };
    liveTimer_.setTimerType(Qt::PreciseTimer);
    connect(&liveTimer_, &QTimer::timeout, this, [this] {
        if (studio_.live() == live_) return;
        live_ = studio_.live();
        Q_EMIT liveChanged();
    });
    liveTimer_.start(liveIntervalMs);
}

StudioSignals::~StudioSignals() { studio_.onChange = nullptr; }

void StudioSignals::emitDifferences() {
    pending_ = false;
    // Projects share their lists, so comparing an unchanged song costs next to nothing.
    if (!(studio_.project() == song_) || studio_.canUndo() != canUndo_ || studio_.canRedo() != canRedo_ ||
        studio_.fileURL() != file_) {
        song_ = studio_.project();
        canUndo_ = studio_.canUndo();
        canRedo_ = studio_.canRedo();
        file_ = studio_.fileURL();
        Q_EMIT songChanged();
    }
    if (studio_.selectedTrackID() != track_ || studio_.selectedClipID() != clip_) {
        track_ = studio_.selectedTrackID();
        clip_ = studio_.selectedClipID();
        Q_EMIT selectionChanged();
    }
    const std::string newest = studio_.activity().empty() ? std::string() : studio_.activity().back().id;
    if (newest != lastActivity_) {
        lastActivity_ = newest;
        Q_EMIT activityChanged();
    }
}

} // namespace velmo
