#include "Snapshot.h"

#include <QApplication>
#include <QPixmap>
#include <QSaveFile>
#include <QTimer>
#include <QWidget>

#include <cstdlib>

namespace velmo {

void scheduleSnapshot() {
    const char* path = std::getenv("VELMO_SNAPSHOT");
    if (!path || !*path) return;
    QTimer::singleShot(snapshotDelayMs, qApp, [to = QString::fromLocal8Bit(path)] {
        QWidget* largest = nullptr;
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (!window->isVisible()) continue;
            const auto area = [](QWidget* w) { return static_cast<long long>(w->width()) * w->height(); };
            if (!largest || area(window) > area(largest)) largest = window;
        }
        if (!largest) return;
        // Written whole or not at all: whoever waits for the file never reads half a picture.
        QSaveFile file(to);
        if (file.open(QIODevice::WriteOnly) && largest->grab().save(&file, "PNG")) file.commit();
    });
}

} // namespace velmo
