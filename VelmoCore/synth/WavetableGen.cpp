#include "synth/WavetableGen.h"

#include "base/Decibels.h"
#include "synth/NoiseLayer.h"
#include "synth/SubOscillator.h"
#include "dsp/SineTable.h"
#include "synth/WavetableBank.h"

#include <algorithm>
#include <cmath>

namespace velmo {

void WavetableGen::start() {
    for (double& phase : ph) phase = rng.unit();
    subPhase = 0.0;
}

int WavetableGen::mipFor(double d) {
    if (d <= 1e-9) return 0;
    const double maxHarmonic = 0.5 / d;
    if (maxHarmonic >= 1024.0) return 0;
    return std::clamp(static_cast<int>(std::ceil(std::log2(1024.0 / maxHarmonic))), 0, WavetableBank::kMips - 1);
}

void WavetableGen::render(int n, double freq, const ModValues& m, const WavetableParams& p, double sr, float* outL,
                          float* outR) {
    const auto& bank = WavetableBank::tables(); // built long before, by prepare(); only read here
    const WavetableBank::Block& block = bank[static_cast<std::size_t>(p.table)];
    const int count = static_cast<int>(std::clamp(p.unison, 1.0, static_cast<double>(kMaxUnison)));
    const double norm = 1.0 / std::sqrt(static_cast<double>(count));

    // Morph position: frames A and B around it; at 1 both are the last frame.
    const double pos = std::clamp(p.position + m.wtPosition, 0.0, 1.0);
    const double u = pos * 7.0;
    const int frameA = std::min(static_cast<int>(u), 7);
    const int frameB = std::min(static_cast<int>(u), 6) + 1;
    const float morph = static_cast<float>(u - frameA);

    const double base = freq * std::exp2(p.octave + p.semitone / 12.0);

    std::fill_n(outL, n, 0.0f);
    std::fill_n(outR, n, 0.0f);

    for (int v = 0; v < count; ++v) {
        double detune = 1.0, left = 1.0, right = 1.0;
        if (count > 1) {
            // The analog engine's unison law: ends most detuned and most to the side.
            const double u2 = 2.0 * (v / static_cast<double>(count - 1)) - 1.0;
            const double pan = p.unisonSpread * u2;
            detune = std::exp2(p.unisonDetune * u2 / 1200.0);
            left = std::min(1.0 - pan, 1.0);
            right = 1.0 + pan < 1.0 ? 1.0 + pan : 1.0;
        }
        double d = base * detune / sr;
        if (d > kMaxIncrement) d = kMaxIncrement;
        const int mip = mipFor(d);
        const float* rowA = WavetableBank::row(block, frameA, mip);
        const float* rowB = WavetableBank::row(block, frameB, mip);
        const float gainL = static_cast<float>(norm * left);
        const float gainR = static_cast<float>(norm * right);
        double phase = ph[static_cast<std::size_t>(v)];
        for (int i = 0; i < n; ++i) {
            const double q = (phase - std::floor(phase)) * WavetableBank::kCycle;
            int k = static_cast<int>(q);
            if (k > WavetableBank::kCycle - 1) k = WavetableBank::kCycle - 1; // phase just under 0 rounds to 1.0
            const float t = static_cast<float>(q - k);
            const float a = rowA[k] + (rowA[k + 1] - rowA[k]) * t;
            const float b = rowB[k] + (rowB[k + 1] - rowB[k]) * t;
            const float s = a + (b - a) * morph;
            outL[i] += s * gainL;
            outR[i] += s * gainR;
            phase = phase + d;
            if (phase >= 1.0) phase -= 1.0;
        }
        ph[static_cast<std::size_t>(v)] = phase;
    }

    if (p.subLevel > kInaudibleLevel) {
        // A sine an octave below the oscillator, uncapped; the analog engine's sub is a square.
        const float* sine = SineTable::ptr();
        const double d = base * 0.5 / sr;
        addSub(subPhase, d, n, outL, outR,
               [&](double phase) { return static_cast<float>(p.subLevel * SineTable::lookup(sine, phase)); });
    }

    addNoise(rng, p.noiseLevel + m.noise, outL, outR, n);
}

} // namespace velmo
