#include "synth/WavetableBank.h"

#include "base/Rand.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <numbers>

namespace velmo::WavetableBank {

namespace {

constexpr double kPi = std::numbers::pi;

// The classic waves of the basic kind, by wave number: sine, triangle, saw, square.
double classicWave(int wave, int h) {
    switch (wave) {
    case 0: return h == 1 ? 1.0 : 0.0;
    case 1: {
        if (h % 2 == 0) return 0.0;
        double a = 0.8105694691387022 / (static_cast<double>(h) * h); // 8/π²
        return ((h - 1) / 2) % 2 == 1 ? -a : a;
    }
    case 2: return 0.6366197723675814 / h; // 2/π
    default: return h % 2 == 0 ? 0.0 : 1.2732395447351628 / h; // 4/π
    }
}

// Formants in Hz of the five vowels the vocal kind sweeps through.
constexpr double kVowels[5][3] = {
    {730, 1090, 2440}, {530, 1840, 2480}, {270, 2290, 3010}, {570, 840, 2410}, {300, 870, 2240},
};

double unitClamp(double v) { return std::clamp(v, 0.0, 1.0); }

// Each kind fills a[1] to a[count] for its morph position x (0 to 1).
using Amplitudes = std::vector<double>;

// Sine, triangle, saw and square in turn, each crossfading into the next.
void basicSpectrum(Amplitudes& a, double x, int count) {
    const double s = 3.0 * x;
    const int seg = std::min(static_cast<int>(s), 2);
    const double t = s - seg;
    for (int h = 1; h <= count; ++h) a[h] = (1.0 - t) * classicWave(seg, h) + t * classicWave(seg + 1, h);
}

// A pulse whose duty cycle narrows from 0.5 to 0.04.
void pwmSpectrum(Amplitudes& a, double x, int count) {
    const double w = x * -0.46 + 0.5;
    for (int h = 1; h <= count; ++h)
        a[h] = h == 1 ? std::sin(w * kPi) * 0.6366197723675814 : (2.0 / (h * kPi)) * std::sin(h * kPi * w);
}

// Three formants gliding through the five vowels.
void vocalSpectrum(Amplitudes& a, double x, int count) {
    const double s = 4.0 * x;
    const int seg = std::min(static_cast<int>(s), 3);
    const double t = s - seg;
    double f[3];
    for (int i = 0; i < 3; ++i) f[i] = (1.0 - t) * kVowels[seg][i] + t * kVowels[seg + 1][i];
    // Sampled on a fixed 110 Hz fundamental: the formants belong to harmonic numbers and so
    // move with the note.
    for (int h = 1; h <= count; ++h) {
        const double fh = h * 110.0;
        const double e1 = std::exp(-std::pow((fh - f[0]) / 90.0, 2.0));
        const double e2 = std::exp(-std::pow((fh - f[1]) / 120.0, 2.0));
        const double e3 = std::exp(-std::pow((fh - f[2]) / 160.0, 2.0));
        a[h] = e1 + e2 * 0.55 + e3 * 0.3 + 0.25 / (static_cast<double>(h) * h);
    }
}

// A bump of harmonics moving up from harmonic 1 to 24 over a steady fundamental.
void sweepSpectrum(Amplitudes& a, double x, int count) {
    const double c = 1.0 + 23.0 * x;
    for (int h = 1; h <= count; ++h) {
        const double bump = std::exp(-std::pow((h - c) / 1.6, 2.0));
        a[h] = h == 1 ? bump + 0.35 : bump / std::sqrt(static_cast<double>(h));
    }
}

// Random harmonics, denser as x grows; `frame` seeds them so each frame is its own.
void digitalSpectrum(Amplitudes& a, double x, int frame, int count) {
    // The order of draws is part of the sound: one draw per harmonic, a second only when on.
    Rand r = Rand::seeded(static_cast<std::uint32_t>((frame + 3) * 7919));
    if (count >= 1) a[1] = r.unit() * 0.6 + 0.4;
    const double density = x * 0.7 + 0.15;
    for (int h = 2; h <= count; ++h) {
        const double draw = r.unit();
        const bool on = h < 64 ? draw < density : draw < density * 0.35;
        a[h] = on ? (r.unit() * 0.6 + 0.4) / std::pow(static_cast<double>(h), 0.75) : 0.0;
    }
}

// Drawbars pulled in one by one as x grows.
void organSpectrum(Amplitudes& a, double x, int count) {
    const struct {
        int h;
        double start;
        double scale;
    } bars[] = {{1, -0.125, 1.0},
                {2, 0.15, 1.0 / std::sqrt(2.0)},
                {3, 0.3, 1.0 / std::sqrt(3.0)},
                {4, 0.45, 0.5},
                {6, 0.6, 1.0 / std::sqrt(6.0)},
                {8, 0.7, 1.0 / std::sqrt(8.0)},
                {10, 0.8, 1.0 / std::sqrt(10.0)},
                {12, 0.88, 1.0 / std::sqrt(12.0)},
                {16, 0.95, 0.25}};
    for (const auto& bar : bars) {
        if (bar.h > count) continue;
        // Harmonic 1 is c(x × 8 + 1), the others c((x − start) × 8).
        const double v = bar.h == 1 ? unitClamp(x * 8.0 + 1.0) : unitClamp((x - bar.start) * 8.0);
        a[bar.h] = v * bar.scale;
    }
}

} // namespace

std::vector<double> spectrum(WavetableKind kind, double x, int frame, int count) {
    Amplitudes a(static_cast<std::size_t>(std::max(count, 0)) + 1, 0.0);
    switch (kind) {
    case WavetableKind::basic: basicSpectrum(a, x, count); break;
    case WavetableKind::pwm: pwmSpectrum(a, x, count); break;
    case WavetableKind::vocal: vocalSpectrum(a, x, count); break;
    case WavetableKind::sweep: sweepSpectrum(a, x, count); break;
    case WavetableKind::digital: digitalSpectrum(a, x, frame, count); break;
    case WavetableKind::organ: organSpectrum(a, x, count); break;
    }
    return a;
}

Block build(WavetableKind kind) {
    Block block(kBlockLength, 0.0f);
    // An unnormalised inverse DFT, X[n] = Σ Y[k] e^(+2πi k n / N), is FFTW's backward transform.
    // The planner is not thread-safe; the bank builds under its once-only guard.
    fftw_complex* in = fftw_alloc_complex(kCycle);
    fftw_complex* out = fftw_alloc_complex(kCycle);
    fftw_plan plan = (in && out) ? fftw_plan_dft_1d(kCycle, in, out, FFTW_BACKWARD, FFTW_ESTIMATE) : nullptr;
    if (plan) {
        for (int f = 0; f < kFrames; ++f) {
            const std::vector<double> a = spectrum(kind, f / 7.0, f, 1024);
            double peak = 1e-6;
            for (int m = 0; m < kMips; ++m) {
                const int limit = 1024 >> m;
                std::fill_n(&in[0][0], 2 * kCycle, 0.0);
                // A sine of amplitude a is −a/2 i at bin h and +a/2 i at bin N − h. Bin 1024 is
                // never set, so mip 0 holds harmonics 1 to 1023. The inputs are rounded to float
                // as the table is a float table in every other respect.
                for (int h = 1; h <= limit && h <= 1023; ++h) {
                    const double half = static_cast<float>(0.5 * a[static_cast<std::size_t>(h)]);
                    in[h][1] = -half;
                    in[kCycle - h][1] = half;
                }
                fftw_execute(plan);
                if (m == 0) {
                    // One peak per frame for all its mips: the mips keep their relative level, and
                    // a high note, having fewer harmonics, is a little quieter.
                    double largest = 0.0;
                    for (int i = 0; i < kCycle; ++i) largest = std::max(largest, std::fabs(out[i][0]));
                    peak = largest <= 1e-6 ? 1e-6 : largest;
                }
                float* r = block.data() + static_cast<std::size_t>(f * kMips + m) * kRowLength;
                const float fpeak = static_cast<float>(peak);
                for (int i = 0; i < kCycle; ++i) r[i] = (static_cast<float>(out[i][0]) / fpeak) * static_cast<float>(kPeak);
                r[kCycle] = r[0];
            }
        }
        fftw_destroy_plan(plan);
    }
    fftw_free(in);
    fftw_free(out);
    return block;
}

const std::array<Block, 6>& tables() {
    // A function-local static is the once-only guard: concurrent first callers wait for one build.
    static const std::array<Block, 6> bank = [] {
        std::array<Block, 6> all;
        for (WavetableKind kind : allCases<WavetableKind>()) all[static_cast<std::size_t>(kind)] = build(kind);
        return all;
    }();
    return bank;
}

void prepare() { (void)tables(); }

} // namespace velmo::WavetableBank
