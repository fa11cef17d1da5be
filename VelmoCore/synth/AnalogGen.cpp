#include "synth/AnalogGen.h"

#include "base/Decibels.h"
#include "dsp/BandLimitedEdge.h"
#include "synth/NoiseLayer.h"
#include "synth/SubOscillator.h"
#include "dsp/SineTable.h"

#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

// A band-limited step between +1 (below w) and -1, at phase p with increment d: a rise of 2 at
// phase 0, a fall of 2 at w.
inline double step(double p, double w, double d) {
    double h = p < w ? 1.0 : -1.0;
    return h + 2.0 * (BandLimitedEdge::stepResidual(p, 0.0, d) - BandLimitedEdge::stepResidual(p, w, d));
}

struct CopyRun {
    double d;     // phase increment, cycles per sample
    float gainL;
    float gainR;
};

template <OscWave W>
inline double waveAt(double phase, double d, double width, const float* sine, Rand& rng) {
    if constexpr (W == OscWave::sine) {
        return SineTable::lookup(sine, phase);
    } else if constexpr (W == OscWave::triangle) {
        // The slope, ±4 per cycle, turns by 8 × d per sample at each corner: up at 0, down at 1/2.
        const double corners = BandLimitedEdge::rampResidual(phase, 0.0, d) - BandLimitedEdge::rampResidual(phase, 0.5, d);
        return 1.0 - 4.0 * std::fabs(phase - 0.5) + 8.0 * d * corners;
    } else if constexpr (W == OscWave::saw) {
        return (2.0 * phase - 1.0) - 2.0 * BandLimitedEdge::stepResidual(phase, 0.0, d);
    } else if constexpr (W == OscWave::square) {
        return step(phase, 0.5, d);
    } else if constexpr (W == OscWave::pulse) {
        // A pulse of width w has the mean 2w − 1. It is known exactly, so it is taken out here
        // rather than by a high-pass: that removes the DC of any width and the sub-audio wobble
        // that pulse-width modulation would otherwise leave, with no change to the tone.
        return step(phase, width, d) - (2.0 * width - 1.0);
    } else {
        static_assert(W == OscWave::noise);
        return rng.bipolar(); // a fresh draw per frame per copy; the phase still advances
    }
}

// All copies of one oscillator over the block, with the wave fixed at compile time: all frames
// of copy 0, then of copy 1, and so on. One copy's frames in one stretch keep the branch into a
// corner (ten samples of every period) predictable, each frame still adds the copies in stack
// order, and noise copies draw from the one generator in a fixed order.
template <OscWave W>
void runStack(double* phases, const CopyRun* runs, int count, double width, int n, float* outL, float* outR,
              Rand& rng, const float* sine) {
    for (int v = 0; v < count; ++v) {
        const CopyRun run = runs[v];
        double phase = phases[v];
        for (int i = 0; i < n; ++i) {
            const float sf = static_cast<float>(waveAt<W>(phase, run.d, width, sine, rng));
            outL[i] += run.gainL * sf;
            outR[i] += run.gainR * sf;
            phase += run.d;
            if (phase >= 1.0) phase -= 1.0;
        }
        phases[v] = phase;
    }
}

void runOscillator(OscWave wave, double* phases, const CopyRun* runs, int count, double width, int n, float* outL,
                   float* outR, Rand& rng, const float* sine) {
    switch (wave) {
    case OscWave::sine: runStack<OscWave::sine>(phases, runs, count, width, n, outL, outR, rng, sine); break;
    case OscWave::triangle: runStack<OscWave::triangle>(phases, runs, count, width, n, outL, outR, rng, sine); break;
    case OscWave::saw: runStack<OscWave::saw>(phases, runs, count, width, n, outL, outR, rng, sine); break;
    case OscWave::square: runStack<OscWave::square>(phases, runs, count, width, n, outL, outR, rng, sine); break;
    case OscWave::pulse: runStack<OscWave::pulse>(phases, runs, count, width, n, outL, outR, rng, sine); break;
    case OscWave::noise: runStack<OscWave::noise>(phases, runs, count, width, n, outL, outR, rng, sine); break;
    }
}

} // namespace

void AnalogGen::start() {
    for (int i = 0; i < kMaxUnison; ++i) {
        ph1[i] = rng.unit();
        ph2[i] = rng.unit();
    }
    subPhase = 0.0;
}

void AnalogGen::render(int n, double freq, const ModValues& m, const AnalogParams& p, double sr, float* outL,
                       float* outR) {
    const float* sine = SineTable::ptr();
    // Truncation after the clamp: 3.9 copies are 3. The stack keeps its power: norm = 1/sqrt(count).
    const int count = static_cast<int>(std::clamp(p.unison, 1.0, static_cast<double>(kMaxUnison)));
    const double norm = 1.0 / std::sqrt(static_cast<double>(count));

    std::fill_n(outL, n, 0.0f);
    std::fill_n(outR, n, 0.0f);

    auto oscillator = [&](const AnalogOsc& osc, std::array<double, kMaxUnison>& phases, double extraSemis) {
        if (osc.level <= kInaudibleLevel) return; // skipped whole: its phases stand still
        double semis = osc.semitone + extraSemis;
        double ratio = std::exp2(osc.octave + semis / 12.0 + osc.detune / 1200.0);
        const double width = std::clamp(osc.pulseWidth + m.pulseWidth * 0.45, 0.03, 0.97);
        const double oscFreq = freq * ratio;
        CopyRun runs[kMaxUnison];
        for (int v = 0; v < count; ++v) {
            double detune = 1.0, left = 1.0, right = 1.0;
            if (count > 1) {
                // -1 .. +1 across the stack: the ends are the most detuned and the most to the
                // side; unisonDetune is the distance from the centre, and spread is not clamped.
                double u = 2.0 * (v / static_cast<double>(count - 1)) - 1.0;
                double pan = p.unisonSpread * u;
                detune = std::exp2(p.unisonDetune * u / 1200.0);
                left = std::min(1.0 - pan, 1.0);
                right = 1.0 + pan < 1.0 ? 1.0 + pan : 1.0;
            }
            runs[v].d = std::min(oscFreq * detune / sr, kMaxIncrement);
            runs[v].gainL = static_cast<float>(osc.level * (norm * left));
            runs[v].gainR = static_cast<float>(osc.level * (norm * right));
        }
        runOscillator(osc.wave, phases.data(), runs, count, width, n, outL, outR, rng, sine);
    };
    // Order matters for the noise stream: oscillator 1's draws of the block, then oscillator 2's.
    oscillator(p.osc1, ph1, 0.0);
    oscillator(p.osc2, ph2, m.osc2Pitch * 12.0);

    if (p.subLevel > kInaudibleLevel) {
        // Follows oscillator 1's coarse tuning only: no detune, no osc2Pitch, no unison.
        double ratio = std::exp2(p.osc1.octave + p.osc1.semitone / 12.0);
        double d = std::min(freq * ratio * 0.5 / sr, kMaxIncrement);
        const float level = static_cast<float>(p.subLevel);
        addSub(subPhase, d, n, outL, outR, [&](double phase) { return static_cast<float>(step(phase, 0.5, d)) * level; });
    }

    addNoise(rng, p.noiseLevel + m.noise, outL, outR, n);
}

} // namespace velmo
