// A section of the synth editor as a grid of controls, one per catalog row: a knob for a
// number, a menu for a choice, a toggle for a switch. Each control is named by its parameter
// path and writes that path, so the editor and the agents' tools set the same things.
#pragma once

#include "catalog/ParamInfo.h"

#include <QColor>
#include <QWidget>

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace velmo {

class Studio;

// GUI thread only.
class ParamGrid final : public QWidget {
public:
    ParamGrid(Studio& studio, std::string trackID, std::vector<const ParamInfo*> params, QColor color,
              QWidget* parent = nullptr);

    // Shows the values of `patch`, the patch's JSON tree.
    void showPatch(const nlohmann::json& patch);

private:
    QWidget* makeControl(const ParamInfo& spec, QColor color);

    Studio& studio_;
    std::string trackID_;
    std::vector<std::pair<const ParamInfo*, QWidget*>> controls_;
};

} // namespace velmo
