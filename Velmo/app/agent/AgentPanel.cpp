#include "agent/AgentPanel.h"

#include "AppModel.h"
#include "Theme.h"
#include "agent/ActivityLog.h"
#include "agent/AgentTexts.h"
#include "agent/CodeSnippet.h"
#include "agent/CopyButton.h"
#include "controls/Hairline.h"
#include "controls/TextLabel.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QScrollArea>
#include <QVBoxLayout>

namespace velmo {

namespace {

constexpr int setupWidth = 460;

QLabel* text(const QString& words, int pixelSize, bool bold, bool secondary = false) {
    QLabel* label = textLabel(words, pixelSize, bold, secondary);
    label->setWordWrap(true);
    return label;
}

} // namespace

AgentPanel::AgentPanel(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    auto* setup = new QWidget;
    auto* column = new QVBoxLayout(setup);
    column->setContentsMargins(18, 14, 18, 14);
    column->setSpacing(6);
    statusTitle_ = text("", 15, true);
    statusDetail_ = text("", 12, false, true);
    column->addWidget(statusTitle_);
    column->addWidget(statusDetail_);

    const struct {
        const char* title;
        const char* detail;
    } blocks[] = {
        {"Claude Code", "Run once in a terminal, then start a new session."},
        {"Claude Desktop and stdio clients", "Add to the client's MCP config. The bridge opens Velmo if it isn't running."},
        {"Any Streamable HTTP client", nullptr},
    };
    for (std::size_t i = 0; i < code_.size(); ++i) {
        column->addSpacing(10);
        auto* titleRow = new QHBoxLayout;
        QLabel* title = text(blocks[i].title, 13, true);
        title->setWordWrap(false);
        titleRow->addWidget(title);
        titleRow->addStretch();
        copy_[i] = new CopyButton;
        titleRow->addWidget(copy_[i]);
        column->addLayout(titleRow);
        if (blocks[i].detail) column->addWidget(text(blocks[i].detail, 11, false, true));
        code_[i] = new CodeSnippet;
        column->addWidget(code_[i]);
    }
    column->addSpacing(12);
    column->addWidget(text("Try asking", 13, true));
    column->addWidget(text("“Make a moody 90 bpm lo-fi loop with a Rhodes, a soft kick and a sub bass, then check the mix.”",
                           12, false, true));
    column->addStretch(1);

    auto* setupScroll = new QScrollArea;
    setupScroll->setWidget(setup);
    setupScroll->setWidgetResizable(true);
    setupScroll->setFrameShape(QFrame::NoFrame);
    setupScroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setupScroll->setFixedWidth(setupWidth);

    log_ = new ActivityLog(model_.studioSignals());
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    row->addWidget(setupScroll);
    row->addWidget(new Hairline(true));
    row->addWidget(log_, 1);

    connect(&model_, &AppModel::serverStateChanged, this, &AgentPanel::showServer);
    showServer();
}

void AgentPanel::showServer() {
    MCPHTTPServer& server = model_.server();
    const std::uint16_t port = server.boundPort() ? server.boundPort() : server.port();
    const StatusText status = agentStatus(model_.serverState(), port, model_.dispatcher().tools().tools().size());
    statusTitle_->setText(status.title);
    statusDetail_->setText(status.detail);
    statusDetail_->setVisible(!status.detail.isEmpty());
    const QString endpoint = model_.endpoint();
    const QString snippets[] = {claudeCodeSnippet(endpoint), stdioConfigSnippet(AppModel::bridgePath()), endpoint};
    for (std::size_t i = 0; i < code_.size(); ++i) {
        code_[i]->setText(snippets[i]);
        copy_[i]->setText(snippets[i]);
    }
}

QString AgentPanel::statusTitle() const { return statusTitle_->text(); }

QString AgentPanel::statusDetail() const { return statusDetail_->text(); }

void AgentPanel::paintEvent(QPaintEvent*) { QPainter(this).fillRect(rect(), Theme::palette().surface); }

} // namespace velmo
