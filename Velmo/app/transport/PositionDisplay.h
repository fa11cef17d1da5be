// The playhead's position two ways: bars, beats and sixteenths counted from 1, and minutes and
// seconds at the song's tempo.
#pragma once

#include <QWidget>

namespace velmo {

class StudioSignals;

// "12.03.02": bar, beat in the bar, sixteenth in the beat, each counted from 1.
QString musicalPosition(double beat, int beatsPerBar);
// "1:05.25": minutes and seconds of `beat` at `tempo`.
QString clockPosition(double beat, double tempo);

// GUI thread only; repaints when the live state moves.
class PositionDisplay final : public QWidget {
public:
    explicit PositionDisplay(StudioSignals& signals, QWidget* parent = nullptr);
    QSize sizeHint() const override { return {150, 40}; }

protected:
    void paintEvent(QPaintEvent*) override;

private:
    StudioSignals& signals_;
};

} // namespace velmo
