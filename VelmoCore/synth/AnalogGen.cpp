#include "synth/AnalogGen.h"

#include "synth/SineTable.h"

#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

// A band-limited step between +1 (below w) and -1, at phase p with increment d.
inline double step(double p, double w, double d) {
    double h = p < w ? 1.0 : -1.0;
    double q = p - w;
    if (q < 0.0) q += 1.0;
    return h + polyBLEP(p, d) - polyBLEP(q, d);
}

struct CopyRun {
    double d;      // phase increment, cycles per sample
    double width;  // pulse width
    float gainL;
    float gainR;
};

// One unison copy over the block with the wave fixed at compile time, so the frame loop holds
// no switch. Adds into the outputs and returns the advanced phase.
template <OscWave W>
double runCopy(double phase, const CopyRun& run, int n, float* outL, float* outR, Rand& rng, const float* sine) {
    const double d = run.d;
    for (int i = 0; i < n; ++i) {
        double s;
        if constexpr (W == OscWave::sine) {
            s = SineTable::lookup(sine, phase);
        } else if constexpr (W == OscWave::triangle) {
            s = 1.0 - 4.0 * std::fabs(phase - 0.5); // not band-limited: its corners alias little
        } else if constexpr (W == OscWave::saw) {
            s = (2.0 * phase - 1.0) - polyBLEP(phase, d);
        } else if constexpr (W == OscWave::square) {
            s = step(phase, 0.5, d);
        } else if constexpr (W == OscWave::pulse) {
            s = step(phase, run.width, d);
        } else {
            s = rng.bipolar(); // a fresh draw per frame per copy
        }
        float sf = static_cast<float>(s);
        outL[i] += run.gainL * sf;
        outR[i] += run.gainR * sf;
        phase = phase + d;
        if (phase >= 1.0) phase -= 1.0;
    }
    return phase;
}

double runCopy(OscWave wave, double phase, const CopyRun& run, int n, float* outL, float* outR, Rand& rng,
               const float* sine) {
    switch (wave) {
    case OscWave::sine: return runCopy<OscWave::sine>(phase, run, n, outL, outR, rng, sine);
    case OscWave::triangle: return runCopy<OscWave::triangle>(phase, run, n, outL, outR, rng, sine);
    case OscWave::saw: return runCopy<OscWave::saw>(phase, run, n, outL, outR, rng, sine);
    case OscWave::square: return runCopy<OscWave::square>(phase, run, n, outL, outR, rng, sine);
    case OscWave::pulse: return runCopy<OscWave::pulse>(phase, run, n, outL, outR, rng, sine);
    case OscWave::noise: return runCopy<OscWave::noise>(phase, run, n, outL, outR, rng, sine);
    }
    return phase;
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
        if (osc.level <= kSilent) return; // skipped whole: its phases stand still
        double semis = osc.semitone + extraSemis;
        double ratio = std::exp2(osc.octave + semis / 12.0 + osc.detune / 1200.0);
        CopyRun run{};
        run.width = std::clamp(osc.pulseWidth + m.pulseWidth * 0.45, 0.03, 0.97);
        double oscFreq = freq * ratio;
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
            run.d = std::min(oscFreq * detune / sr, kMaxIncrement);
            run.gainL = static_cast<float>(osc.level * (norm * left));
            run.gainR = static_cast<float>(osc.level * (norm * right));
            phases[v] = runCopy(osc.wave, phases[v], run, n, outL, outR, rng, sine);
        }
    };
    // Order matters for the noise stream: oscillator 1's draws of the block, then oscillator 2's.
    oscillator(p.osc1, ph1, 0.0);
    oscillator(p.osc2, ph2, m.osc2Pitch * 12.0);

    if (p.subLevel > kSilent) {
        // Follows oscillator 1's coarse tuning only: no detune, no osc2Pitch, no unison.
        double ratio = std::exp2(p.osc1.octave + p.osc1.semitone / 12.0);
        double d = std::min(freq * ratio * 0.5 / sr, kMaxIncrement);
        float level = static_cast<float>(p.subLevel);
        double phase = subPhase;
        for (int i = 0; i < n; ++i) {
            float s = static_cast<float>(step(phase, 0.5, d)) * level;
            outL[i] += s;
            outR[i] += s;
            phase = phase + d;
            if (phase >= 1.0) phase -= 1.0;
        }
        subPhase = phase;
    }

    double noise = p.noiseLevel + m.noise;
    if (noise > 1.0) noise = 1.0;
    if (noise > kSilent) {
        float level = static_cast<float>(noise);
        for (int i = 0; i < n; ++i) {
            // Two draws per frame, left first: the channels are independent.
            outL[i] += level * static_cast<float>(rng.bipolar());
            outR[i] += level * static_cast<float>(rng.bipolar());
        }
    }
}

} // namespace velmo
