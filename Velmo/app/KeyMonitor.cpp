#include "KeyMonitor.h"

#include "AppModel.h"
#include "KeyCodes.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWidget>
#include <QWindow>

namespace velmo {

KeyMonitor::KeyMonitor(AppModel& model) : model_(model) { qApp->installEventFilter(this); }

KeyMonitor::~KeyMonitor() {
    if (qApp) qApp->removeEventFilter(this);
}

bool KeyMonitor::keyDown(std::optional<int> keyCode, Qt::KeyboardModifiers modifiers, bool isRepeat) {
    // Shift does not count: it types, it is no shortcut.
    if (modifiers & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return false;
    if (!keyCode) return false;
    Studio& studio = model_.studio();
    if (model_.typing().keyDown(*keyCode, isRepeat, studio)) return true;
    switch (*keyCode) {
    case KeyCode::returnKey: studio.returnToStart(); return true;
    case KeyCode::space: studio.togglePlay(); return true;
    case KeyCode::deleteKey:
    case KeyCode::forwardDelete: {
        const auto clip = studio.selectedClipID();
        if (!clip) return false;
        try {
            studio.removeClip(*clip);
        } catch (const std::exception&) {
            // the clip may already be gone; nothing to tell
        }
        return true;
    }
    default: return false;
    }
}

bool KeyMonitor::keyUp(std::optional<int> keyCode, bool isRepeat) {
    if (!keyCode) return false;
    // An auto-repeat's release is no release: the key is still held.
    if (!isRepeat && model_.typing().keyUp(*keyCode, model_.studio())) return true;
    return MusicalTyping::semitone(*keyCode).has_value();
}

bool KeyMonitor::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::ApplicationDeactivate: model_.typing().releaseAll(model_.studio()); return false;
    case QEvent::KeyPress:
    case QEvent::KeyRelease: break;
    default: return false;
    }
    // Key events reach the window first and are passed on from there to the focused widget;
    // deciding at the window sees each key once.
    auto* window = qobject_cast<QWindow*>(watched);
    if (!window) return false;
    if (auto* focus = qobject_cast<QWidget*>(window->focusObject()); focus && focus->testAttribute(Qt::WA_InputMethodEnabled))
        return false;  // a text field: typing a name plays no notes
    auto* key = static_cast<QKeyEvent*>(event);
    if (event->type() == QEvent::KeyPress) return keyDown(keyCodeOf(*key), key->modifiers(), key->isAutoRepeat());
    return keyUp(keyCodeOf(*key), key->isAutoRepeat());
}

} // namespace velmo
