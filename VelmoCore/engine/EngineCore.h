// The real-time heart: one entry point, `render`, that fills two float buffers with the next
// frames of the song. The device callback and the offline renderer both call it, so what is
// heard and what is exported come from one code path. The control side reaches it only through
// the command list (`send`) and the published status (`status`), each behind a short lock that
// the audio thread only ever tries.
#pragma once

#include "effects/EffectChain.h"
#include "engine/CompiledProject.h"
#include "engine/EngineCommand.h"
#include "engine/EngineStatus.h"
#include "engine/Limiter.h"
#include "engine/MixAnalysis.h"
#include "dsp/Biquad.h"
#include "dsp/RenderContext.h"
#include "engine/TrackProcessor.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace velmo {

class MIDISender;

// Audio thread only, except `send` and `status`, which the control side calls. The offline
// renderer, which owns a private core, calls `handle`, `resetAnalysis` and `analysisResult`
// directly on its own thread.
class EngineCore {
public:
    static constexpr int blockFrames = 32;          // the control period of the whole engine
    static constexpr std::size_t scopeSize = EngineStatus::scopeSize;
    static constexpr double meterDecay = 0.995;     // per block
    static constexpr std::size_t auditionCapacity = 256;

    // Builds everything for a fixed `sampleRate`; nothing plays until a project is loaded.
    explicit EngineCore(double sampleRate);
    ~EngineCore();
    EngineCore(const EngineCore&) = delete;
    EngineCore& operator=(const EngineCore&) = delete;

    // Control side. Appends under the command lock; waits at most for another append or the
    // audio thread's swap. Takes effect at the next callback.
    void send(EngineCommand command);
    // Control side. A copy of the last published snapshot.
    EngineStatus status() const;

    // Audio thread. Writes `frames` floats to each buffer. `hostTime` is the host clock time of
    // the buffer in nanoseconds, or 0 when no device is involved. Never waits on a lock (except
    // once when a command applies a project), never throws, allocates only to apply a project.
    void render(int frames, float* left, float* right, std::uint64_t hostTime);

    // Carries out one command at once. Audio thread, or the owner of a private core.
    void handle(EngineCommand command);

    void resetAnalysis();
    MixAnalysis analysisResult() const;

    double sampleRate() const { return sampleRate_; }
    // Audio-thread state, for the owner of a private core and for tests.
    bool playing() const { return playing_; }
    double beat() const { return beat_; }
    const Limiter& limiter() const { return limiter_; }
    const std::vector<std::unique_ptr<TrackProcessor>>& tracks() const { return tracks_; }
    TrackProcessor* track(const std::string& id) const;
    const EffectChain& masterEffects() const { return masterFX_; }
    std::size_t auditionCount() const { return auditions_.size(); }
    std::int64_t clippedFrames() const { return anClipped_; }

private:
    // Lets a test hold the two locks as a slow control side would, to show render never waits.
    friend struct EngineCoreLockProbe;

    struct AuditionEntry {
        std::string track;
        std::int64_t startIn;    // frames until it starts
        int pitch;
        double velocity;
        std::int64_t durSamples; // frames it lasts, counted from its start once started
        std::int64_t tag;                 // 0 not started, -1 no such track, else the note's tag
    };

    void drainCommands();
    void apply(std::shared_ptr<const CompiledProject> project);
    void advanceSequencer(int n, const RenderContext& ctx, double beatsPerSample);
    void processAuditions(int n, const RenderContext& ctx);
    void publishStatus();
    void seekTracks();
    void setSenderTime(std::uint64_t hostTime, double offsetSeconds);
    RenderContext context() const { return {sampleRate_, tempo_}; }

    const double sampleRate_;
    std::shared_ptr<const CompiledProject> project_;
    std::vector<std::unique_ptr<TrackProcessor>> tracks_;
    std::map<std::string, TrackProcessor*, std::less<>> trackMap_;
    EffectChain masterFX_;
    bool playing_ = false;
    double beat_ = 0;
    double tempo_ = 120;
    double masterGain_ = 1;
    Limiter limiter_;
    std::vector<AuditionEntry> auditions_;

    mutable std::mutex commandsLock_;
    std::vector<EngineCommand> commands_;  // guarded by commandsLock_
    std::vector<EngineCommand> draining_;  // audio thread: the list swapped out of commands_
    mutable std::mutex statusLock_;
    EngineStatus status_;                  // guarded by statusLock_

    std::array<float, blockFrames> busL_{};
    std::array<float, blockFrames> busR_{};
    float masterPeak_ = 0;
    std::array<float, scopeSize> scopeRing_{};
    std::size_t scopeW_ = 0;

    bool analyzing_ = false;
    double anSumSq_ = 0;
    double anPeak_ = 0;
    std::int64_t anCount_ = 0;
    std::int64_t anClipped_ = 0;
    double anMaxGR_ = 0;
    std::array<Biquad, 3> anBands_;
    std::array<double, 3> anBandSq_{};

    std::shared_ptr<MIDISender> midiSender_;
    double outputLatency_ = 0;
    static constexpr double hostTicksPerSecond = 1e9; // steady_clock nanoseconds
};

} // namespace velmo
