// The agent server's state at a glance: a green dot when listening, grey while starting, red
// with "agent offline" when it failed; it lights up as each tool call arrives. A click opens
// the Agent tab.
#pragma once

#include <QWidget>

namespace velmo {

class AppModel;

// GUI thread only.
class MCPStatusPill final : public QWidget {
public:
    explicit MCPStatusPill(AppModel& model, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;

private:
    QString text() const;

    AppModel& model_;
    bool flashing_ = false;
};

} // namespace velmo
