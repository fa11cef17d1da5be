// The real-time heart: one entry point, `render`, that fills two float buffers with the next
// frames of the song. The device callback and the offline renderer both call it, so what is
// heard and what is exported come from one code path. The control side reaches it only through
// the command queue (`send`), which needs no lock, and the published status (`status`), behind a
// short lock that the audio thread only ever tries. The audio thread never waits, allocates or
// frees: a load is built on the control side, and what the audio thread lets go returns there.
#pragma once

#include "effects/EffectChain.h"
#include "engine/CommandQueue.h"
#include "engine/CompiledProject.h"
#include "engine/EngineCommand.h"
#include "engine/EngineStatus.h"
#include "engine/Limiter.h"
#include "engine/MixAnalysis.h"
#include "engine/MixMeter.h"
#include "dsp/Biquad.h"
#include "dsp/GainRamp.h"
#include "dsp/RenderContext.h"
#include "engine/TrackProcessor.h"

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace velmo {

class MIDISender;

// Audio thread only (the one thread that renders it), except `send`, `status` and
// `releaseRetired`, which the control side calls. The offline renderer, which owns a private core,
// calls `handle`, `resetAnalysis` and `analysisResult` directly on its own thread.
class EngineCore {
public:
    static constexpr std::size_t scopeSize = EngineStatus::scopeSize;
    static constexpr double meterDecay = 0.995;     // per block
    static constexpr std::size_t auditionCapacity = 256;
    static constexpr double hostTicksPerSecond = 1e9; // host time is steady_clock nanoseconds

    // Builds everything for a fixed `sampleRate`; nothing plays until a project is loaded.
    explicit EngineCore(double sampleRate);
    ~EngineCore();
    EngineCore(const EngineCore&) = delete;
    EngineCore& operator=(const EngineCore&) = delete;

    // Control side. Queues the command for the next callback; for a load, first builds
    // everything applying it needs. Then frees what the audio thread has let go. Waits only for
    // another control-side sender.
    void send(EngineCommand command);
    // Control side. A copy of the last published snapshot.
    EngineStatus status() const;
    // Control side. Frees what the audio thread has let go (replaced projects, processors of
    // deleted tracks, carried-out commands). `send` does it too; a status poll calls it so that
    // nothing lingers between edits.
    void releaseRetired();

    // Audio thread. Writes `frames` floats to each buffer. `hostTime` is the host clock time of
    // the buffer in nanoseconds, or 0 when no device is involved. Carries out the queued commands
    // first. Never waits on a lock, never throws, never allocates or frees.
    void render(int frames, float* left, float* right, std::uint64_t hostTime);

    // For the owner of a private core, which is both its control side and its audio thread:
    // carries out everything sent so far and then `command`, at once, and publishes the status.
    void handle(EngineCommand command);

    // Starts measuring: levels, bands and clipping here, loudness and the tracks' shares in a
    // MixMeter made now for the tracks loaded now. Allocates; the owner of a private core calls it.
    void resetAnalysis();
    // The measurement so far. Loudness windows still buffered are measured first, so it is not const.
    MixAnalysis analysisResult();

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
    std::int64_t nonFiniteBlocks() const { return nonFiniteBlocks_; }

private:
    // Lets a test hold the two locks as a slow control side would, to show render never waits.
    friend struct EngineCoreLockProbe;

    struct AuditionEntry {
        // Found when the audition arrives, so that no text is copied on the audio thread; none
        // when the track is unknown or has been deleted since.
        TrackProcessor* track;
        std::int64_t startIn;    // frames until it starts
        int pitch;
        double velocity;
        std::int64_t durSamples; // frames it lasts, counted from its start once started
        std::int64_t tag;                 // 0 not started, -1 no such track, else the note's tag
    };

    void drainCommands();
    // Carries out one command. False when the core keeps the item for now (a load whose track
    // list is not yet published); otherwise the caller retires it.
    bool execute(CommandQueue::Item& item);
    void apply(PreparedLoad& load);
    void advanceSequencer(int n, const RenderContext& ctx, double beatsPerSample);
    void processAuditions(int n, const RenderContext& ctx);
    void publishStatus();
    void seekTracks();
    void setSenderTime(std::uint64_t hostTime, double offsetSeconds);
    RenderContext context() const { return {sampleRate_, tempo_}; }

    const double sampleRate_;
    std::shared_ptr<const CompiledProject> project_;
    std::vector<std::unique_ptr<TrackProcessor>> tracks_;
    EffectChain masterFX_;
    bool playing_ = false;
    double beat_ = 0;
    double tempo_ = 120;
    double masterGain_ = 1;
    GainRamp masterRamp_;     // the master gain, glided to masterGain_ once a project is on
    bool masterSet_ = false;  // the first project's gain is taken at once
    std::int64_t nonFiniteBlocks_ = 0;
    Limiter limiter_;
    std::vector<AuditionEntry> auditions_;

    CommandQueue queue_;
    std::mutex sendLock_; // control side: preparing a load and queueing it are one step
    // Control side, under sendLock_: the project of the last load sent, which the audio thread
    // will be playing by the time it reaches the next one.
    std::shared_ptr<const CompiledProject> sentProject_;
    // Audio thread: the last applied load, kept until its track list is published.
    CommandQueue::Item* unpublished_ = nullptr;
    mutable std::mutex statusLock_;
    EngineStatus status_; // guarded by statusLock_

    std::array<float, kBlockFrames> busL_{};
    std::array<float, kBlockFrames> busR_{};
    float masterPeak_ = 0;
    std::array<float, scopeSize> scopeRing_{};
    std::size_t scopeW_ = 0;

    bool analyzing_ = false;
    double anSumSq_ = 0;
    double anPeak_ = 0;
    std::int64_t anCount_ = 0;
    std::int64_t anClipped_ = 0;
    double anMaxGR_ = 0;
    std::array<Biquad, 4> anBands_;
    std::array<double, 4> anBandSq_{};
    double anMonoSq_ = 0; // the whole band the analysis bands are cut from
    std::unique_ptr<MixMeter> meter_; // only while measuring

    std::shared_ptr<MIDISender> midiSender_;
    double outputLatency_ = 0;
};

} // namespace velmo
