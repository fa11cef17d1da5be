#include "arrangement/AddTrackMenu.h"

#include "Studio/Studio.h"
#include "catalog/Presets.h"

#include <QMenu>

#include <algorithm>

namespace velmo {

std::vector<std::string_view> sortedPresetCategories() {
    std::vector<std::string_view> sorted(Presets::categories.begin(), Presets::categories.end());
    std::sort(sorted.begin(), sorted.end());
    return sorted;
}

void fillPresetMenu(QMenu& menu, Studio& studio, std::string_view category) {
    for (const Preset& preset : Presets::all()) {
        if (preset.category != category) continue;
        menu.addAction(QString::fromStdString(preset.name), [&studio, name = preset.name] {
            studio.addTrack(std::nullopt, std::nullopt, name);
        });
    }
}

void fillAddTrackMenu(QMenu& menu, Studio& studio) {
    for (std::string_view category : sortedPresetCategories())
        fillPresetMenu(*menu.addMenu(QString::fromUtf8(category.data(), static_cast<int>(category.size()))), studio, category);
    menu.addSection("Engines");
    for (EngineKind engine : allCases<EngineKind>()) {
        const std::string_view title = label(engine);
        menu.addAction(QString::fromUtf8(title.data(), static_cast<int>(title.size())),
                       [&studio, engine] { studio.addTrack(std::nullopt, engine, std::nullopt); });
    }
}

} // namespace velmo
