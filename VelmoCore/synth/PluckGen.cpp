#include "synth/PluckGen.h"

#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

// Linear interpolation in the line at fractional position r (0 to 4096), in double from floats.
inline double readLine(const std::array<float, PluckGen::kLineLength>& buf, double r) {
    const int whole = static_cast<int>(r);
    const int i = whole & PluckGen::kLineMask;
    const int j = (whole + 1) & PluckGen::kLineMask;
    const double t = r - whole;
    const double a = buf[static_cast<std::size_t>(i)];
    const double b = buf[static_cast<std::size_t>(j)];
    return a + t * (b - a);
}

} // namespace

double PluckGen::periodFor(double freq, double sr) { return std::clamp(sr / freq, kMinPeriod, kMaxPeriod); }

void PluckGen::start(double freq, double velocity, double sr) {
    buf.fill(0.0f);
    w = 0;
    loopLP = 0.0;
    excLP = 0.0;
    exciteLeft = static_cast<int>(periodFor(freq, sr)); // the burst lasts one period
    excAmp = velocity * 0.7 + 0.3;
}

void PluckGen::render(int n, double freq, const PluckParams& p, double sr, float* outL, float* outR) {
    // The loop low-pass: transparent at damping 0, coefficient 0.08 at 1.
    const double a = p.damping < 0.0 ? 1.0 : 1.0 - 0.92 * std::min(p.damping, 1.0);
    const double lag = (1.0 - a) / a; // the low-pass's delay at low frequency, in samples
    const double period = periodFor(freq, sr);
    // The low-pass's own delay comes out of the line, so the pitch holds at every damping. The
    // loop is period − 0.5 samples long in all: a note sounds half a sample's period sharp.
    double delay = period - lag - 0.5;
    if (delay <= 1.0) delay = 1.0;
    // The loss applied on each pass through the loop. It is the per-sample factor of a 60 dB fall
    // in `decay` seconds, but the loop applies it once per period, so the string alone rings far
    // longer, the more so the lower the note; the amplitude envelope ends the note.
    const double g = std::pow(10.0, -3.0 / (sr * std::max(p.decay, 0.05)));
    const double b = p.brightness < 0.0 ? 0.04 : 0.96 * std::min(p.brightness, 1.0) + 0.04;
    const double tap = period * std::clamp(p.pickPosition, 0.01, 0.5);

    for (int f = 0; f < n; ++f) {
        double r = w - delay;
        while (r < 0.0) r += kLineLength;
        const double s = readLine(buf, r);
        loopLP = loopLP + a * (s - loopLP);
        double x = g * loopLP;
        if (exciteLeft > 0) {
            excLP = excLP + b * (rng.bipolar() - excLP);
            x += excAmp * excLP;
            exciteLeft -= 1;
        }
        buf[static_cast<std::size_t>(w)] = static_cast<float>(x);
        w = (w + 1) & kLineMask;
        // A feed-forward comb on the output, not in the loop: a pick at this fraction of the
        // string cancels the harmonics with a node there, as far as a gain of 0.8 does.
        double rc = (w - 1) - tap;
        while (rc < 0.0) rc += kLineLength;
        const double c = readLine(buf, rc);
        const float y = static_cast<float>((x + c * -0.8) * 1.2);
        outL[f] = y;
        outR[f] = y;
    }
}

} // namespace velmo
