// The on-screen keyboard under the synth editor: four octaves that follow the computer-keyboard
// piano's octave, with the letters of its keys marked, the track's held notes shown pressed, and
// a drag across the keys playing them. On a drums track the keys carry the drum names.
#pragma once

#include <QColor>
#include <QWidget>

#include <optional>
#include <string>
#include <vector>

namespace velmo {

class AppModel;

// Pitch classes with a black key: C#, D#, F#, G#, A#.
bool isBlackClass(int pitch);

// The pitch under (x, y) on keys `width` by `height` whose white keys are `whites`, ascending, or
// nothing outside them. Black keys take the top 60 percent of the height and the outer third of
// each white key beside them, so a press low on the keys always hits the white key.
std::optional<int> keyboardHit(double x, double y, double width, double height, const std::vector<int>& whites);

// GUI thread only.
class Keyboard final : public QWidget {
public:
    static constexpr int octaves = 4;
    static constexpr int captionHeight = 20;

    Keyboard(AppModel& model, std::string trackID, QColor color, bool drums, QWidget* parent = nullptr);
    ~Keyboard() override;

    void setColor(QColor color);
    // The white keys in view, ascending: four octaves from the C an octave below the piano's base.
    std::vector<int> whites() const;
    // Where the keys are, below the caption.
    QRectF keysArea() const;

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    void mouseMoveEvent(QMouseEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    std::optional<int> hit(QPointF at) const;
    // Ends the note held by the pointer, if any, and starts `pitch`, if any.
    void hold(std::optional<int> pitch);
    int base() const { return drums_ ? 36 : 60; }

    AppModel& model_;
    std::string trackID_;
    QColor color_;
    bool drums_;
    std::optional<int> mouseHeld_;
    bool dragging_ = false;
};

} // namespace velmo
