#include "synth/PluckGen.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velmo {

namespace {

constexpr double kMinDecay = 0.05;    // seconds
constexpr double kPickGain = -0.8;    // the comb's cancellation at the pick position
constexpr double kOutputGain = 1.2;
constexpr double kMaxAllpass = 0.9;   // keeps the all-pass's pole clear of the unit circle

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

// The burst's low-pass coefficient: 0.04 when dull, up to 1 (white) at brightness 1.
double burstCoefficient(double brightness) { return brightness < 0.0 ? 0.04 : 0.96 * std::min(brightness, 1.0) + 0.04; }

} // namespace

double PluckGen::periodFor(double freq, double sr) { return std::clamp(sr / freq, kMinPeriod, kMaxPeriod); }

PluckGen::Loop PluckGen::loopFor(double period, const PluckParams& p, double sr) {
    const double w0 = 2.0 * std::numbers::pi / period; // the fundamental, radians per sample
    // The loss per pass that makes the fundamental fall 60 dB in `decay` seconds: a pass lasts
    // one period, so a per-sample loss applied once per pass would ring far too long.
    const double passLoss = std::pow(10.0, -3.0 * period / (sr * std::max(p.decay, kMinDecay)));
    // Damping decides how much of that loss the low-pass takes. Its loss grows with frequency,
    // so the more it takes the faster the upper partials die (the third about 1 + 8 × damping
    // times faster while the low-pass's corner lies well above the note), and the fundamental
    // keeps its decay: at 1 the low-pass takes it all.
    const double damping = p.damping > 0.0 ? std::min(p.damping, 1.0) : 0.0;
    const double lpGain = std::pow(passLoss, damping);
    // The one-pole y = (1 − b) x + b y1 with gain lpGain at w0 solves
    // (1 − b)² = lpGain² (1 − 2b cos w0 + b²); the smaller root, in a form stable near b = 0.
    const double a = 1.0 - lpGain * lpGain;
    const double c = 1.0 - lpGain * lpGain * std::cos(w0);
    const double b = a / (c + std::sqrt(std::max(c * c - a * a, 0.0)));
    // The low-pass delays the fundamental by its phase delay there; the line and the all-pass
    // make up the rest of the period, so the note is in tune at every damping and pitch.
    const double lag = std::atan2(b * std::sin(w0), 1.0 - b * std::cos(w0)) / w0;
    const double rest = period - lag;
    // The all-pass adds between 0.5 and 1.5 samples, where its coefficient stays small.
    const int whole = std::max(1, static_cast<int>(std::floor(rest - 0.5)));
    const double fraction = std::max(rest - whole, 0.25);
    // The first-order all-pass (η + z⁻¹) / (1 + η z⁻¹) has phase delay `fraction` at w0 exactly
    // for η = sin((1 − d) w0 / 2) / sin((1 + d) w0 / 2).
    const double eta = std::sin((1.0 - fraction) * w0 / 2.0) / std::sin((1.0 + fraction) * w0 / 2.0);
    return {whole, std::clamp(eta, -kMaxAllpass, kMaxAllpass), b, passLoss / lpGain};
}

void PluckGen::start(double freq, double velocity, const PluckParams& p, double sr) {
    buf.fill(0.0f);
    w = 0;
    apIn = 0.0;
    apOut = 0.0;
    loopLP = 0.0;
    excLP = 0.0;
    exciteLeft = static_cast<int>(periodFor(freq, sr)); // the burst lasts one period
    excAmp = velocity * 0.7 + 0.3;
    excCoef = burstCoefficient(p.brightness);
    // The burst's mean would stay in the string as DC: a copy of the generator draws the same
    // noise ahead of time, so its mean is known and subtracted sample by sample.
    Rand ahead = rng;
    double lp = 0.0, sum = 0.0;
    for (int i = 0; i < exciteLeft; ++i) {
        lp += excCoef * (ahead.bipolar() - lp);
        sum += lp;
    }
    excMean = exciteLeft > 0 ? sum / exciteLeft : 0.0;
}

void PluckGen::render(int n, double freq, const PluckParams& p, double sr, float* outL, float* outR) {
    const double period = periodFor(freq, sr);
    if (period != loopPeriod || p.decay != loopDecay || p.damping != loopDamping || sr != loopRate) {
        loop = loopFor(period, p, sr);
        loopPeriod = period;
        loopDecay = p.decay;
        loopDamping = p.damping;
        loopRate = sr;
    }
    const double a = 1.0 - loop.lowpass;
    const double tap = period * std::clamp(p.pickPosition, 0.01, 0.5);

    for (int f = 0; f < n; ++f) {
        const double s = buf[static_cast<std::size_t>((w - loop.delay) & kLineMask)];
        const double shifted = loop.allpass * s + apIn - loop.allpass * apOut;
        apIn = s;
        apOut = shifted;
        loopLP = loopLP + a * (shifted - loopLP);
        double x = loop.gain * loopLP;
        if (exciteLeft > 0) {
            excLP = excLP + excCoef * (rng.bipolar() - excLP);
            x += excAmp * (excLP - excMean);
            exciteLeft -= 1;
        }
        buf[static_cast<std::size_t>(w)] = static_cast<float>(x);
        w = (w + 1) & kLineMask;
        // A feed-forward comb on the output, not in the loop: a pick at this fraction of the
        // string cancels the harmonics with a node there, as far as a gain of 0.8 does.
        double rc = (w - 1) - tap;
        while (rc < 0.0) rc += kLineLength;
        const double c = readLine(buf, rc);
        const float y = static_cast<float>((x + c * kPickGain) * kOutputGain);
        outL[f] = y;
        outR[f] = y;
    }
}

} // namespace velmo
