// The grid canvas of the piano roll: paints the selected clip's notes and playhead and turns
// mouse presses, drags and releases into the one piano-roll gesture.
#pragma once

#include "pianoroll/PianoRollGesture.h"

#include <QWidget>

#include <optional>

namespace velmo {

class StudioSignals;

// GUI thread only. Holds the gesture (drag state) and nothing of the song.
class PianoRollCanvas final : public QWidget {
public:
    PianoRollCanvas(StudioSignals& signals, const PianoRollGeometry::Scale& scale, QWidget* parent = nullptr);

    // Sizes the canvas for the selected clip at the present scale.
    void refit();
    PianoRollGesture& gesture() { return gesture_; }

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    void mouseMoveEvent(QMouseEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    const Clip* clip() const;
    void movePlayhead();

    StudioSignals& signals_;
    const PianoRollGeometry::Scale& scale_;
    PianoRollGesture gesture_;
    std::optional<QPointF> pressAt_;
    std::optional<double> playheadX_;
};

} // namespace velmo
