// The arrangement's lanes: paints every track's row with its clips and the playhead, and turns
// the mouse into the clip gestures: a click selects, a drag moves (in time and across tracks), a
// drag on the right edge resizes, a double-click on empty lane space makes a clip, and the
// context menu duplicates or deletes.
#pragma once

#include <QWidget>

#include <optional>
#include <string>

namespace velmo {

class AppModel;

// GUI thread only. Holds the running drag and nothing of the song.
class ArrangementLanes final : public QWidget {
public:
    ArrangementLanes(AppModel& model, const double& ppb, QWidget* parent = nullptr);

    // Sizes the lanes for the song at the present zoom.
    void refit();

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    void mouseMoveEvent(QMouseEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;
    void mouseDoubleClickEvent(QMouseEvent*) override;
    void contextMenuEvent(QContextMenuEvent*) override;

private:
    struct Hit {
        std::string clip;
        std::size_t track;
        bool onHandle;
    };
    std::optional<Hit> hit(QPointF at) const;
    void movePlayhead();

    // A press on a clip, and what its drag has done so far.
    struct Drag {
        std::string clip;
        std::size_t track;
        double start, length;
        bool resize;
        QPointF pressAt, travel;
        bool moving = false;  // a move shows only once it passed its minimum distance
    };

    AppModel& model_;
    const double& ppb_;
    std::optional<Drag> drag_;
    std::optional<double> playheadX_;
};

} // namespace velmo
