// The computer-keyboard piano: eighteen keys in two rows play the selected track, Z and X shift
// the octave, C and V change the velocity. Keys are physical positions (see KeyCodes.h), so the
// piano keeps its shape on any keyboard layout.
#pragma once

#include "Studio/Studio.h"

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace velmo {

// GUI thread only.
class MusicalTyping {
public:
    // Key code (a physical key) by semitone above the base, 0 to 17.
    static constexpr std::array<int, 18> keyMap{0, 13, 1, 14, 2, 3, 17, 5, 16, 4, 32, 38, 40, 31, 37, 35, 41, 39};
    // The letter printed on each of those keys, for the on-screen keyboard.
    static constexpr std::array<const char*, 18> letters{"A", "W", "S", "E", "D", "F", "T", "G", "Y",
                                                         "H", "U", "J", "K", "O", "L", "P", ";", "'"};
    static constexpr int octaveDown = 6, octaveUp = 7, softer = 8, louder = 9;  // Z, X, C, V

    static std::optional<int> semitone(int keyCode);

    // True when the key is the piano's: a note, an octave or a velocity key.
    bool keyDown(int keyCode, bool isRepeat, Studio& studio);
    // Ends the note that this key began, on the track and pitch it began. True if there was one.
    bool keyUp(int keyCode, Studio& studio);
    // A note-off for every held key, so nothing hangs when the window loses focus.
    void releaseAll(Studio& studio);

    int octaveShift() const { return octaveShift_; }
    double velocity() const { return velocity_; }
    // Called when the octave or the velocity changes.
    std::function<void()> onChange;

private:
    int octaveShift_ = 0;
    double velocity_ = 0.8;
    std::map<int, std::pair<std::string, int>> down_;  // key code to (track id, pitch)
};

} // namespace velmo
