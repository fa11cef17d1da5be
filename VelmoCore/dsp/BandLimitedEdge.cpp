#include "dsp/BandLimitedEdge.h"

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

// The kernel's integral S (a band-limited unit step) and S's own integral.
detail::Tables build() {
    using detail::kTableLength;
    detail::Tables t;
    constexpr double h = 1.0 / detail::kStepsPerSample;
    // Trapezoids on a grid four times finer, then scaled so the step ends at exactly 1.
    constexpr int fine = 4;
    double area = 0.0, previous = kernel(-kHalfWidth);
    std::array<double, kTableLength> step{};
    for (int i = 1; i < kTableLength; ++i) {
        for (int j = 1; j <= fine; ++j) {
            const double x = -kHalfWidth + (i - 1 + static_cast<double>(j) / fine) * h;
            const double y = kernel(x);
            area += 0.5 * (previous + y) * h / fine;
            previous = y;
        }
        step[static_cast<std::size_t>(i)] = area;
    }
    for (double& s : step) s /= area;
    // S is symmetric about (0, 1/2), so the ramp's integral ends at exactly kHalfWidth; the
    // trapezoids on the fine table are far below the float output's resolution.
    double sum = 0.0;
    for (int i = 0; i < kTableLength; ++i) {
        const auto k = static_cast<std::size_t>(i);
        if (i > 0) sum += 0.5 * (step[k - 1] + step[k]) * h;
        t.step[k] = static_cast<float>(step[k]);
        t.ramp[k] = static_cast<float>(sum);
    }
    return t;
}

} // namespace

const detail::Tables detail::kTables = build();

namespace {

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

double detail::stepNearRepeats(double since, double d) { return sumOverRepeats(since, d, stepAt); }

double detail::rampNearRepeats(double since, double d) { return sumOverRepeats(since, d, rampAt); }

} // namespace velmo::BandLimitedEdge
