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
    auto push = [this](Project p) {
        if (undoStack_.size() >= undoLimit) undoStack_.pop_front();
        undoStack_.push_back(std::move(p));
    };
    // A later edit of the same OneStep scope joins the step its first edit made.
    const bool sameStep = stepDepth_ > 0 && stepTaken_;
    if (!coalesce && burstOpen(now)) {
        // An edit without a key (an agent's tool call, say) while a gesture is under way goes
        // beneath the gesture's step: while a burst is open the top of the undo stack is the
        // project before it, so that top becomes the step before this edit, and the project
        // with this edit but without the gesture becomes the gesture's new "before". The burst
        // stays open, so the gesture remains one undo step however the agent interleaves.
        Project beneath = withoutBurst(working, project_, undoStack_.back());
        if (sameStep) {
            undoStack_.back() = std::move(beneath);
        } else if (!(beneath == undoStack_.back())) {
            push(std::move(beneath));
            stepTaken_ = stepDepth_ > 0;
        }
    } else {
        const bool joins = sameStep ||
                           (coalesce && lastCoalesce_ && lastCoalesce_->key == *coalesce && burstOpen(now));
        if (!joins) push(std::move(project_));
        stepTaken_ = stepDepth_ > 0;
        if (coalesce) lastCoalesce_ = CoalesceMark{std::move(*coalesce), now};
        else lastCoalesce_.reset();
    }
    redoStack_.clear();
    project_ = std::move(working);
    validateSelection();
    sync();
    changed();
}

void Studio::undo() { step(undoStack_, redoStack_); }

void Studio::redo() { step(redoStack_, undoStack_); }

const Project* Studio::earlierState(std::size_t stepsBack) const {
    if (stepsBack == 0 || stepsBack > undoStack_.size()) return nullptr;
    return &undoStack_[undoStack_.size() - stepsBack];
}

void Studio::step(std::deque<Project>& from, std::deque<Project>& to) {
    if (from.empty()) return;
    Project restored = std::move(from.back());
    from.pop_back();
    to.push_back(std::move(project_));
    project_ = std::move(restored);
    lastCoalesce_.reset();
    stepTaken_ = false;
    validateSelection();
    sync();
    changed();
}

void Studio::selectTrack(std::optional<std::string> id) {
    VELMO_PRECONDITION(!id || project_.trackIndex(*id), "selectTrack");
    selectedTrackID_ = std::move(id);
    if (selectedClipID_) {
        const ClipLocation at = clipLocationOf(*selectedClipID_);
        if (!selectedTrackID_ || project_.tracks[at.track].id != *selectedTrackID_) selectedClipID_.reset();
    }
    changed();
}

void Studio::selectClip(std::optional<std::string> id) {
    if (id) selectedTrackID_ = project_.tracks[clipLocationOf(*id).track].id;
    selectedClipID_ = std::move(id);
    changed();
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
    // From the last compilation, whose events of unchanged notes are taken over, not remade.
    compiled_ = std::make_shared<const CompiledProject>(project_, midiHub_.get(), compiled_.get());
    postToEngine(EngineCommand::load(compiled_));
}

void Studio::log(std::string tool, std::string detail, bool ok) {
    activity_.push_back({makeUUID(), std::chrono::system_clock::now(), std::move(tool), std::move(detail), ok});
    while (activity_.size() > activityLimit) activity_.pop_front();
    changed();
}

} // namespace velmo
