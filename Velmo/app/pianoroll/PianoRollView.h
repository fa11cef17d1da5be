// The "Notes" tab: the selected clip's piano roll under its toolbar (names, length, velocity of
// new notes, grid, quantize, zoom), or a word on how to choose a clip when none is selected.
// Zoom, row height and grid are stored preferences.
#pragma once

#include "pianoroll/PianoRollGeometry.h"

#include <QWidget>

class QLabel;
class QScrollArea;
class QStackedLayout;
class QComboBox;

namespace velmo {

class AppModel;
class BarFader;
class DragNumber;
class PianoKeys;
class PianoRollCanvas;

// GUI thread only.
class PianoRollView final : public QWidget {
public:
    static constexpr double minZoom = 16, maxZoom = 256;
    static constexpr double minRowHeight = 6, maxRowHeight = 24;

    explicit PianoRollView(AppModel& model, QWidget* parent = nullptr);

    PianoRollCanvas& canvas() { return *canvas_; }
    const PianoRollGeometry::Scale& scale() const { return scale_; }

protected:
    void wheelEvent(QWheelEvent*) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showClip();
    void showSelection();
    void setZoom(double ppb);
    void setRowHeight(double rowH);
    void setGrid(double grid);
    void quantize();

    AppModel& model_;
    PianoRollGeometry::Scale scale_;
    QStackedLayout* pages_;
    QLabel* clipName_;
    QLabel* trackName_;
    DragNumber* length_;
    BarFader* velocity_;
    QComboBox* grid_;
    BarFader* zoom_;
    PianoKeys* keys_;
    QScrollArea* scroll_;
    PianoRollCanvas* canvas_;
    std::string shownClip_;
};

} // namespace velmo
