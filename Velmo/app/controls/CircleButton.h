// A round button with a drawn glyph (play, stop, return to start), optionally filled.
#pragma once

#include <QWidget>

#include <functional>

namespace velmo {

// GUI thread only.
class CircleButton final : public QWidget {
public:
    enum class Glyph { play, stop, returnToStart, loop };

    CircleButton(Glyph glyph, int size, bool filled, QString help, QWidget* parent = nullptr);
    void setGlyph(Glyph glyph);
    // A toggle-like button shows `fill` behind its glyph while on.
    void setOn(bool on, QColor fill);
    std::function<void()> action;

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    void enterEvent(QEnterEvent*) override;
    void leaveEvent(QEvent*) override;

private:
    Glyph glyph_;
    bool filled_;
    bool on_ = false;
    QColor fill_;
    bool hovering_ = false;
};

} // namespace velmo
