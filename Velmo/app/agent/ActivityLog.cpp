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
#include <QStaticText>
#include <QVBoxLayout>

#include <chrono>
#include <unordered_map>
#include <vector>

namespace velmo {

namespace {

// Column edges: number, time, tool, then the detail takes the rest.
constexpr int numberX = 14, timeX = 52, toolX = 118, detailX = 262;

// The rows, painted only where they show: 500 rows cost what 15 cost. Each entry's cells are
// laid out once, as static texts, and kept while the entry is on show: with agents calling many
// times a second, shaping the same words again every frame would be most of the frame.
class Rows final : public QWidget {
public:
    explicit Rows(const Studio& studio) : studio_(studio) {
        setAttribute(Qt::WA_OpaquePaintEvent);
        plain_ = font();
        plain_.setPixelSize(11);
        mono_ = plain_;
        mono_.setFamily("DejaVu Sans Mono");
        mono_.setStyleHint(QFont::Monospace);
    }

protected:
    void paintEvent(QPaintEvent* event) override {
        const Palette& p = Theme::palette();
        const auto& entries = studio_.activity();
        QPainter painter(this);
        painter.fillRect(event->rect(), p.surface);
        const int h = ActivityLog::rowHeight;
        const std::size_t first = static_cast<std::size_t>(std::max(0, event->rect().top() / h));
        for (std::size_t i = first; i < entries.size() && static_cast<int>(i) * h < event->rect().bottom() + 1; ++i) {
            const ActivityEntry& entry = entries[i];
            const QRectF row(0, static_cast<double>(i) * h, width(), h);
            if (!entry.ok) {
                painter.fillRect(row, Theme::mix(p.surface, Theme::red, 0.08));
                painter.fillRect(QRectF(row.left(), row.top(), 3, h), Theme::red);
            }
            painter.fillRect(QRectF(row.left(), row.bottom() - 1, row.width(), 1), p.line);
            const Cells& cells = cellsOf(entry, i);
            const auto cell = [&](int x, const QStaticText& text, const QFont& font, QColor ink) {
                painter.setFont(font);
                painter.setPen(ink);
                painter.drawStaticText(QPointF(x, row.top() + (h - QFontMetricsF(font).height()) / 2), text);
            };
            cell(numberX, numberOf(i), mono_, p.ink3);
            cell(timeX, cells.time, mono_, p.ink2);
            cell(toolX, cells.tool, mono_, entry.ok ? p.ink : Theme::red);
            cell(detailX, cells.detail, plain_, entry.ok ? p.ink2 : Theme::red);
        }
    }

private:
    struct Cells {
        int width = -1;  // what the texts were laid out for
        QStaticText time, tool, detail;
    };

    static QStaticText laidOut(const QString& text, const QFont& font, int room) {
        QStaticText laid(QFontMetrics(font).elidedText(text, Qt::ElideRight, room));
        laid.setTextFormat(Qt::PlainText);
        laid.prepare(QTransform(), font);
        return laid;
    }

    // The running number of the row at `index`; it changes with the index, the rest of a row
    // stays with its entry.
    const QStaticText& numberOf(std::size_t index) {
        while (numbers_.size() <= index)
            numbers_.push_back(laidOut(cText("%03d", static_cast<int>(numbers_.size() + 1)), mono_, timeX - numberX));
        return numbers_[index];
    }

    // Time always fits its column; tool and detail may need cutting short.
    const Cells& cellsOf(const ActivityEntry& entry, std::size_t index) {
        if (auto found = cache_.find(entry.id); found != cache_.end() && found->second.width == width()) return found->second;
        // Entries the log has let go of take their texts with them.
        if (cache_.size() >= 2 * Studio::activityLimit) {
            std::unordered_map<std::string, Cells> kept;
            for (const ActivityEntry& shown : studio_.activity())
                if (auto found = cache_.find(shown.id); found != cache_.end()) kept.emplace(shown.id, found->second);
            cache_ = std::move(kept);
        }
        const QStringList words = activityCells(entry, index);
        return cache_[entry.id] = {width(), laidOut(words[1], mono_, toolX - timeX), laidOut(words[2], mono_, detailX - toolX - 8),
                                   laidOut(words[3], plain_, width() - detailX - 8)};
    }

    const Studio& studio_;
    QFont plain_, mono_;
    std::vector<QStaticText> numbers_;
    std::unordered_map<std::string, Cells> cache_;
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
    // Fixed in size, so that a new count, many times a second, does not lay out the whole panel
    // again (and the setup column's wrapped texts with it).
    count_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    const QFontMetrics metrics = count_->fontMetrics();
    count_->setFixedSize(metrics.horizontalAdvance(QString::number(Studio::activityLimit) + " calls") + 2, metrics.height());
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
