// A small rounded toggle with a word on it ("Mute", "Solo"), filled with its colour while on.
#pragma once

#include <QColor>
#include <QWidget>

#include <functional>

namespace velmo {

// GUI thread only. Shows `on` as given; a click calls `action`, which changes the song.
class PillToggle final : public QWidget {
public:
    PillToggle(QString title, QColor onColor, QString help, QWidget* parent = nullptr);
    void setOn(bool on);
    // The word shown while on, where it differs from the title ("on" against "bypassed").
    void setOnTitle(QString title);
    bool on() const { return on_; }
    std::function<void()> action;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;

private:
    QString title_, onTitle_;
    QColor onColor_;
    bool on_ = false;
};

} // namespace velmo
