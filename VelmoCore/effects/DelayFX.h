// A tempo-synced stereo delay with ping-pong: the time is set in beats, glides when the tempo
// changes, and each repeat passes a one-pole low-pass in the feedback loop, so the first repeat
// keeps its highs and later ones darken. The dry signal is never attenuated.
#pragma once

#include "dsp/DelayLine.h"
#include "effects/EffectProcessor.h"
#include "dsp/OnePole.h"

namespace velmo {

// Audio thread only.
class DelayFX final : public EffectProcessor {
public:
    static constexpr double lineSeconds = 4.1; // room over the 4 s limit for the interpolation
    static constexpr double maxSeconds = 4.0;
    static constexpr double glide = 0.0005;    // per frame: a time constant of 2000 frames

    // Allocates both lines, 4.1 s each: the heaviest single step of a project load.
    explicit DelayFX(double sampleRate);

    void update(const EffectSlot& slot, const RenderContext& ctx) override;
    void process(float* left, float* right, int frames) override;
    void reset() override;

    // The delay now in use, in frames (a real number); it moves towards the set time.
    double currentDelay() const { return current_; }

private:
    double sr_;
    DelayLine dl_, dr_;
    double target_ = 0.0;   // the set time in frames
    double current_ = -1.0; // the time in use; below 0 until the first update
    double feedback_ = 0.0, mix_ = 0.0;
    bool pingpong_ = false;
    OnePole lpL_, lpR_;     // in the feedback path only
};

} // namespace velmo
