// The ways to add a track: the factory presets grouped by category, and a bare track of each
// engine. Shared by the row below the last track and the empty arrangement.
#pragma once

#include <QString>

#include <string_view>
#include <vector>

class QMenu;

namespace velmo {

class Studio;

// The preset categories in alphabetical order.
std::vector<std::string_view> sortedPresetCategories();
// Adds one item per preset of `category`; each adds a track with it. GUI thread only.
void fillPresetMenu(QMenu& menu, Studio& studio, std::string_view category);
// One submenu per category, then one item per engine.
void fillAddTrackMenu(QMenu& menu, Studio& studio);

} // namespace velmo
