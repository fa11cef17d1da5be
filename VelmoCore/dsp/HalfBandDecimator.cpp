#include "dsp/HalfBandDecimator.h"

#include "dsp/KaiserWindow.h"

#include <cmath>
#include <numbers>

namespace velmo {

namespace {

constexpr int kCentre = HalfBandDecimator::kTaps / 2;
constexpr int kSides = (kCentre + 1) / 2; // nonzero taps on each side: the odd offsets

// The taps at odd offsets 1, 3, ... 15 from the centre, whose tap is 1/2; every even offset is
// zero in a half-band filter. A Kaiser-windowed sinc, scaled so the gain at 0 Hz is exactly 1.
std::array<double, kSides> design() {
    constexpr double beta = 7.0;
    std::array<double, kSides> taps{};
    double sum = 0.0;
    for (int k = 0; k < kSides; ++k) {
        const int n = 2 * k + 1;
        const double r = static_cast<double>(n) / (kCentre + 1);
        const double window = kaiserWindow(r, beta);
        taps[static_cast<std::size_t>(k)] = std::sin(std::numbers::pi * n / 2.0) / (std::numbers::pi * n) * window;
        sum += taps[static_cast<std::size_t>(k)];
    }
    for (double& t : taps) t *= 0.25 / sum;
    return taps;
}

const std::array<double, kSides> kTapsBySide = design();

} // namespace

void HalfBandDecimator::process(const double* in, double* out, int n) {
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < 2; ++j) {
            x[static_cast<std::size_t>(w)] = x[static_cast<std::size_t>(w + kHistory)] = in[2 * i + j];
            if (++w == kHistory) w = 0;
        }
        // The newest input sits at w - 1 + kHistory, the centre tap kCentre before it.
        const double* newest = x.data() + w - 1 + kHistory;
        const double* centre = newest - kCentre;
        double y = 0.5 * centre[0];
        for (int k = 0; k < kSides; ++k) y += kTapsBySide[static_cast<std::size_t>(k)] * (centre[-(2 * k + 1)] + centre[2 * k + 1]);
        out[i] = y;
    }
}

} // namespace velmo
