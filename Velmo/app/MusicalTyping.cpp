#include "MusicalTyping.h"

#include <algorithm>
#include <cmath>

namespace velmo {

std::optional<int> MusicalTyping::semitone(int keyCode) {
    const auto* it = std::find(keyMap.begin(), keyMap.end(), keyCode);
    if (it == keyMap.end()) return std::nullopt;
    return static_cast<int>(it - keyMap.begin());
}

bool MusicalTyping::keyDown(int keyCode, bool isRepeat, Studio& studio) {
    auto changed = [this] {
        if (onChange) onChange();
    };
    switch (keyCode) {
    case octaveDown:
    case octaveUp: {
        const int shifted = std::clamp(octaveShift_ + (keyCode == octaveUp ? 1 : -1), -3, 3);
        if (!isRepeat && shifted != octaveShift_) {
            octaveShift_ = shifted;
            changed();
        }
        return true;
    }
    // Rounded to tenths, so the steps land on tenths whatever the value was.
    case softer:
        velocity_ = std::max(std::round(velocity_ * 10 - 1) / 10, 0.1);
        changed();
        return true;
    case louder:
        velocity_ = std::min(std::round(velocity_ * 10 + 1) / 10, 1.0);
        changed();
        return true;
    default: break;
    }
    const std::optional<int> step = semitone(keyCode);
    const auto& trackID = studio.selectedTrackID();
    if (!step || !trackID) return false;
    if (isRepeat || down_.count(keyCode)) return true;
    const auto index = studio.project().trackIndex(*trackID);
    const bool drums = index && studio.project().tracks[*index].patch.engine == EngineKind::drums;
    const int pitch = (drums ? 36 : 60) + octaveShift_ * 12 + *step;
    if (pitch < 0 || pitch > 127) return true;
    down_[keyCode] = {*trackID, pitch};
    studio.noteOn(*trackID, pitch, velocity_);
    return true;
}

bool MusicalTyping::keyUp(int keyCode, Studio& studio) {
    auto it = down_.find(keyCode);
    if (it == down_.end()) return false;
    const auto [track, pitch] = it->second;
    down_.erase(it);
    studio.noteOff(track, pitch);
    return true;
}

void MusicalTyping::releaseAll(Studio& studio) {
    for (const auto& [key, note] : down_) studio.noteOff(note.first, note.second);
    down_.clear();
}

} // namespace velmo
