// The strip at the top of the window: return, play and loop, the position, tempo and metre, the
// master fader and meter, the oscilloscope, the export message, "no sound" while no device plays,
// and the agent server's pill. It reads the live state at display rate and the song when it
// changes.
#pragma once

#include <QWidget>

class QLabel;

namespace velmo {

class AppModel;
class BarFader;
class CircleButton;
class DragNumber;
class LevelMeter;
class Scope;

// The tempo as it reads: whole tempos without decimals, others as they are ("120.5").
QString tempoText(double tempo);

// GUI thread only.
class TransportBar final : public QWidget {
public:
    static constexpr int barHeight = 56;

    explicit TransportBar(AppModel& model, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent*) override;

private:
    void showSong();
    void showLive();
    void showSound();

    AppModel& model_;
    CircleButton* play_;
    CircleButton* loop_;
    DragNumber* tempo_;
    QLabel* metre_;
    BarFader* master_;
    QLabel* masterText_;
    LevelMeter* meter_;
    Scope* scope_;
    QLabel* exportMessage_;
    QLabel* sound_; // "no sound", with the device's reason as its tooltip
};

} // namespace velmo
