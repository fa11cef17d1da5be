// The main queue of the desktop program: posted closures and timers run in Qt's event loop on
// the GUI thread, so tool handlers, the Studio and the views share one thread.
#pragma once

#include "Studio/MainQueue.h"

#include <QObject>

namespace velmo {

// Lives on the GUI thread; `post` may come from any thread.
class QtMainQueue final : public MainQueue {
public:
    void post(std::function<void()> task) override;
    void every(std::chrono::milliseconds period, std::function<bool()> tick) override;

private:
    // Queued calls to one object are delivered in the order they were posted.
    QObject context_;
};

} // namespace velmo
