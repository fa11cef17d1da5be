// The line above a synth whose track sends its notes to external MIDI gear: where the notes go,
// whether the internal synth sounds too, and a button that gives the track back to the synth.
#pragma once

#include "model/Project.h"

#include <QWidget>

#include <functional>

class QLabel;

namespace velmo {

// What the banner says of `route`, with the device `connected` or not.
QString midiBannerText(const MIDIRoute& route, bool connected);

// GUI thread only.
class MIDIBanner final : public QWidget {
public:
    explicit MIDIBanner(QWidget* parent = nullptr);

    void showRoute(const MIDIRoute& route, bool connected);
    // Clears the track's route.
    std::function<void()> disconnect;

protected:
    void paintEvent(QPaintEvent*) override;

private:
    QLabel* text_;
};

} // namespace velmo
