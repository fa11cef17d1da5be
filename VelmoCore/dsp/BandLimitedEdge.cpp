#include "dsp/BandLimitedEdge.h"

#include <array>
#include "dsp/KaiserWindow.h"

#include <cmath>
#include <numbers>

namespace velmo::BandLimitedEdge {

namespace {

// The kernel's pass band reaches past half the sample rate: what it lets through between there
// and 32 kHz folds back above 16 kHz, where it is masked, while a step's partials above 32 kHz,
// whose folds would land low and audibly, are held some 50 dB down. A narrower pass band would
// cost either a longer kernel or a duller top octave.
constexpr double kCutoff = 0.52;  // of the sample rate, −6 dB
constexpr double kKaiserBeta = 5.0;

double kernel(double x) {
    const double window = kaiserWindow(x / kHalfWidth, kKaiserBeta);
    const double a = 2.0 * std::numbers::pi * kCutoff * x;
    return 2.0 * kCutoff * (x == 0.0 ? 1.0 : std::sin(a) / a) * window;
}

constexpr int kStepsPerSample = 256; // table resolution, linearly interpolated

// The kernel's integral S (a band-limited unit step) and S's own integral, from −kHalfWidth to
// +kHalfWidth samples.
struct Tables {
    static constexpr int kLength = 2 * kHalfWidth * kStepsPerSample + 1;
    std::array<double, kLength> step{};
    std::array<double, kLength> ramp{};
};

Tables build() {
    Tables t;
    constexpr double h = 1.0 / kStepsPerSample;
    // Trapezoids on a grid four times finer, then scaled so the step ends at exactly 1.
    constexpr int fine = 4;
    double area = 0.0, previous = kernel(-kHalfWidth);
    std::array<double, Tables::kLength> raw{};
    for (int i = 1; i < Tables::kLength; ++i) {
        for (int j = 1; j <= fine; ++j) {
            const double x = -kHalfWidth + (i - 1 + static_cast<double>(j) / fine) * h;
            const double y = kernel(x);
            area += 0.5 * (previous + y) * h / fine;
            previous = y;
        }
        raw[static_cast<std::size_t>(i)] = area;
    }
    for (int i = 0; i < Tables::kLength; ++i) t.step[static_cast<std::size_t>(i)] = raw[static_cast<std::size_t>(i)] / area;
    // S is symmetric about (0, 1/2), so the ramp's integral ends at exactly kHalfWidth; the
    // midpoint rule on the fine table is far below the float output's resolution.
    double sum = 0.0;
    for (int i = 1; i < Tables::kLength; ++i) {
        sum += 0.5 * (t.step[static_cast<std::size_t>(i - 1)] + t.step[static_cast<std::size_t>(i)]) * h;
        t.ramp[static_cast<std::size_t>(i)] = sum;
    }
    return t;
}

const Tables kTables = build();

// Linear interpolation in `table` at x samples from the edge, |x| < kHalfWidth.
double lookup(const std::array<double, Tables::kLength>& table, double x) {
    const double u = (x + kHalfWidth) * kStepsPerSample;
    int i = static_cast<int>(u);
    if (i > Tables::kLength - 2) i = Tables::kLength - 2;
    const double f = u - i;
    const double a = table[static_cast<std::size_t>(i)];
    return a + (table[static_cast<std::size_t>(i + 1)] - a) * f;
}

// Sums residual(x) over the repeats of an edge, x in samples after each one, within reach; the
// latest edge lies `since` cycles back. Above 4.8 kHz (d = 0.1) the reaches of two repeats meet.
template <class Residual>
double sumOverRepeats(double since, double d, Residual residual) {
    const double period = 1.0 / d;
    const double after = since * period;
    double sum = 0.0;
    for (double x = after; x < kHalfWidth; x += period) sum += residual(x);
    for (double x = after - period; x > -kHalfWidth; x -= period) sum += residual(x);
    return sum;
}

} // namespace

double detail::stepNear(double since, double d) {
    return sumOverRepeats(since, d, [](double x) { return lookup(kTables.step, x) - (x >= 0.0 ? 1.0 : 0.0); });
}

double detail::rampNear(double since, double d) {
    return sumOverRepeats(since, d, [](double x) { return lookup(kTables.ramp, x) - (x > 0.0 ? x : 0.0); });
}

} // namespace velmo::BandLimitedEdge
