#include "engine/Periodicity.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace velmo {

namespace {

constexpr double threshold = 0.15;    // a dip below this is a repeat (YIN's usual choice)
constexpr double mostAperiodic = 0.35; // above this the sound has no pitch worth naming
constexpr std::size_t window = 2048;   // frames compared per lag in the first search

// Sum of squared differences between x and x shifted by `lag`, over `count` frames.
double difference(std::span<const double> x, std::size_t lag, std::size_t count) {
    double sum = 0;
    for (std::size_t j = 0; j < count; ++j) {
        const double d = x[j] - x[j + lag];
        sum += d * d;
    }
    return sum;
}

// The offset of the extremum of the parabola through three equally spaced values.
double vertex(double before, double at, double after) {
    const double curve = before - 2 * at + after;
    return curve > 0 ? 0.5 * (before - after) / curve : 0.0;
}

} // namespace

Periodicity findPeriod(std::span<const double> x, double sampleRate, double lowestHz, double highestHz) {
    const std::size_t shortest = std::max<std::size_t>(2, static_cast<std::size_t>(sampleRate / highestHz));
    std::size_t longest = static_cast<std::size_t>(sampleRate / lowestHz);
    if (x.size() < 3 * shortest + 2) return {};
    longest = std::min(longest, (x.size() - 2) / 2);
    const std::size_t count = std::min(window, x.size() - longest - 1);

    // YIN's cumulative mean normalised difference, d'(0) = 1.
    std::vector<double> normalised(longest + 2, 1.0);
    double running = 0;
    for (std::size_t lag = 1; lag <= longest + 1; ++lag) {
        const double d = difference(x, lag, count);
        running += d;
        normalised[lag] = running > 0 ? d * static_cast<double>(lag) / running : 1.0;
    }
    std::size_t best = 0;
    for (std::size_t lag = shortest; lag <= longest; ++lag) {
        if (normalised[lag] < threshold) {
            while (lag < longest && normalised[lag + 1] < normalised[lag]) ++lag;
            best = lag;
            break;
        }
    }
    if (best == 0)
        best = static_cast<std::size_t>(std::min_element(normalised.begin() + static_cast<long>(shortest),
                                                         normalised.begin() + static_cast<long>(longest) + 1) -
                                        normalised.begin());
    Periodicity result;
    result.aperiodicity = std::clamp(normalised[best], 0.0, 1.0);
    if (result.aperiodicity > mostAperiodic) return result;
    double period = static_cast<double>(best) + vertex(normalised[best - 1], normalised[best], normalised[best + 1]);

    // Refine at the largest multiple of the period that fits twice: an error of a fraction of a
    // sample there is that fraction divided by the multiple here.
    const auto multiple = static_cast<std::size_t>(std::floor(static_cast<double>(x.size()) / 2 / period));
    const auto around = static_cast<std::size_t>(std::lround(period * static_cast<double>(multiple)));
    if (multiple >= 2 && around + 4 < x.size()) {
        const std::size_t overlap = x.size() - around - 4;
        std::size_t lag = around;
        double least = difference(x, lag, overlap);
        for (std::size_t l = around - 3; l <= around + 3; ++l) {
            const double d = difference(x, l, overlap);
            if (d < least) {
                least = d;
                lag = l;
            }
        }
        const double refined = (static_cast<double>(lag) +
                                vertex(difference(x, lag - 1, overlap), least, difference(x, lag + 1, overlap))) /
                               static_cast<double>(multiple);
        // A refinement that lands on another multiple or a side lobe is no refinement.
        if (std::fabs(refined - period) < 0.01 * period) period = refined;
    }
    result.periodFrames = period;
    return result;
}

} // namespace velmo
