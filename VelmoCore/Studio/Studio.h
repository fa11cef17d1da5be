// The single owner of the song. Every change to the Project, from an agent's tool call or a
// gesture in the window, passes through `mutate`: the change test, undo, coalescing of drags,
// selection repair and the hand-over to the audio core all happen there and nowhere else.
//
// Main queue only. Operations run to the end without yielding, so a tool handler's edits are
// atomic with respect to gestures.
#pragma once

#include "Studio/ActivityEntry.h"
#include "Studio/StudioError.h"
#include "model/Project.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace velmo {

class Studio {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    static constexpr std::size_t undoLimit = 300;
    static constexpr std::size_t activityLimit = 500;
    // Edits with one coalesce key join one undo step while each follows the previous one by
    // strictly less than this.
    static constexpr std::chrono::milliseconds coalesceWindow{1500};

    // Selects the first track and the first clip of that track. `clock` times coalescing; tests
    // inject their own.
    explicit Studio(Project project, Clock clock = &std::chrono::steady_clock::now);

    const Project& project() const { return project_; }
    const std::optional<std::string>& selectedTrackID() const { return selectedTrackID_; }
    const std::optional<std::string>& selectedClipID() const { return selectedClipID_; }
    const std::optional<std::filesystem::path>& fileURL() const { return fileURL_; }
    const std::deque<ActivityEntry>& activity() const { return activity_; }
    bool canUndo() const { return canUndo_; }
    bool canRedo() const { return canRedo_; }

    // The generic edit. `body` gets a working copy of the project and may throw (nothing then
    // changes) or return a value, which is passed back. An edit that changes nothing leaves no
    // undo step. Edits with the same `coalesce` key in quick succession form one undo step.
    template <class Body>
    auto mutate(std::optional<std::string> coalesce, Body&& body) -> std::invoke_result_t<Body&, Project&> {
        Project working = project_;
        if constexpr (std::is_void_v<std::invoke_result_t<Body&, Project&>>) {
            body(working);
            commit(std::move(working), std::move(coalesce));
        } else {
            auto result = body(working);
            commit(std::move(working), std::move(coalesce));
            return result;
        }
    }

    template <class Body>
    auto mutate(Body&& body) {
        return mutate(std::nullopt, std::forward<Body>(body));
    }

    void undo();
    void redo();

    // Appends a row to the activity log, keeping the newest 500.
    void log(std::string tool, std::string detail, bool ok);

private:
    // Steps 3 to 11 of an edit, after its body ran on `working`.
    void commit(Project working, std::optional<std::string> coalesce);
    void step(std::deque<Project>& from, std::deque<Project>& to);
    void validateSelection();
    void sync();

    struct CoalesceMark {
        std::string key;
        std::chrono::steady_clock::time_point at;
    };

    Project project_;
    std::optional<std::string> selectedTrackID_;
    std::optional<std::string> selectedClipID_;
    std::optional<std::filesystem::path> fileURL_;
    std::deque<ActivityEntry> activity_;
    bool canUndo_ = false;
    bool canRedo_ = false;
    std::deque<Project> undoStack_;
    std::deque<Project> redoStack_;
    std::optional<CoalesceMark> lastCoalesce_;
    Clock clock_;
};

} // namespace velmo
