// The internal names of physical keys: the key codes of the Mac virtual key table (A is 0,
// Return 36, Space 49). Qt's key events are mapped to them by their native scan code, the key's
// position, so "the key right of A" is the same key on QWERTY, AZERTY or Dvorak.
#pragma once

#include <optional>

class QKeyEvent;

namespace velmo {

namespace KeyCode {
inline constexpr int returnKey = 36, space = 49, deleteKey = 51, forwardDelete = 117;
}

// The key code of the key pressed, or nothing for keys Velmo has no use for. X11 and Wayland
// report evdev scan codes offset by 8; without a scan code (the offscreen platform) the Qt key
// stands in.
std::optional<int> keyCodeOf(const QKeyEvent& event);

} // namespace velmo
