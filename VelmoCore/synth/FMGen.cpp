#include "synth/FMGen.h"

#include "dsp/RenderContext.h"
#include "dsp/SineTable.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velmo {

namespace {

constexpr std::uint8_t op(int number) { return static_cast<std::uint8_t>(1u << (number - 1)); }

// Modulators of operators 1 to 4, then the carriers.
constexpr std::array<FMGen::Algorithm, FMGen::kAlgorithms> kAlgorithmTable{{
    {{op(2), op(3), op(4), 0}, op(1)},
    {{op(2), op(3) | op(4), 0, 0}, op(1)},
    {{op(2) | op(3), 0, op(4), 0}, op(1)},
    {{op(2), 0, op(4), 0}, op(1) | op(3)},
    {{op(4), op(4), op(4), 0}, op(1) | op(2) | op(3)},
    {{0, 0, op(4), 0}, op(1) | op(2) | op(3)},
    {{op(3), op(3), op(4), 0}, op(1) | op(2)},
    {{0, 0, 0, 0}, op(1) | op(2) | op(3) | op(4)},
}};

constexpr double kDepthPerLevel = 1.6; // cycles of phase swing of a modulator at level 1, full velocity
constexpr double kFeedbackScale = 0.35;

// A hand-edited project file may hold fewer than four operators. The missing ones play as
// silent operators (level 0) instead of stopping the process on the audio thread.
const FMOperator& operatorAt(const FMParams& p, int i) {
    static const FMOperator silent{1.0, 0.0, 0.0, 0.002, 0.6, 1.0, 0.4, 0.5};
    const auto index = static_cast<std::size_t>(i);
    return index < p.ops.size() ? p.ops[index] : silent;
}

EnvelopeParams envelopeOf(const FMOperator& o) { return EnvelopeParams{o.attack, o.decay, o.sustain, o.release}; }

// How many sidebands of a modulation of `swing` radians matter: J_n(swing) falls below −55 dB
// past about swing + 2.5 × cbrt(swing) + 1.
double sidebands(double swing) { return swing <= 0.0 ? 0.0 : swing + 2.5 * std::cbrt(swing) + 1.0; }

// The frames of one block for algorithm A, fixed at compile time so that the modulator sums and
// the carrier tests unroll.
template <int A>
void runFrames(FMGen& g, int n, double norm, double fbAmount, double* out, const float* sine) {
    constexpr FMGen::Algorithm alg = kAlgorithmTable[A];
    for (int i = 0; i < n; ++i) {
        const double fbSignal = fbAmount * (g.fb2 + g.fb1);
        double acc = 0.0;
        for (int k = FMGen::kOps - 1; k >= 0; --k) {
            double pm = 0.0;
            for (int s = 0; s < FMGen::kOps; ++s)
                if (alg.modulators[static_cast<std::size_t>(k)] & (1u << s)) pm += g.out[s] * g.depth[s];
            if (k == FMGen::kOps - 1) pm = fbSignal + pm; // feedback in every algorithm, carrier or not
            const double e = g.env[k].tick();
            const double y = SineTable::lookup(sine, g.phase[k] + pm);
            g.out[k] = e * y; // no level here: it enters through depth or gain
            if (alg.carriers & (1u << k)) acc += g.out[k] * g.gain[k];
            double next = g.phase[k] + g.inc[k];
            if (next >= 1.0) next = next - std::floor(next);
            g.phase[k] = next;
        }
        g.fb2 = g.fb1;
        g.fb1 = g.out[FMGen::kOps - 1];
        out[i] = norm * acc;
    }
}

} // namespace

const std::array<FMGen::Algorithm, FMGen::kAlgorithms> FMGen::algorithms = kAlgorithmTable;

int FMGen::algorithmIndex(double algorithm) {
    return static_cast<int>(std::clamp(algorithm, 1.0, static_cast<double>(kAlgorithms))) - 1;
}

void FMGen::start(double noteVelocity, const FMParams& p, double sr, bool retrigger) {
    velocity = noteVelocity;
    for (int i = 0; i < kOps; ++i) {
        if (retrigger) phase[i] = 0.0;
        env[i].configure(envelopeOf(operatorAt(p, i)), sr);
        env[i].trigger(); // from the present value: a note into a sounding voice does not drop
    }
    if (retrigger) {
        fb1 = 0.0;
        fb2 = 0.0;
        factor = 1;
    }
}

void FMGen::release() {
    for (ADSR& e : env) e.startRelease();
}

void FMGen::clear() {
    for (ADSR& e : env) e.silence();
    out = {};
    fb1 = fb2 = 0.0;
    for (HalfBandDecimator& d : decimators) d.reset();
}

int FMGen::oversamplingFor(const Algorithm& alg, const std::array<double, kOps>& inc,
                           const std::array<double, kOps>& depth, const std::array<double, kOps>& gain,
                           double fbAmount) {
    // Each operator's reach, from operator 4 down: its own frequency plus, for every modulator,
    // as many of the modulator's reaches as it makes sidebands. Feedback (two samples summed)
    // makes operator 4 a harmonic series of its own frequency.
    std::array<double, kOps> reach{};
    double highest = 0.0;
    for (int k = kOps - 1; k >= 0; --k) {
        const auto i = static_cast<std::size_t>(k);
        double r = inc[i];
        if (k == kOps - 1) r += sidebands(2.0 * std::numbers::pi * 2.0 * std::fabs(fbAmount)) * inc[i];
        for (int s = k + 1; s < kOps; ++s)
            if (alg.modulators[i] & (1u << s)) r += sidebands(2.0 * std::numbers::pi * depth[static_cast<std::size_t>(s)]) * reach[static_cast<std::size_t>(s)];
        reach[i] = r;
        if ((alg.carriers & (1u << k)) && gain[i] > 0.0) highest = std::max(highest, r);
    }
    if (highest <= 2.0 / 3.0) return 1; // folds land above 16 kHz
    for (int factor = 2; factor < kMaxOversampling; factor *= 2)
        if (highest <= factor - 0.65) return factor; // folds land in the decimators' stop band
    return kMaxOversampling;
}

void FMGen::render(int n, double freq, const ModValues& m, const FMParams& p, double sr, float* outL, float* outR) {
    const int index = algorithmIndex(p.algorithm);
    double scale = 1.0 + m.fmAmount;
    if (scale < 0.0) scale = 0.0;
    for (int i = 0; i < kOps; ++i) {
        const FMOperator& o = operatorAt(p, i);
        inc[i] = freq * o.ratio * std::exp2(o.detune / 1200.0) / sr;
        const double vg = (1.0 - o.velocity) + velocity * o.velocity; // 0 none, 1 full sensitivity
        depth[i] = scale * (o.level * o.level * kDepthPerLevel * vg);
        gain[i] = o.level * vg;
    }
    const Algorithm& alg = algorithms[static_cast<std::size_t>(index)];
    int carriers = 0;
    for (int i = 0; i < kOps; ++i) {
        isCarrier[i] = (alg.carriers >> i) & 1u;
        carriers += isCarrier[i] ? 1 : 0;
    }
    const double norm = 1.0 / std::sqrt(static_cast<double>(carriers));
    const double fbAmount = p.feedback * kFeedbackScale;

    // The envelopes tick once per frame of the rate the operators run at.
    factor = std::max(factor, oversamplingFor(alg, inc, depth, gain, fbAmount));
    for (int i = 0; i < kOps; ++i) {
        env[i].configure(envelopeOf(operatorAt(p, i)), sr * factor); // rates only: edits reach a held note at once
        inc[i] /= factor;
    }
    double buf[kBlockFrames * kMaxOversampling];
    const int frames = n * factor;
    const float* sine = SineTable::ptr();
    switch (index) {
    case 0: runFrames<0>(*this, frames, norm, fbAmount, buf, sine); break;
    case 1: runFrames<1>(*this, frames, norm, fbAmount, buf, sine); break;
    case 2: runFrames<2>(*this, frames, norm, fbAmount, buf, sine); break;
    case 3: runFrames<3>(*this, frames, norm, fbAmount, buf, sine); break;
    case 4: runFrames<4>(*this, frames, norm, fbAmount, buf, sine); break;
    case 5: runFrames<5>(*this, frames, norm, fbAmount, buf, sine); break;
    case 6: runFrames<6>(*this, frames, norm, fbAmount, buf, sine); break;
    default: runFrames<7>(*this, frames, norm, fbAmount, buf, sine); break;
    }
    // 8× takes all three stages, 4× the last two, 2× the last one.
    for (int f = factor, stage = factor == 8 ? 0 : factor == 4 ? 1 : 2; f > 1; f /= 2, ++stage)
        decimators[static_cast<std::size_t>(stage)].process(buf, buf, n * f / 2);
    for (int i = 0; i < n; ++i) {
        const float s = static_cast<float>(buf[i]);
        outL[i] = s;
        outR[i] = s;
    }
}

} // namespace velmo
