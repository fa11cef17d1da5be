// The on-screen keyboard under the synth editor: four octaves that follow the computer-keyboard
// piano's octave, with the letters of its keys marked, the track's held notes shown pressed, and
// a drag across the keys playing them. On a drums track the keys carry the drum names, run down
// the key, each within its own key, so none hides under a black key or runs into a letter.
#pragma once

#include <QColor>
#include <QRectF>
#include <QString>
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

// One key as it is drawn: where it stands and what it says.
struct KeyFace {
    int pitch = 0;
    bool black = false;
    QRectF key;
    QString letter;     // the computer key that plays it now, or empty
    QRectF letterRoom;  // a band at the key's foot
    QString name;       // the drum name on a drums track, or empty
    QString shownName;  // `name`, cut short with an ellipsis only if the key lacks the length
    QRectF nameRoom;    // the strip the name runs down, top to bottom, above the letter
};

// GUI thread only.
class Keyboard final : public QWidget {
public:
    static constexpr int octaves = 4;
    static constexpr int captionHeight = 20;
    static constexpr int letterPixels = 10, namePixels = 9;

    Keyboard(AppModel& model, std::string trackID, QColor color, bool drums, QWidget* parent = nullptr);
    ~Keyboard() override;

    void setColor(QColor color);
    // The white keys in view, ascending: four octaves from the C an octave below the piano's base.
    std::vector<int> whites() const;
    // Where the keys are, below the caption.
    QRectF keysArea() const;
    // Every key in view, the white ones first, as the widget is now sized.
    std::vector<KeyFace> faces() const;
    // The caption's left and right parts: what plays the keys, and the typing velocity.
    QString caption() const;
    QString velocityText() const;

protected:
    bool event(QEvent*) override;
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    void mouseMoveEvent(QMouseEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    std::optional<int> hit(QPointF at) const;
    // Ends the note held by the pointer, if any, and starts `pitch`, if any.
    void hold(std::optional<int> pitch);
    int base() const { return drums_ ? 36 : 60; }
    // Tall enough that the longest drum name on a black key runs whole above its letter.
    int drumKeysHeight() const;

    AppModel& model_;
    std::string trackID_;
    QColor color_;
    bool drums_;
    std::optional<int> mouseHeld_;
    bool dragging_ = false;
};

} // namespace velmo
