// What the device callback and the clock thread call to render the core into the buffers they
// are given: the chunking to the scratch buffer's size with rising host times, the one-channel
// fallback, and the gate that keeps two threads from ever rendering the core at once.
#pragma once

#include "engine/EngineCore.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

namespace velmo {

// Called on whichever thread renders; shared by the host, the device and the clock thread, so a
// late callback finds everything alive whatever the order of teardown.
class AudioRenderer {
public:
    static constexpr int scratchFrames = 8192; // 32 KB of floats

    explicit AudioRenderer(std::shared_ptr<EngineCore> core) : core_(std::move(core)) {}

    EngineCore& core() const { return *core_; }
    const std::shared_ptr<EngineCore>& sharedCore() const { return core_; }

    // Fills `frames` frames of the non-interleaved `channels` (the first two are written; with one
    // channel the right is rendered into the scratch buffer and thrown away). `hostTime` is the
    // steady-clock time of the first frame in nanoseconds, or 0 when unknown. While another
    // thread renders, this one writes silence instead of waiting. Never allocates or throws.
    void render(int frames, float* const* channels, int channelCount, std::uint64_t hostTime) noexcept;

private:
    std::shared_ptr<EngineCore> core_;
    std::array<float, scratchFrames> scratch_{};
    std::atomic_flag busy_; // set while a thread renders
};

} // namespace velmo
