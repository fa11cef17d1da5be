// A gain that glides to each new target in a straight line over a set number of frames, so that
// level, pan and volume changes leave no step: a step per block is heard as zipper noise, a step
// at once as a click. A target that moves again mid-glide starts a new line from where it stands,
// so a target moving every block is followed smoothly, a little late.
#pragma once

namespace velmo {

// Audio thread only (owned by a voice, a track or the engine core).
struct GainRamp {
    double value = 0.0;  // the gain now
    double target = 0.0; // where it is going
    double step = 0.0;   // added per frame while gliding
    int left = 0;        // frames of the glide still to go

    // Sets the gain at once, as at the first block of a note or a track.
    void jumpTo(double v) {
        value = target = v;
        step = 0.0;
        left = 0;
    }

    // Glides to `t` over `frames` frames (at least 1), unless it is already going there.
    void moveTo(double t, int frames) {
        if (t == target) return;
        target = t;
        left = frames > 1 ? frames : 1;
        step = (t - value) / left;
    }

    bool moving() const { return left > 0; }

    // The gain of the next frame.
    double next() {
        if (left > 0) {
            value += step;
            if (--left == 0) value = target;
        }
        return value;
    }
};

// A left and a right gain gliding together: a level and pan, on a voice or a track. The first
// target after a restart is taken at once, so a fresh note or a new track does not fade in.
struct StereoGainRamp {
    GainRamp left;
    GainRamp right;
    bool set = false;

    void glideTo(double l, double r, int frames) {
        if (set) {
            left.moveTo(l, frames);
            right.moveTo(r, frames);
        } else {
            left.jumpTo(l);
            right.jumpTo(r);
            set = true;
        }
    }

    // The next target is taken at once.
    void restart() { set = false; }

    bool moving() const { return left.moving() || right.moving(); }
};

} // namespace velmo
