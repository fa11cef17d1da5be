#include "effects/DelayFX.h"

#include "catalog/EffectCatalog.h"

#include <algorithm>
#include <cmath>

namespace velmo {

DelayFX::DelayFX(double sampleRate)
    : sr_(sampleRate),
      dl_(static_cast<int>(sampleRate * lineSeconds)),
      dr_(static_cast<int>(sampleRate * lineSeconds)) {}

void DelayFX::update(const EffectSlot& slot, const RenderContext& ctx) {
    const double beats = EffectCatalog::value(slot, "time");
    const double seconds = std::min(ctx.tempo > 1.0 ? beats * 60.0 / ctx.tempo : beats * 60.0, maxSeconds);
    target_ = seconds * sr_;
    // Only the first update sets the time outright, so a new delay does not sweep up from 0;
    // later ones leave `current_` to glide, which bends the repeats' pitch on a tempo change.
    if (current_ < 0.0) current_ = target_;
    feedback_ = EffectCatalog::value(slot, "feedback");
    mix_ = EffectCatalog::value(slot, "mix");
    pingpong_ = EffectCatalog::value(slot, "pingpong") >= 0.5; // "0 = stereo, 1 = ping-pong"
    lpL_.setCutoff(1000.0 * std::pow(2.0, EffectCatalog::value(slot, "tone") * 4.0), sr_); // 1 to 16 kHz
    lpR_.a = lpL_.a;
}

void DelayFX::process(float* left, float* right, int frames) {
    for (int i = 0; i < frames; ++i) {
        current_ += (target_ - current_) * glide;
        // Read before write: w - 1 is the last frame written, so a repeat lands `current_` + 1
        // frames after its input.
        const float tapL = tapBehind(dl_, current_);
        const float tapR = tapBehind(dr_, current_);
        // The loop hears the filtered tap, the output the plain one. Nothing clamps the
        // feedback: at 1 only the filters' loss lets the repeats die.
        const double fbL = feedback_ * lpL_.process(tapL);
        const double fbR = feedback_ * lpR_.process(tapR);
        const float inL = left[i];
        const float inR = right[i];
        if (pingpong_) {
            // The mono sum enters on the left; the lines feed each other.
            push(dl_, static_cast<float>(fbR + (double(inL) + inR) * 0.5));
            push(dr_, static_cast<float>(fbL));
        } else {
            push(dl_, static_cast<float>(fbL + inL));
            push(dr_, static_cast<float>(fbR + inR));
        }
        left[i] = static_cast<float>(inL + tapL * mix_);
        right[i] = static_cast<float>(inR + tapR * mix_);
    }
}

void DelayFX::reset() {
    clear(dl_);
    clear(dr_);
    lpL_.y = 0.0;
    lpR_.y = 0.0;
}

} // namespace velmo
