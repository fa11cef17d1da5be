// The lower pane: a header with the four editor tabs and, below a hairline, the chosen editor.
#pragma once

#include <QWidget>

class QStackedWidget;

namespace velmo {

class AppModel;
class Segmented;

// GUI thread only.
class EditorPane final : public QWidget {
public:
    explicit EditorPane(AppModel& model, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent*) override;

private:
    void showTab();

    AppModel& model_;
    Segmented* tabs_;
    QStackedWidget* stack_;
};

} // namespace velmo
