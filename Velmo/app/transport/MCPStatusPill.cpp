#include "transport/MCPStatusPill.h"

#include "AppModel.h"
#include "Theme.h"

#include <QPainter>
#include <QTimer>

namespace velmo {

namespace {

constexpr int flashMs = 600;  // how long a new tool call lights the pill

} // namespace

MCPStatusPill::MCPStatusPill(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    setToolTip("MCP server for AI agents. Click for setup and activity.");
    setCursor(Qt::PointingHandCursor);
    QFont f = font();
    f.setPixelSize(12);
    setFont(f);
    setFixedSize(sizeHint());
    connect(&model_, &AppModel::serverStateChanged, this, [this] {
        setFixedSize(sizeHint());
        update();
    });
    connect(&model_.studioSignals(), &StudioSignals::activityChanged, this, [this] {
        flashing_ = true;
        update();
        QTimer::singleShot(flashMs, this, [this] {
            flashing_ = false;
            update();
        });
    });
}

QString MCPStatusPill::text() const {
    return std::holds_alternative<MCPHTTPServer::Failed>(model_.serverState()) ? "agent offline" : "agent";
}

QSize MCPStatusPill::sizeHint() const { return {fontMetrics().horizontalAdvance(text()) + 34, 26}; }

void MCPStatusPill::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF r = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.setPen(QPen(flashing_ ? Theme::accent : p.line, 1));
    painter.setBrush(flashing_ ? p.hover : p.surface);
    painter.drawRoundedRect(r, r.height() / 2, r.height() / 2);
    const auto& state = model_.serverState();
    const QColor dot = std::holds_alternative<MCPHTTPServer::Listening>(state) ? Theme::green
                       : std::holds_alternative<MCPHTTPServer::Failed>(state) ? Theme::red
                                                                              : p.grey;
    painter.setPen(Qt::NoPen);
    painter.setBrush(dot);
    painter.drawEllipse(QPointF(14, r.center().y()), 4, 4);
    painter.setPen(p.ink);
    painter.drawText(r.adjusted(24, 0, -10, 0), Qt::AlignVCenter | Qt::AlignLeft, text());
}

void MCPStatusPill::mousePressEvent(QMouseEvent*) { model_.setEditorTab(EditorTab::agent); }

} // namespace velmo
