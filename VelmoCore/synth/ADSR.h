// The attack-decay-sustain-release envelope of every voice: a linear attack, exponential decay
// and release whose times are times to -60 dB. Rates are set per block by `configure`; `tick`
// runs per sample and holds no transcendental call.
#pragma once

#include "base/Decibels.h"
#include "model/SynthPatch.h"

#include <algorithm>
#include <cmath>

namespace velmo {

// Audio thread only (owned by a voice).
struct ADSR {
    enum class Stage { idle, attack, decay, sustain, release };

    static constexpr double kMinTime = 0.0005;      // seconds: floor of every stage time
    static constexpr double kDecayExit = 0.0001;    // absolute distance to sustain that ends the decay
    static constexpr double kReleaseFloor = 0.00001; // level under which a release ends

    Stage stage = Stage::idle;
    double value = 0.0; // current level, 0 to 1
    double aInc = 0.0;  // level added per sample in attack
    double dCoef = 0.0; // per-sample factor of the decay
    double rCoef = 0.0; // per-sample factor of the release
    double sus = 0.0;   // sustain level, 0 to 1
    EnvelopeParams configuredFor{}; // what the rates above were worked out from, at
    double configuredRate = 0.0;    // this sample rate (0: not yet)

    // Sets the rates only: stage and value stand, so a change mid-note has no step.
    // Called every block; the exponentials are worked out again only when something changed.
    void configure(const EnvelopeParams& p, double sr) {
        if (p == configuredFor && sr == configuredRate) return;
        configuredFor = p;
        configuredRate = sr;
        aInc = 1.0 / (std::max(p.attack, kMinTime) * sr);
        dCoef = std::exp(-kLn1000 / (std::max(p.decay, kMinTime) * sr));
        rCoef = std::exp(-kLn1000 / (sr * std::max(p.release, kMinTime)));
        sus = std::clamp(p.sustain, 0.0, 1.0);
    }

    // Idle at zero: the next trigger rises from silence.
    void silence() {
        stage = Stage::idle;
        value = 0.0;
    }

    // Starts (or restarts) the attack from the present value: a retrigger rises from where it stands.
    void trigger() { stage = Stage::attack; }

    // Goes to release unless idle; a release from attack or decay falls from the present value.
    void startRelease() {
        if (stage != Stage::idle) stage = Stage::release;
    }

    double tick() {
        switch (stage) {
        case Stage::idle: return 0.0;
        case Stage::attack:
            value += aInc;
            if (value >= 1.0) {
                value = 1.0;
                stage = Stage::decay;
            }
            return value;
        case Stage::decay:
            value = sus + (value - sus) * dCoef;
            if (value - sus < kDecayExit) {
                value = sus;
                stage = Stage::sustain;
            }
            return value;
        case Stage::sustain:
            value = sus; // a changed sustain level takes effect at once
            return value;
        case Stage::release:
            value *= rCoef;
            if (value < kReleaseFloor) {
                value = 0.0;
                stage = Stage::idle;
                return 0.0;
            }
            return value;
        }
        return 0.0;
    }

    // n ticks into out. Sustain, the stage most blocks are in, is the same ticks without the
    // per-sample switch.
    void tickInto(double* out, int n) {
        if (stage == Stage::sustain && n > 0) {
            value = sus;
            std::fill_n(out, n, sus);
            return;
        }
        for (int i = 0; i < n; ++i) out[i] = tick();
    }

    // n ticks; the level of the last one, or 0 when n is 0.
    double tickTimes(int n) {
        if (stage == Stage::sustain && n > 0) {
            value = sus;
            return sus;
        }
        double last = 0.0;
        for (int i = 0; i < n; ++i) last = tick();
        return last;
    }
};

} // namespace velmo
