// The right side of the agent panel: what connected agents did, as it happens. One row per entry
// of the Studio's log, oldest at the top, each with its running number, time, tool and detail;
// failed calls are marked. The newest row is scrolled into view as it arrives.
#pragma once

#include "Studio/ActivityEntry.h"

#include <QStringList>
#include <QWidget>

class QLabel;
class QScrollArea;
class QStackedLayout;

namespace velmo {

class StudioSignals;

// A row's cells as shown: number ("%03d" from 1), time ("HH:mm:ss", local), tool, and the detail,
// which begins "failed: " on a failed call.
QStringList activityCells(const ActivityEntry& entry, std::size_t index);

// GUI thread only.
class ActivityLog final : public QWidget {
public:
    static constexpr int rowHeight = 22;

    explicit ActivityLog(StudioSignals& signals, QWidget* parent = nullptr);

    // The rows on show and the header's count, as the person reads them.
    std::size_t rowCount() const;
    QString countText() const;
    QScrollArea& scroll() { return *scroll_; }

protected:
    void paintEvent(QPaintEvent*) override;

private:
    void showEntries();

    StudioSignals& signals_;
    QLabel* count_;
    QStackedLayout* pages_;
    QScrollArea* scroll_;
    QWidget* rows_;
    std::size_t shownRows_ = 0;
};

} // namespace velmo
