#include "engine/TruePeakMeter.h"

#include "dsp/KaiserWindow.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velmo {

namespace {

constexpr int factor = 4;
constexpr int length = 49;     // centred on a sample, so phase 0 is the sample itself
constexpr double kaiserBeta = 5; // flat to 0.05 dB up to 0.35 of the sample rate

// The three in-between phases of the interpolator, each scaled to unit gain at DC, and the largest
// sum of magnitudes among them: no in-between value exceeds that times the loudest sample under it.
struct Phases {
    std::array<std::array<double, TruePeakMeter::taps>, factor - 1> coefficients{};
    double gainBound = 0;

    Phases() {
        const double centre = (length - 1) / 2.0;
        for (int p = 1; p < factor; ++p) {
            auto& h = coefficients[static_cast<std::size_t>(p - 1)];
            double sum = 0;
            for (int k = 0; k < TruePeakMeter::taps; ++k) {
                const double x = (factor * k + p - centre) / factor;
                const double r = (factor * k + p) / centre - 1;
                const double window = kaiserWindow(r, kaiserBeta);
                h[static_cast<std::size_t>(k)] = std::sin(std::numbers::pi * x) / (std::numbers::pi * x) * window;
                sum += h[static_cast<std::size_t>(k)];
            }
            double magnitude = 0;
            for (double& c : h) {
                c /= sum;
                magnitude += std::fabs(c);
            }
            gainBound = std::max(gainBound, magnitude);
        }
    }
};

const Phases& phases() {
    static const Phases table;
    return table;
}

} // namespace

void TruePeakMeter::add(const float* left, const float* right, int n) {
    for (int done = 0; done < n; done += chunk) {
        const int m = std::min(chunk, n - done);
        addChunk(left_, left + done, m);
        addChunk(right_, right + done, m);
    }
}

void TruePeakMeter::addChunk(Channel& channel, const float* samples, int n) {
    auto& x = channel.history;
    std::copy_n(samples, n, x.begin() + (taps - 1));
    const int used = taps - 1 + n;
    float loudest = 0;
    for (int i = 0; i < used; ++i) loudest = std::max(loudest, std::fabs(x[static_cast<std::size_t>(i)]));
    for (int i = taps - 1; i < used; ++i) peak_ = std::max(peak_, double(std::fabs(x[static_cast<std::size_t>(i)])));
    const Phases& table = phases();
    if (loudest * table.gainBound > peak_) {
        // Output m of a phase lies between the samples m + 5 and m + 6 of the window. The loops
        // run over the outputs inside, so they vectorise.
        for (const auto& h : table.coefficients) {
            // Whole chunks, whatever `n`: a fixed count lets the compiler vectorise; outputs past
            // `n` read stale samples and are not looked at.
            std::array<float, chunk> y{};
            for (int k = 0; k < taps; ++k) {
                const float c = static_cast<float>(h[static_cast<std::size_t>(k)]);
                const float* in = x.data() + (taps - 1 - k);
                for (int m = 0; m < chunk; ++m) y[static_cast<std::size_t>(m)] += c * in[m];
            }
            float most = 0;
            for (int m = 0; m < n; ++m) most = std::max(most, std::fabs(y[static_cast<std::size_t>(m)]));
            peak_ = std::max(peak_, double(most));
        }
    }
    std::copy(x.begin() + n, x.begin() + used, x.begin());
}

} // namespace velmo
