// A resonant filter (low-pass, high-pass or band-pass, the voice's state-variable filter) whose
// cutoff a sine LFO sweeps by up to four octaves either way, with a dry/wet mix. Coefficients are
// computed once per block.
#pragma once

#include "effects/EffectProcessor.h"
#include "dsp/FilterState.h"

namespace velmo {

// Audio thread only.
class AutoFilterFX final : public EffectProcessor {
public:
    static constexpr double octavesAtFullDepth = 4.0;

    explicit AutoFilterFX(double sampleRate) : sr_(sampleRate) {}

    void update(const EffectSlot& slot, const RenderContext& ctx) override;
    void process(float* left, float* right, int frames) override;
    void reset() override;

private:
    template <FilterType T>
    void run(float* left, float* right, int frames, const FilterCoefs& coefs);

    double sr_;
    FilterState fl_, fr_; // kept through a change of mode
    double phase_ = 0.0;  // cycles
    double rate_ = 0.0, depth_ = 0.0, cutoff_ = 1000.0, resonance_ = 0.0, mix_ = 1.0;
    FilterType type_ = FilterType::lowpass12;
};

} // namespace velmo
