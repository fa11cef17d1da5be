// The modulation matrix: one row per slot of the "Modulation" section, a source menu, an arrow,
// a destination menu and a bipolar amount fader, each writing its slot's parameter path.
#pragma once

#include "catalog/ParamInfo.h"

#include <QColor>
#include <QWidget>

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

class QLabel;

namespace velmo {

class BarFader;
class PanelMenu;
class Studio;

// GUI thread only.
class ModMatrix final : public QWidget {
public:
    // `rows` are the section's catalog rows: per slot a source, a destination and an amount.
    ModMatrix(Studio& studio, std::string trackID, std::vector<const ParamInfo*> rows, QColor color,
              QWidget* parent = nullptr);

    void showPatch(const nlohmann::json& patch);

private:
    struct Slot {
        std::string source, destination, amount;  // paths
        PanelMenu* sourceMenu;
        PanelMenu* destinationMenu;
        BarFader* fader;
        QLabel* amountText;
    };
    std::vector<Slot> slots_;
};

} // namespace velmo
