#include "agent/ActivityLog.h"

#include "StudioSignals.h"
#include "Theme.h"
#include "controls/CText.h"
#include "controls/TextLabel.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QLabel>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QStackedLayout>
#include <QVBoxLayout>

#include <chrono>

namespace velmo {

namespace {

// Column edges: number, time, tool, then the detail takes the rest.
constexpr int numberX = 14, timeX = 52, toolX = 118, detailX = 262;

// The rows, painted only where they show: 500 rows cost what 15 cost.
class Rows final : public QWidget {
public:
    explicit Rows(const Studio& studio) : studio_(studio) { setAttribute(Qt::WA_OpaquePaintEvent); }

protected:
    void paintEvent(QPaintEvent* event) override {
        const Palette& p = Theme::palette();
        const auto& entries = studio_.activity();
        QPainter painter(this);
        painter.fillRect(event->rect(), p.surface);
        QFont mono = painter.font();
        mono.setPixelSize(11);
        QFont plain = mono;
        mono.setFamily("DejaVu Sans Mono");
        mono.setStyleHint(QFont::Monospace);
        const int h = ActivityLog::rowHeight;
        const std::size_t first = static_cast<std::size_t>(std::max(0, event->rect().top() / h));
        for (std::size_t i = first; i < entries.size() && static_cast<int>(i) * h < event->rect().bottom() + 1; ++i) {
            const ActivityEntry& entry = entries[i];
            const QStringList cells = activityCells(entry, i);
            const QRectF row(0, static_cast<double>(i) * h, width(), h);
            if (!entry.ok) {
                painter.fillRect(row, Theme::mix(p.surface, Theme::red, 0.08));
                painter.fillRect(QRectF(row.left(), row.top(), 3, h), Theme::red);
            }
            painter.fillRect(QRectF(row.left(), row.bottom() - 1, row.width(), 1), p.line);
            // Number and time always fit their columns; tool and detail may need cutting short.
            const auto cell = [&](int x, int right, const QString& words, QColor ink, bool elide) {
                painter.setPen(ink);
                const QRectF box(x, row.top(), right - x - 8, h);
                painter.drawText(box, Qt::AlignLeft | Qt::AlignVCenter,
                                 elide ? painter.fontMetrics().elidedText(words, Qt::ElideRight, static_cast<int>(box.width()))
                                       : words);
            };
            painter.setFont(mono);
            cell(numberX, timeX, cells[0], p.ink3, false);
            cell(timeX, toolX, cells[1], p.ink2, false);
            cell(toolX, detailX, cells[2], entry.ok ? p.ink : Theme::red, true);
            painter.setFont(plain);
            cell(detailX, width(), cells[3], entry.ok ? p.ink2 : Theme::red, true);
        }
    }

private:
    const Studio& studio_;
};

} // namespace

QStringList activityCells(const ActivityEntry& entry, std::size_t index) {
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(entry.date.time_since_epoch()).count();
    return {cText("%03d", static_cast<int>(index + 1)),
            QDateTime::fromMSecsSinceEpoch(ms).toString("HH:mm:ss"), QString::fromStdString(entry.tool),
            (entry.ok ? "" : "failed: ") + QString::fromStdString(entry.detail)};
}

ActivityLog::ActivityLog(StudioSignals& signals, QWidget* parent) : QWidget(parent), signals_(signals) {
    count_ = textLabel("", 11, false, true);
    auto* header = new QHBoxLayout;
    header->setContentsMargins(14, 10, 14, 6);
    header->addWidget(textLabel("Activity", 13, true));
    header->addStretch();
    header->addWidget(count_);

    auto* columns = new QWidget;
    columns->setFixedHeight(18);
    for (const auto& [x, title] : {std::pair{timeX, "time"}, {toolX, "tool"}, {detailX, "detail"}}) {
        QLabel* label = textLabel(title, 10, false, true);
        label->setParent(columns);
        label->move(x, 1);
    }
    rows_ = new Rows(signals_.studio());
    scroll_ = new QScrollArea;
    scroll_->setWidget(rows_);
    scroll_->setWidgetResizable(true);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* table = new QWidget;
    auto* tableColumn = new QVBoxLayout(table);
    tableColumn->setContentsMargins(0, 0, 0, 0);
    tableColumn->setSpacing(0);
    tableColumn->addWidget(columns);
    tableColumn->addWidget(scroll_, 1);

    QLabel* empty = textLabel("Tool calls from connected agents appear here as they happen.", 12, false, true);
    empty->setAlignment(Qt::AlignCenter);
    empty->setWordWrap(true);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addLayout(header);
    pages_ = new QStackedLayout;
    pages_->addWidget(empty);
    pages_->addWidget(table);
    column->addLayout(pages_, 1);

    connect(&signals_, &StudioSignals::activityChanged, this, &ActivityLog::showEntries);
    showEntries();
}

std::size_t ActivityLog::rowCount() const { return pages_->currentIndex() == 1 ? shownRows_ : 0; }

QString ActivityLog::countText() const { return count_->text(); }

void ActivityLog::showEntries() {
    const std::size_t n = signals_.studio().activity().size();
    count_->setText(n ? QString::number(n) + " calls" : QString());
    pages_->setCurrentIndex(n ? 1 : 0);
    shownRows_ = n;
    const int height = static_cast<int>(n) * rowHeight;
    rows_->setMinimumHeight(height);
    rows_->resize(scroll_->viewport()->width(), std::max(height, scroll_->viewport()->height()));
    rows_->update();
    // The newest row stands at the bottom; bring it into view at once, not after the next layout.
    QScrollBar* bar = scroll_->verticalScrollBar();
    bar->setRange(0, std::max(0, height - scroll_->viewport()->height()));
    bar->setValue(bar->maximum());
}

void ActivityLog::paintEvent(QPaintEvent*) { QPainter(this).fillRect(rect(), Theme::palette().surface); }

} // namespace velmo
