// One insert chain, a track's or the master bus's: its title, an "Add effect" menu of the nine
// kinds, and a card per slot in chain order, or a line saying the signal passes straight through.
#pragma once

#include "model/Project.h"

#include <QColor>
#include <QWidget>

#include <optional>
#include <string>
#include <vector>

class QLabel;
class QPushButton;

namespace velmo {

class EffectCard;
class FlowLayout;
class Studio;

// GUI thread only.
class EffectChainView final : public QWidget {
public:
    // `trackID` names the track whose chain this is; nothing for the master bus.
    EffectChainView(Studio& studio, std::optional<std::string> trackID, QColor color, QWidget* parent = nullptr);

    const std::optional<std::string>& trackID() const { return trackID_; }
    void setTitle(const QString& title, const QString& subtitle);
    // Cards are rebuilt only when slots come, go or move; values change in place, so a knob
    // being dragged stays.
    void showChain(const CowVector<EffectSlot>& slots);

    QPushButton& addButton() { return *add_; }
    const std::vector<EffectCard*>& cards() const { return cards_; }

private:
    Studio& studio_;
    std::optional<std::string> trackID_;
    QColor color_;
    QLabel* title_;
    QLabel* subtitle_;
    QPushButton* add_;
    QLabel* empty_;
    FlowLayout* flow_;
    std::vector<EffectCard*> cards_;
};

} // namespace velmo
