#include "QtMainQueue.h"

#include <QTimer>

namespace velmo {

void QtMainQueue::post(std::function<void()> task) {
    QMetaObject::invokeMethod(&context_, std::move(task), Qt::QueuedConnection);
}

void QtMainQueue::every(std::chrono::milliseconds period, std::function<bool()> tick) {
    auto* timer = new QTimer(&context_);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, tick = std::move(tick)] {
        if (tick()) return;
        timer->stop();
        timer->deleteLater();
    });
    timer->start(period);
}

} // namespace velmo
