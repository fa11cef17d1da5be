// Aliasing at the top of the keyboard, measured as an ear would meet it: a held note through a
// voice with the filter open, its spectrum, and the strongest component below 16 kHz that is not
// a harmonic, against the strongest harmonic. Folds above 16 kHz are masked and not counted.
#include "support/SignalMeasure.h"

#include "synth/Voice.h"

#include <gtest/gtest.h>

#include <fftw3.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

using namespace velmo;
using namespace velmo::test;

namespace {

constexpr int kFrames = 1 << 16;

// dB of the strongest non-harmonic component from 30 Hz to 16 kHz below the strongest component,
// from a Blackman-Harris spectrum (sidelobes under −92 dB, so leakage never passes for an alias).
double strongestAliasDb(const std::vector<double>& x, double f0) {
    std::vector<double> in(kFrames);
    for (int i = 0; i < kFrames; ++i) {
        const double a = 2.0 * std::numbers::pi * i / kFrames;
        in[i] = x[i] * (0.35875 - 0.48829 * std::cos(a) + 0.14128 * std::cos(2 * a) - 0.01168 * std::cos(3 * a));
    }
    std::vector<fftw_complex> out(kFrames / 2 + 1);
    fftw_plan plan = fftw_plan_dft_r2c_1d(kFrames, in.data(), out.data(), FFTW_ESTIMATE);
    fftw_execute(plan);
    fftw_destroy_plan(plan);
    double strongest = 0.0, alias = 0.0;
    for (int k = 1; k <= kFrames / 2; ++k) {
        const double f = k * kSr / kFrames;
        const double level = std::hypot(out[k][0], out[k][1]);
        strongest = std::max(strongest, level);
        const double harmonic = std::round(f / f0) * f0;
        if (f >= 30.0 && f <= 16000.0 && std::fabs(f - harmonic) > 12.0) alias = std::max(alias, level);
    }
    return 20.0 * std::log10(alias / strongest);
}

std::vector<double> heldNote(const SynthPatch& patch, int pitch) {
    Voice v;
    v.start(pitch, 1.0, 1, 1, patch, kSr);
    const Stereo out = renderStereo(kFrames + 9600, [&](int n, float* l, float* r) { v.render(n, patch, {kSr, 120}, l, r); });
    return slice(out.left, 9600, kFrames);
}

} // namespace

TEST(Aliasing, EveryOscillatorStaysBelowItsTargetAtTheTopOfTheKeyboard) {
    struct Case {
        const char* what;
        std::function<void(SynthPatch&)> set;
        double fundamental = 1.0; // of the note's frequency
    };
    auto analog = [](OscWave wave, double width) {
        return [=](SynthPatch& p) {
            p.analog.osc1.wave = wave;
            p.analog.osc1.pulseWidth = width;
        };
    };
    const Case cases[] = {
        {"analog saw", analog(OscWave::saw, 0.5)},
        {"analog square", analog(OscWave::square, 0.5)},
        {"analog pulse 0.1", analog(OscWave::pulse, 0.1)},
        {"analog triangle", analog(OscWave::triangle, 0.5)},
        {"analog sub", [](SynthPatch& p) { p.analog.osc1.level = 0.0, p.analog.subLevel = 1.0; }, 0.5},
        {"wavetable saw", [](SynthPatch& p) { p.engine = EngineKind::wavetable, p.wavetable.position = 2.0 / 3.0; }},
        {"wavetable pulse", [](SynthPatch& p) { p.engine = EngineKind::wavetable, p.wavetable.table = WavetableKind::pwm; }},
        // Operator 2 at seven times the note, swinging operator 1's phase by 3.6 radians.
        {"fm ratio 7", [](SynthPatch& p) { p.engine = EngineKind::fm, p.fm.ops[1].ratio = 7.0, p.fm.ops[1].level = 0.6; }},
    };
    for (const Case& c : cases) {
        SynthPatch patch;
        patch.filter.type = FilterType::off;
        for (ModSlot& m : patch.mod) m = ModSlot{};
        c.set(patch);
        for (auto [pitch, target] : {std::pair{96, -55.0}, {108, -45.0}}) {
            const double alias = strongestAliasDb(heldNote(patch, pitch), hz(pitch) * c.fundamental);
            EXPECT_LT(alias, target) << c.what << " at note " << pitch;
        }
    }
}
