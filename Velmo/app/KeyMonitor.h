// Sees every key of the application before the views: the computer-keyboard piano, Space for
// play and stop, Return to go back, Delete to remove the selected clip. Typing into a text field
// passes untouched, and keys with Ctrl or Alt pass on to the menus. When the application loses
// focus every held note ends.
#pragma once

#include <QObject>

#include <optional>

namespace velmo {

class AppModel;

// GUI thread only. Installs itself on the application while it lives.
class KeyMonitor final : public QObject {
public:
    explicit KeyMonitor(AppModel& model);
    ~KeyMonitor() override;

    // The rules, by key code (KeyCodes.h); true when the key is consumed.
    bool keyDown(std::optional<int> keyCode, Qt::KeyboardModifiers modifiers, bool isRepeat);
    bool keyUp(std::optional<int> keyCode, bool isRepeat);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    AppModel& model_;
};

} // namespace velmo
