// The strip above the lanes: bar numbers, the loop region and the playhead's head. A click moves
// the playhead to the nearest sixteenth; a drag sets the loop between bar lines, as one undo step.
#pragma once

#include <QWidget>

#include <optional>

namespace velmo {

class AppModel;

// GUI thread only. Holds the running drag and nothing of the song.
class Ruler final : public QWidget {
public:
    Ruler(AppModel& model, const double& ppb, QWidget* parent = nullptr);

    // The lanes' horizontal scroll position, so the ruler shows the same beats.
    void setOffset(int offset);

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    void mouseMoveEvent(QMouseEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;

private:
    AppModel& model_;
    const double& ppb_;
    int offset_ = 0;
    std::optional<double> pressX_;  // in timeline pixels
    bool dragged_ = false;          // went beyond a click's few pixels
    double shownBeat_ = 0;  // the playhead as last painted
};

} // namespace velmo
