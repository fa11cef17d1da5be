// The piano roll's one gesture: a press on empty grid creates a note and goes on sizing it, a
// press on a note moves it or, near its end, resizes it, and a click on a note deletes it. Each
// step writes the whole note list through the Studio under the key "roll-" + clip id, so the
// sound follows the hand and the whole gesture is one undo step.
#pragma once

#include "pianoroll/PianoRollGeometry.h"

#include <optional>
#include <string>

namespace velmo {

class Studio;

// GUI thread only. Holds the gesture's state between press and release, nothing of the song.
class PianoRollGesture {
public:
    enum class Mode { move, resize, create };

    explicit PianoRollGesture(Studio& studio) : studio_(studio) {}

    // The pointer went down at (`x`, `y`) on the canvas of the clip `clipID`: what is under it
    // decides what the gesture does. A new note is written and heard at once.
    void press(const std::string& clipID, double x, double y, const PianoRollGeometry::Scale& scale);
    // The pointer has travelled (`dx`, `dy`) from where it went down.
    void drag(double dx, double dy, const PianoRollGeometry::Scale& scale);
    // The pointer is released after travelling (`dx`, `dy`).
    void end(double dx, double dy, const PianoRollGeometry::Scale& scale);

    bool active() const { return mode_.has_value(); }
    std::optional<Mode> mode() const { return mode_; }

    double newVelocity = 0.8;
    double lastLength = 0.25;  // beats: the next new note takes the length of the last one sized

private:
    void write();
    // Ends the gesture without writing, when its clip went away under it.
    bool clipGone() const;

    Studio& studio_;
    std::string clipID_, trackID_;
    std::optional<Mode> mode_;
    NoteList base_;  // the clip's notes when the gesture began, the edited one included
    std::size_t editIndex_ = 0;
    Note origin_;
    int soundingPitch_ = 0;  // the pitch last heard while moving
};

} // namespace velmo
