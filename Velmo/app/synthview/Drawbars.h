// The additive engine's partials as a row of vertical drawbars, one per catalog row of the
// "Harmonics" section: the pointer's height sets the level, and a sweep across the bars draws a
// spectrum in one undo step.
#pragma once

#include "catalog/ParamInfo.h"

#include <QColor>
#include <QWidget>

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace velmo {

class Drawbar;
class Studio;

// A drawbar's level with the pointer at `y` on a bar `height` high: 1 at the top, 0 at the foot.
double drawbarLevel(double y, double height);

// GUI thread only.
class Drawbars final : public QWidget {
public:
    static constexpr int barHeight = 100;

    Drawbars(Studio& studio, std::string trackID, std::vector<const ParamInfo*> partials, QColor color,
             QWidget* parent = nullptr);

    void showPatch(const nlohmann::json& patch);

private:
    std::vector<std::pair<const ParamInfo*, Drawbar*>> bars_;
};

} // namespace velmo
