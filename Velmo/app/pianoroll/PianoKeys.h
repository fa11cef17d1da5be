// The key column beside the piano roll: note names (drum names on a drums track), the pitches
// held live marked, and a click plays the key.
#pragma once

#include <QWidget>

namespace velmo {

class StudioSignals;

// GUI thread only.
class PianoKeys final : public QWidget {
public:
    PianoKeys(StudioSignals& signals, const double& rowH, QWidget* parent = nullptr);
    // The canvas's vertical scroll, which the column follows.
    void setOffset(int offset);

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;

private:
    const std::string* trackID() const;

    StudioSignals& signals_;
    const double& rowH_;
    int offset_ = 0;
};

} // namespace velmo
