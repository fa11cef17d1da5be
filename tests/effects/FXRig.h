// Helpers for driving one effect processor in tests: a slot with only the named parameters set
// (the rest read as catalog defaults), a processor made and updated through the factory, and
// block-by-block runs over whole signals.
#pragma once

#include "catalog/EffectCatalog.h"
#include "effects/MakeEffect.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

namespace velmo::testing {

inline EffectSlot slotOf(EffectKind kind, std::map<std::string, double> params = {}) {
    return EffectSlot{"fx1", kind, true, std::move(params)};
}

struct Stereo {
    std::vector<float> left, right;

    explicit Stereo(std::size_t frames = 0) : left(frames, 0.0f), right(frames, 0.0f) {}
    std::size_t size() const { return left.size(); }
};

// A constant on both sides.
inline Stereo constant(std::size_t frames, float value) {
    Stereo s(frames);
    std::fill(s.left.begin(), s.left.end(), value);
    std::fill(s.right.begin(), s.right.end(), value);
    return s;
}

inline Stereo sine(std::size_t frames, double hz, double sr, double amplitude = 0.5) {
    Stereo s(frames);
    for (std::size_t i = 0; i < frames; ++i)
        s.left[i] = s.right[i] = static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * hz * double(i) / sr));
    return s;
}

struct FX {
    FX(EffectKind kind, double sr, std::map<std::string, double> params = {}, double tempo = 120)
        : proc(makeEffect(kind, sr)), ctx{sr, tempo}, slot(slotOf(kind, std::move(params))) {
        proc->update(slot, ctx);
    }

    void set(std::map<std::string, double> params, double tempo = 0) {
        for (auto& [k, v] : params) slot.params[k] = v;
        if (tempo > 0) ctx.tempo = tempo;
        proc->update(slot, ctx);
    }

    // Runs the signal through in place, in blocks of `block` frames (the engine's are 32).
    Stereo& run(Stereo& s, int block = 32) {
        for (std::size_t at = 0; at < s.size(); at += static_cast<std::size_t>(block)) {
            const int n = static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(block), s.size() - at));
            proc->process(s.left.data() + at, s.right.data() + at, n);
        }
        return s;
    }
    Stereo run(Stereo&& s, int block = 32) { return std::move(run(s, block)); }

    std::unique_ptr<EffectProcessor> proc;
    RenderContext ctx;
    EffectSlot slot;
};

// Amplitude of the `hz` component of x[from, from + n) (n a whole number of periods).
inline double amplitudeAt(const std::vector<float>& x, std::size_t from, std::size_t n, double hz, double sr) {
    double s = 0, c = 0;
    for (std::size_t i = from; i < from + n; ++i) {
        const double angle = 2.0 * std::numbers::pi * hz * double(i) / sr;
        s += x[i] * std::sin(angle);
        c += x[i] * std::cos(angle);
    }
    return 2.0 * std::hypot(s, c) / double(n);
}

inline double db(double linear) { return 20.0 * std::log10(linear); }

} // namespace velmo::testing
