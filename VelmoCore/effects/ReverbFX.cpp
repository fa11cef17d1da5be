#include "effects/ReverbFX.h"

#include "catalog/EffectCatalog.h"

#include <algorithm>
#include <utility>

namespace velmo {

namespace {

template <std::size_t N>
std::array<int, N> scaled(const std::array<int, N>& tuning, double sampleRate, bool right) {
    const double scale = sampleRate / ReverbFX::tuningRate;
    std::array<int, N> lengths{};
    for (std::size_t k = 0; k < N; ++k)
        lengths[k] = static_cast<int>(scale * (tuning[k] + (right ? ReverbFX::stereoSpread : 0)));
    return lengths;
}

template <class Stage, std::size_t N>
std::array<Stage, N> makeStages(const std::array<int, N>& lengths) {
    return [&]<std::size_t... K>(std::index_sequence<K...>) {
        return std::array<Stage, N>{Stage{DelayLine(lengths[K])}...};
    }(std::make_index_sequence<N>{});
}

// Frames per inner pass: the combs run stage by stage over a chunk, which keeps one line's
// memory hot at a time, and add into the chunk's wet sums in the same order as frame by frame.
constexpr int chunk = 64;

void runCombs(std::array<ReverbFX::Comb, ReverbFX::combCount>& combs, const float* input, float* wet, int n,
              float fb, float damp) {
    const float keep = 1.0f - damp;
    std::fill_n(wet, n, 0.0f);
    for (auto& comb : combs) {
        float* buf = comb.d.buf.data();
        int w = comb.d.w;
        const int size = comb.d.size;
        float store = comb.store;
        for (int i = 0; i < n; ++i) {
            const float o = buf[w];
            store = keep * o + damp * store;
            buf[w] = input[i] + fb * store;
            if (++w == size) w = 0;
            wet[i] += o;
        }
        comb.d.w = w;
        comb.store = store;
    }
}

void runAllpasses(std::array<ReverbFX::Allpass, ReverbFX::allpassCount>& allpasses, float* wet, int n) {
    for (auto& ap : allpasses) {
        float* buf = ap.d.buf.data();
        int w = ap.d.w;
        const int size = ap.d.size;
        for (int i = 0; i < n; ++i) {
            const float o = buf[w];
            buf[w] = wet[i] + o * 0.5f;
            if (++w == size) w = 0;
            wet[i] = o - wet[i];
        }
        ap.d.w = w;
    }
}

} // namespace

std::array<int, ReverbFX::combCount> ReverbFX::combLengths(double sampleRate, bool right) {
    return scaled(combTuning, sampleRate, right);
}

std::array<int, ReverbFX::allpassCount> ReverbFX::allpassLengths(double sampleRate, bool right) {
    return scaled(allpassTuning, sampleRate, right);
}

ReverbFX::ReverbFX(double sampleRate)
    : combsL_(makeStages<Comb>(combLengths(sampleRate, false))),
      combsR_(makeStages<Comb>(combLengths(sampleRate, true))),
      apL_(makeStages<Allpass>(allpassLengths(sampleRate, false))),
      apR_(makeStages<Allpass>(allpassLengths(sampleRate, true))) {}

void ReverbFX::update(const EffectSlot& slot, const RenderContext&) {
    // The lines keep their contents: after a change of size the old tail rings on at the new
    // feedback.
    fb_ = static_cast<float>(EffectCatalog::value(slot, "size") * 0.28 + 0.7);
    damp_ = static_cast<float>(EffectCatalog::value(slot, "damping") * 0.4);
    const double width = EffectCatalog::value(slot, "width");
    wet1_ = static_cast<float>(width * 0.5 + 0.5);
    wet2_ = static_cast<float>((1.0 - width) * 0.5);
    mix_ = static_cast<float>(EffectCatalog::value(slot, "mix"));
}

void ReverbFX::process(float* left, float* right, int frames) {
    constexpr float inputGain = 0.015f; // the combs' sum is loud; the output's factor 3 restores it
    constexpr float outputGain = 3.0f;
    const float dry = 1.0f - mix_;
    const float wet = mix_ * outputGain;
    std::array<float, chunk> input{}, wetL{}, wetR{};
    for (int offset = 0; offset < frames; offset += chunk) {
        const int n = std::min(chunk, frames - offset);
        float* l = left + offset;
        float* r = right + offset;
        for (int i = 0; i < n; ++i) input[static_cast<std::size_t>(i)] = (l[i] + r[i]) * inputGain;
        runCombs(combsL_, input.data(), wetL.data(), n, fb_, damp_);
        runCombs(combsR_, input.data(), wetR.data(), n, fb_, damp_);
        runAllpasses(apL_, wetL.data(), n);
        runAllpasses(apR_, wetR.data(), n);
        for (int i = 0; i < n; ++i) {
            const float wl = wetL[static_cast<std::size_t>(i)];
            const float wr = wetR[static_cast<std::size_t>(i)];
            l[i] = l[i] * dry + (wl * wet1_ + wr * wet2_) * wet;
            r[i] = r[i] * dry + (wr * wet1_ + wl * wet2_) * wet;
        }
    }
}

void ReverbFX::reset() {
    for (auto* combs : {&combsL_, &combsR_})
        for (Comb& c : *combs) {
            clear(c.d);
            c.store = 0.0f;
        }
    for (auto* allpasses : {&apL_, &apR_})
        for (Allpass& a : *allpasses) clear(a.d);
}

} // namespace velmo
