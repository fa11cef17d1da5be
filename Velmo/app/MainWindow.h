// The one window: the transport bar, a hairline, and a vertical split with the arrangement over
// the editor pane; and the menus, whose shortcuts use Ctrl.
#pragma once

#include <QMainWindow>

namespace velmo {

class AppModel;

// GUI thread only.
class MainWindow final : public QMainWindow {
public:
    static constexpr int minimumWidth = 1100, minimumHeight = 720;

    explicit MainWindow(AppModel& model);

private:
    void buildMenus();

    AppModel& model_;
};

} // namespace velmo
