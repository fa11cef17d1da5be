#include "engine/AudioRenderer.h"

#include <algorithm>

namespace velmo {

void AudioRenderer::render(int frames, float* const* channels, int channelCount, std::uint64_t hostTime) noexcept {
    if (channelCount < 1 || !channels || !channels[0] || frames <= 0) return;
    float* left = channels[0];
    float* right = channelCount >= 2 && channels[1] ? channels[1] : nullptr;
    if (busy_.test_and_set(std::memory_order_acquire)) {
        // Only at a hand-over between the device and the clock thread.
        std::fill_n(left, frames, 0.0f);
        if (right) std::fill_n(right, frames, 0.0f);
        return;
    }
    const double sr = core_->sampleRate();
    for (int offset = 0; offset < frames;) {
        const int n = std::min(scratchFrames, frames - offset);
        const std::uint64_t time =
            hostTime == 0 ? 0 : hostTime + static_cast<std::uint64_t>(offset / sr * EngineCore::hostTicksPerSecond);
        // On one channel the scratch buffer takes every chunk's right half; it is not advanced.
        core_->render(n, left + offset, right ? right + offset : scratch_.data(), time);
        offset += n;
    }
    busy_.clear(std::memory_order_release);
}

} // namespace velmo
