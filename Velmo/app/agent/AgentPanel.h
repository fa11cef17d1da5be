// The "Agent" tab: on the left how to connect an AI client (the server's state, three setup
// snippets holding this machine's real port and bridge path, each with a copy button, and an
// example to try); on the right the activity log of what connected agents do.
#pragma once

#include <QWidget>

#include <array>

class QLabel;

namespace velmo {

class ActivityLog;
class AppModel;
class CodeSnippet;
class CopyButton;

// GUI thread only.
class AgentPanel final : public QWidget {
public:
    explicit AgentPanel(AppModel& model, QWidget* parent = nullptr);

    QString statusTitle() const;
    QString statusDetail() const;
    // The three snippets in order: Claude Code, stdio clients, any HTTP client.
    const std::array<CopyButton*, 3>& copyButtons() const { return copy_; }
    ActivityLog& log() { return *log_; }

protected:
    void paintEvent(QPaintEvent*) override;

private:
    void showServer();

    AppModel& model_;
    QLabel* statusTitle_;
    QLabel* statusDetail_;
    std::array<CodeSnippet*, 3> code_{};
    std::array<CopyButton*, 3> copy_{};
    ActivityLog* log_;
};

} // namespace velmo
