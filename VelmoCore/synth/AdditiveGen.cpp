#include "synth/AdditiveGen.h"

#include "base/Decibels.h"
#include "dsp/SineTable.h"

#include <algorithm>
#include <cmath>

namespace velmo {

void AdditiveGen::start() { phase.fill(0.0); }

void AdditiveGen::render(int n, double freq, const ModValues& m, const AdditiveParams& p, double sr, float* outL,
                         float* outR) {
    std::fill_n(outL, n, 0.0f);
    // Brightness tilts the spectrum by k^(±1.5) at its ends; harmonic 1 stays as it is.
    const double tilt = std::clamp(p.brightness + m.wtPosition, -1.0, 1.0) * 1.5;
    amps.fill(0.0);
    const int count = static_cast<int>(std::min<std::size_t>(p.harmonics.size(), kPartials));
    double total = 0.0;
    for (int i = 0; i < count; ++i) {
        const int k = i + 1;
        double a = p.harmonics[static_cast<std::size_t>(i)] * std::pow(static_cast<double>(k), tilt);
        if (k % 2 == 0) a = p.evenLevel * a;
        amps[static_cast<std::size_t>(i)] = a;
        total += a;
    }
    // Only a loud sum is scaled down; a quiet spectrum keeps its level.
    const double norm = 1.0 / std::max(total * 0.7, 1.0);

    const float* sine = SineTable::ptr();
    for (int i = 0; i < kPartials; ++i) {
        const double amp = amps[static_cast<std::size_t>(i)];
        if (amp <= kInaudibleLevel) continue;
        const double k = i + 1.0;
        const double partial = freq * k * std::sqrt(p.stretch * k * k + 1.0);
        // A dropped partial's phase stands still, so it comes back without a jump at a lower note.
        if (partial >= kMaxPartial * sr) continue;
        const double d = partial / sr;
        const float level = static_cast<float>(norm * amp);
        double ph = phase[static_cast<std::size_t>(i)];
        for (int f = 0; f < n; ++f) {
            outL[f] += SineTable::lookup(sine, ph) * level;
            ph = ph + d;
            if (ph >= 1.0) ph -= 1.0;
        }
        phase[static_cast<std::size_t>(i)] = ph;
    }
    std::copy_n(outL, n, outR);
}

} // namespace velmo
