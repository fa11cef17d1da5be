// Keeps count of the background renders a Studio has started, so that the Studio outlives them:
// a render posts its result to the main queue when it ends, and the queue must still be there.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace velmo {

// Any thread. The destructor blocks until every started task has finished.
class BackgroundTasks {
public:
    BackgroundTasks() = default;
    BackgroundTasks(const BackgroundTasks&) = delete;
    BackgroundTasks& operator=(const BackgroundTasks&) = delete;
    ~BackgroundTasks() {
        std::unique_lock lock(mutex_);
        idle_.wait(lock, [this] { return running_ == 0; });
    }

    void started() {
        std::lock_guard lock(mutex_);
        ++running_;
    }
    // The task's last touch of its owner: nothing of the owner may be used after this.
    void finished() {
        std::lock_guard lock(mutex_);
        --running_;
        idle_.notify_all();
    }
    std::size_t running() const {
        std::lock_guard lock(mutex_);
        return running_;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable idle_;
    std::size_t running_ = 0;
};

} // namespace velmo
