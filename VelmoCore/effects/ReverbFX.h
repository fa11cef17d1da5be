// A Freeverb-style stereo reverb in 32-bit floats: eight damped feedback combs in parallel and
// four all-passes in series per side, fed one mono input; the right side's lines are 23 tuning
// samples longer than the left's, which decorrelates the two.
#pragma once

#include "dsp/DelayLine.h"
#include "effects/EffectProcessor.h"

#include <array>

namespace velmo {

// Audio thread only.
class ReverbFX final : public EffectProcessor {
public:
    static constexpr int combCount = 8;
    static constexpr int allpassCount = 4;
    static constexpr double tuningRate = 44100.0; // the rate at which the lengths below hold
    static constexpr int stereoSpread = 23;       // tuning samples added on the right
    static constexpr std::array<int, combCount> combTuning{1116, 1188, 1277, 1356, 1422, 1491, 1557, 1617};
    static constexpr std::array<int, allpassCount> allpassTuning{556, 441, 341, 225};

    struct Comb {
        DelayLine d;
        float store = 0.0f; // the damping low-pass memory
    };
    struct Allpass {
        DelayLine d;
    };

    // Line lengths in frames at `sampleRate`, in running order; `right` adds the stereo spread.
    static std::array<int, combCount> combLengths(double sampleRate, bool right);
    static std::array<int, allpassCount> allpassLengths(double sampleRate, bool right);

    explicit ReverbFX(double sampleRate);

    void update(const EffectSlot& slot, const RenderContext& ctx) override;
    void process(float* left, float* right, int frames) override;
    void reset() override;

private:
    std::array<Comb, combCount> combsL_, combsR_;
    std::array<Allpass, allpassCount> apL_, apR_;
    float fb_ = 0.0f;   // comb feedback: 0.7 at size 0, 0.98 at size 1, never 1
    float damp_ = 0.0f;
    float wet1_ = 1.0f, wet2_ = 0.0f; // own side and other side in the wet mix
    float mix_ = 0.0f;
};

} // namespace velmo
