// The upper pane: the track headers beside the horizontally scrolling lanes, under the ruler with
// the loop markers; or, with no tracks, the empty arrangement. Zoom (pixels per beat) is a stored
// preference, changed with Ctrl and the wheel.
#pragma once

#include <QWidget>

class QScrollArea;
class QStackedLayout;

namespace velmo {

class AppModel;
class ArrangementLanes;
class ColumnHeader;
class Ruler;
class TrackColumn;

// GUI thread only.
class ArrangementView final : public QWidget {
public:
    explicit ArrangementView(AppModel& model, QWidget* parent = nullptr);

    double ppb() const { return ppb_; }
    void setZoom(double ppb);
    ArrangementLanes& lanes() { return *lanes_; }
    Ruler& ruler() { return *ruler_; }
    TrackColumn& tracks() { return *tracks_; }
    ColumnHeader& columnHeader() { return *columnHeader_; }
    QScrollArea& laneScroll() { return *laneScroll_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showPage();

    AppModel& model_;
    double ppb_;
    QStackedLayout* pages_;
    ColumnHeader* columnHeader_;
    Ruler* ruler_;
    TrackColumn* tracks_;
    ArrangementLanes* lanes_;
    QScrollArea* laneScroll_;
};

} // namespace velmo
