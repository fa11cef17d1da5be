// One track's header beside its lane: colour, number and name (double-click to rename), mute
// and solo, the volume fader and pan knob (one undo step per drag), the MIDI indicator, and the
// context menu (duplicate, move, MIDI out, colour, delete). A click selects the track.
#pragma once

#include <QWidget>

#include <functional>
#include <optional>
#include <string>

class QLineEdit;

namespace velmo {

struct Track;
class AppModel;
class BarFader;
class Knob;
class PillToggle;

// GUI thread only. Shows the track at `index`; holds only the name being edited and hovering.
class TrackHeader final : public QWidget {
public:
    TrackHeader(AppModel& model, std::size_t index, QWidget* parent = nullptr);

    // Reads the track again after a change of the song or the selection.
    void refresh();
    // Starts editing the name, as a double-click on it does.
    void beginRename();
    QLineEdit& nameField() { return *nameField_; }
    BarFader& volume() { return *volume_; }
    Knob& pan() { return *pan_; }

protected:
    bool event(QEvent*) override;
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    void mouseDoubleClickEvent(QMouseEvent*) override;
    void contextMenuEvent(QContextMenuEvent*) override;
    void enterEvent(QEnterEvent*) override;
    void leaveEvent(QEvent*) override;

private:
    void commitName();
    // Edits the shown track, found by id: an agent may have moved or removed it since.
    void editTrack(std::optional<std::string> coalesce, const std::function<void(Track&)>& body);
    QRectF nameRect() const;

    AppModel& model_;
    std::size_t index_;
    std::string id_;
    QLineEdit* nameField_;
    PillToggle* mute_;
    PillToggle* solo_;
    BarFader* volume_;
    Knob* pan_;
    bool hovering_ = false;
};

} // namespace velmo
