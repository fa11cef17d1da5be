#include "Studio/Studio.h"

#include "Studio/MainQueue.h"

namespace velmo {

Studio::Studio(Project project, Clock clock)
    : project_(std::move(project)),
      clock_(std::move(clock)),
      core_(std::make_shared<EngineCore>(headlessSampleRate)),
      self_(std::make_shared<Studio*>(this)) {
    selectTopmost();
    sync();
}

Studio::Studio(Project project, std::unique_ptr<AudioHost> host, MainQueue& mainQueue, Clock clock)
    : project_(std::move(project)),
      clock_(std::move(clock)),
      core_(host->sharedCore()),
      host_(std::move(host)),
      self_(std::make_shared<Studio*>(this)) {
    selectTopmost();
    sync();
    std::weak_ptr<Studio*> weak = self_;
    mainQueue.every(statusPeriod, [weak] {
        auto self = weak.lock();
        if (self) (*self)->poll();
        return bool(self);
    });
    mainQueue.every(AudioHost::restartPeriod, [weak] {
        auto self = weak.lock();
        if (self) (*self)->host_->restartIfStopped();
        return bool(self);
    });
}

Studio::~Studio() = default;

void Studio::selectTopmost() {
    selectedTrackID_.reset();
    selectedClipID_.reset();
    if (project_.tracks.empty()) return;
    const Track& first = project_.tracks.front();
    selectedTrackID_ = first.id;
    if (!first.clips.empty()) selectedClipID_ = first.clips.front().id;
}

void Studio::commit(Project working, std::optional<std::string> coalesce) {
    if (working == project_) return;

    const auto now = clock_();
    const bool joins = coalesce && lastCoalesce_ && lastCoalesce_->key == *coalesce &&
                       now - lastCoalesce_->at < coalesceWindow;
    if (!joins) {
        if (undoStack_.size() >= undoLimit) undoStack_.pop_front();
        undoStack_.push_back(std::move(project_));
    }
    if (coalesce) lastCoalesce_ = CoalesceMark{std::move(*coalesce), now};
    else lastCoalesce_.reset();
    redoStack_.clear();
    project_ = std::move(working);
    validateSelection();
    sync();
}

void Studio::undo() { step(undoStack_, redoStack_); }

void Studio::redo() { step(redoStack_, undoStack_); }

void Studio::step(std::deque<Project>& from, std::deque<Project>& to) {
    if (from.empty()) return;
    Project restored = std::move(from.back());
    from.pop_back();
    to.push_back(std::move(project_));
    project_ = std::move(restored);
    lastCoalesce_.reset();
    validateSelection();
    sync();
}

void Studio::validateSelection() {
    if (selectedTrackID_ && !project_.trackIndex(*selectedTrackID_)) {
        if (project_.tracks.empty()) selectedTrackID_.reset();
        else selectedTrackID_ = project_.tracks.front().id;
    }
    if (selectedClipID_ && !project_.clipLocation(*selectedClipID_)) selectedClipID_.reset();
}

void Studio::sync() {
    canUndo_ = !undoStack_.empty();
    canRedo_ = !redoStack_.empty();
    postToEngine(EngineCommand::load(std::make_shared<const CompiledProject>(project_, midiHub_.get())));
}

void Studio::log(std::string tool, std::string detail, bool ok) {
    activity_.push_back({makeUUID(), std::chrono::system_clock::now(), std::move(tool), std::move(detail), ok});
    while (activity_.size() > activityLimit) activity_.pop_front();
}

} // namespace velmo
