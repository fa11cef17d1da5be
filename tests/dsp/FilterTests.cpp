// Each filter type against its analytic magnitude, the ladder against its linear model, the
// clamps that keep out-of-range settings stable, and the biquad designs.
#include "support/SignalMeasure.h"

#include "dsp/Biquad.h"
#include "dsp/FilterState.h"
#include "model/SynthPatch.h" // the filter types' words name failing cases

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

using namespace velmo;
using namespace velmo::test;
using cd = std::complex<double>;

namespace {

constexpr double kPi = std::numbers::pi;

// The bilinear image of the analog prototype, prewarped at the cutoff: Ω = tan(πf/sr) / tan(πfc/sr);
// lowpass24 follows the resonant stage with a fixed Butterworth one (k = 1.414).
double analyticMagnitude(FilterType type, double f, double fc, double res) {
    double k = std::clamp(res, 0.0, 1.0) * -1.96 + 2.0;
    double w = std::tan(kPi * f / kSr) / std::tan(kPi * fc / kSr);
    cd den(1.0 - w * w, k * w);
    switch (type) {
    case FilterType::lowpass12: return std::abs(1.0 / den);
    case FilterType::lowpass24: return std::abs(1.0 / den) * std::abs(1.0 / cd(1.0 - w * w, 1.414 * w));
    case FilterType::highpass12: return std::abs(-w * w / den);
    case FilterType::bandpass: return std::abs(cd(0.0, k * w) / den);
    case FilterType::notch: return std::abs((1.0 - w * w) / den);
    default: return 1.0;
    }
}

// The ladder with small signals (tanh(x) ≈ x): four stages (1 + 0.3 z⁻¹) / (1 − (1 − f) z⁻¹),
// an input gain, and a one-sample-late feedback from the last stage.
double ladderMagnitude(double freq, double fc, double res) {
    double f = std::min(fc * 1.16 / (kSr * 0.5), 1.0);
    double fb = res * 4.1 * (1.0 + f * (f * -0.15));
    double in = f * f * (f * f * 0.35013);
    cd zInv = std::polar(1.0, -2.0 * kPi * freq / kSr);
    cd stage = (1.0 + 0.3 * zInv) / (1.0 - (1.0 - f) * zInv);
    cd forward = in * std::pow(stage, 4);
    return std::abs((fb * 0.25 + 1.0) * forward / (1.0 + fb * zInv * forward));
}

double filterGain(FilterType type, double freq, double cutoff, double res, double amplitude = 0.5) {
    FilterState state;
    FilterCoefs c = FilterState::coefs(type, cutoff, res, kSr);
    return sineGain([&](double x) { return state.process(x, type, c); }, freq, kSr, amplitude);
}

} // namespace

TEST(FilterState, StateVariableResponsesMatchTheAnalyticMagnitude) {
    for (FilterType type : {FilterType::lowpass12, FilterType::lowpass24, FilterType::highpass12, FilterType::bandpass, FilterType::notch})
        for (double res : {0.0, 0.5, 0.9})
            for (double freq : {100.0, 500.0, 1000.0, 2000.0, 8000.0}) {
                double expected = analyticMagnitude(type, freq, 1000.0, res);
                double measured = filterGain(type, freq, 1000.0, res);
                EXPECT_NEAR(measured, expected, 1e-3 + 1e-3 * expected)
                    << toString(type) << " res " << res << " at " << freq << " Hz";
            }
    FilterState off;
    for (double x : {0.7, -0.2, 1e-3})
        EXPECT_EQ(off.process(x, FilterType::off, FilterState::coefs(FilterType::off, 50.0, 1.0, kSr)), x) << "off passes the input";
}

TEST(FilterState, LadderResponseMatchesItsLinearModel) {
    for (double res : {0.0, 0.6})
        for (double freq : {100.0, 1000.0, 3000.0, 10000.0}) {
            double expected = ladderMagnitude(freq, 2000.0, res);
            double measured = filterGain(FilterType::ladder, freq, 2000.0, res, 1e-3);
            EXPECT_NEAR(measured, expected, 1e-3 * expected + 1e-5) << "res " << res << " at " << freq << " Hz";
        }

    // The tanh in the feedback bounds a loud self-oscillating ladder.
    FilterState s;
    FilterCoefs c = FilterState::coefs(FilterType::ladder, 1000.0, 1.0, kSr);
    double peak = 0.0;
    for (int i = 0; i < 48000; ++i) peak = std::max(peak, std::fabs(s.process(i < 10 ? 1.0 : 0.0, FilterType::ladder, c)));
    EXPECT_TRUE(std::isfinite(peak));
    EXPECT_LT(peak, 10.0);
}

TEST(FilterState, CutoffAndResonanceClampKeepEveryTypeStable) {
    // Out-of-range settings (a hand-edited file, a modulation overshoot) act as the nearest
    // valid one: identical output to 16 Hz, 0.45 × sr, resonance 0 and 1.
    for (FilterType type : allCases<FilterType>()) {
        auto response = [&](double cutoff, double res) {
            FilterState s;
            const FilterCoefs c = FilterState::coefs(type, cutoff, res, kSr);
            std::vector<double> out;
            for (int i = 0; i < 256; ++i) out.push_back(s.process(i == 0 ? 1.0 : 0.0, type, c));
            return out;
        };
        EXPECT_EQ(response(5.0, 0.3), response(16.0, 0.3)) << toString(type) << ": cutoff floors at 16 Hz";
        EXPECT_EQ(response(30000.0, 0.3), response(21600.0, 0.3)) << toString(type) << ": cutoff ceiling at 0.45 x sr";
        EXPECT_EQ(response(800.0, 1.7), response(800.0, 1.0)) << toString(type);
        EXPECT_EQ(response(800.0, -3.0), response(800.0, 0.0)) << toString(type);
    }
}

TEST(Biquad, ResponsesOfTheDesignsTheDrumsAndAnalysisUse) {
    // Cookbook landmarks (the shelves and peak are measured through the EQ, the one-pole through
    // the delay's loop): lowpass and highpass have |H| = Q at the corner, the bandpass peaks at 0 dB.
    auto gainOf = [](Biquad bq, double f) { return sineGain([&](double x) { return bq.process(x); }, f, kSr); };
    EXPECT_NEAR(gainOf(Biquad::lowpass(250.0, 0.7, kSr), 250.0), 0.7, 1e-3);
    EXPECT_NEAR(gainOf(Biquad::lowpass(250.0, 0.7, kSr), 10.0), 1.0, 1e-3);
    EXPECT_NEAR(gainOf(Biquad::highpass(4000.0, 0.7, kSr), 4000.0), 0.7, 1e-3);
    EXPECT_LT(gainOf(Biquad::highpass(4000.0, 0.7, kSr), 100.0), 1e-2);
    EXPECT_NEAR(gainOf(Biquad::bandpass(1000.0, 0.5, kSr), 1000.0), 1.0, 1e-3);
    // A new design keeps the running state: a drum's sweep does not click.
    Biquad running = Biquad::lowpass(500.0, 0.7, kSr);
    running.process(1.0);
    const double z1 = running.z1;
    running.setCoefficients(Biquad::highpass(500.0, 0.7, kSr));
    EXPECT_EQ(running.z1, z1);
}
