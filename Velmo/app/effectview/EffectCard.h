// One insert effect as a card: its place in the chain, its kind, buttons that move it left and
// right, bypass it and remove it, and one knob per parameter of the effect catalog. A card keeps
// its slot's id, not its index, so an agent's edit during a drag cannot redirect the gesture.
#pragma once

#include "model/Project.h"

#include <QColor>
#include <QWidget>

#include <optional>
#include <string>
#include <vector>

class QLabel;
class QToolButton;

namespace velmo {

class Knob;
class PillToggle;
class Studio;

// GUI thread only.
class EffectCard final : public QWidget {
public:
    // `trackID` names the track whose chain holds the slot; nothing for the master bus.
    EffectCard(Studio& studio, std::optional<std::string> trackID, const EffectSlot& slot, QColor color,
               QWidget* parent = nullptr);

    const std::string& slotID() const { return slotID_; }
    EffectKind kind() const { return kind_; }
    // Shows `slot`, at `index` of a chain `count` long.
    void showSlot(const EffectSlot& slot, std::size_t index, std::size_t count);

protected:
    void paintEvent(QPaintEvent*) override;

private:
    // The chain's track index (nothing for master) and the slot's index now, if it is still there.
    struct Place {
        std::optional<std::size_t> track;
        std::size_t index;
    };
    std::optional<Place> place() const;

    Studio& studio_;
    std::optional<std::string> trackID_;
    std::string slotID_;
    EffectKind kind_;
    QLabel* position_;
    QToolButton* left_;
    QToolButton* right_;
    PillToggle* enabled_;
    std::vector<Knob*> knobs_;
};

} // namespace velmo
