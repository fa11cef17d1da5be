// The tabs of the lower pane, with their titles, which are also the values VELMO_TAB takes.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace velmo {

enum class EditorTab { notes, synth, effects, agent };

inline constexpr std::array<std::string_view, 4> editorTabTitles{"Notes", "Synth", "Effects", "Agent"};

inline std::string_view toString(EditorTab tab) { return editorTabTitles[static_cast<std::size_t>(tab)]; }

// The exact title, case and all: "notes" is no tab.
inline std::optional<EditorTab> editorTabFromString(std::string_view text) {
    for (std::size_t i = 0; i < editorTabTitles.size(); ++i)
        if (editorTabTitles[i] == text) return static_cast<EditorTab>(i);
    return std::nullopt;
}

} // namespace velmo
