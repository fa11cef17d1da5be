#include "engine/EngineCore.h"

#include "base/Decibels.h"
#include "base/Precondition.h"
#include "dsp/ScopedFlushToZero.h"
#include "midi/MIDISender.h"
#include "synth/WavetableBank.h"

#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr double masterGlideSeconds = 0.01; // a master volume change glides this long

bool finite(const std::array<float, kBlockFrames>& l, const std::array<float, kBlockFrames>& r,
            int n) {
    for (int i = 0; i < n; ++i)
        if (!std::isfinite(l[i]) || !std::isfinite(r[i])) return false;
    return true;
}

} // namespace

EngineCore::EngineCore(double sampleRate)
    : sampleRate_(sampleRate),
      limiter_(sampleRate),
      anBands_(analysisBands(sampleRate)) {
    auditions_.reserve(auditionCapacity);
    // A voice that starts on the audio thread must find the wavetable bank built, not build it
    // (milliseconds) in the middle of a block.
    WavetableBank::prepare();
}

EngineCore::~EngineCore() {
    if (unpublished_) queue_.retire(unpublished_);
}

void EngineCore::send(EngineCommand command) {
    auto item = std::make_unique<CommandQueue::Item>();
    {
        std::lock_guard lock(sendLock_);
        if (auto* load = std::get_if<EngineCommand::Load>(&command.payload); load && load->project) {
            item->load = PreparedLoad::make(load->project, sentProject_.get(), sampleRate_);
            sentProject_ = load->project;
        }
        item->command = std::move(command);
        queue_.push(std::move(item));
    }
    releaseRetired();
}

void EngineCore::releaseRetired() { queue_.freeRetired(); }

void EngineCore::handle(EngineCommand command) {
    send(std::move(command));
    drainCommands();
    publishStatus();
    releaseRetired();
}

EngineStatus EngineCore::status() const {
    std::lock_guard lock(statusLock_);
    return status_;
}

TrackProcessor* EngineCore::track(const std::string& id) const {
    // A walk, not a map: a map would have to be built on the audio thread at every load.
    for (const auto& t : tracks_)
        if (t->id() == id) return t.get();
    return nullptr;
}

void EngineCore::setSenderTime(std::uint64_t hostTime, double offsetSeconds) {
    if (hostTime == 0) {
        midiSender_->setTime(0); // "now" to the writer
        return;
    }
    midiSender_->setTime(hostTime + static_cast<std::uint64_t>((offsetSeconds + outputLatency_) * hostTicksPerSecond));
}

void EngineCore::render(int frames, float* left, float* right, std::uint64_t hostTime) {
    ScopedFlushToZero denormalGuard;
    if (midiSender_) setSenderTime(hostTime, 0);
    drainCommands();

    if (frames >= 1) {
        const double sr = sampleRate_;
        const RenderContext ctx = context();
        const double beatsPerSample = tempo_ / 60.0 / sr;
        for (int offset = 0; offset < frames;) {
            const int n = std::min(kBlockFrames, frames - offset);
            if (midiSender_ && hostTime != 0) setSenderTime(hostTime, offset / sr);
            if (playing_) advanceSequencer(n, ctx, beatsPerSample);
            processAuditions(n, ctx);
            std::fill_n(busL_.begin(), n, 0.0f);
            std::fill_n(busR_.begin(), n, 0.0f);
            bool nonFinite = false;
            for (auto& t : tracks_) nonFinite |= t->renderBlock(n, ctx, busL_.data(), busR_.data(), analyzing_);
            // Finite tracks can still add up past the float range; the master effects, and the
            // output, never see that.
            if (!finite(busL_, busR_, n)) {
                nonFinite = true;
                std::fill_n(busL_.begin(), n, 0.0f);
                std::fill_n(busR_.begin(), n, 0.0f);
            }
            masterFX_.process(busL_.data(), busR_.data(), n);
            if (!finite(busL_, busR_, n)) {
                nonFinite = true;
                masterFX_.reset(); // or its delay and reverb lines would mute the master for good
                std::fill_n(busL_.begin(), n, 0.0f);
                std::fill_n(busR_.begin(), n, 0.0f);
            }
            if (nonFinite) ++nonFiniteBlocks_;

            // The master gain glides, so a master volume move makes no zipper noise.
            if (masterSet_) {
                masterRamp_.moveTo(masterGain_, static_cast<int>(masterGlideSeconds * sr));
            } else {
                masterRamp_.jumpTo(masterGain_);
                masterSet_ = project_ != nullptr;
            }
            float blockPeak = 0;
            double lowestGain = 1;
            for (int i = 0; i < n; ++i) {
                const float g = static_cast<float>(masterRamp_.next());
                const float l = busL_[i] * g;
                const float r = busR_[i] * g;
                if (analyzing_) {
                    const double mono = (double(l) + double(r)) * 0.5;
                    anMonoSq_ += mono * mono;
                    for (std::size_t k = 0; k < anBands_.size(); ++k) {
                        const double y = anBands_[k].process(mono);
                        anBandSq_[k] += y * y;
                    }
                    if (std::fabs(l) > 1.0f || std::fabs(r) > 1.0f) ++anClipped_;
                    busL_[i] = l; // what reaches the limiter, for the meter
                    busR_[i] = r;
                }
                const double gain = limiter_.next(l, r);
                lowestGain = std::min(lowestGain, gain);
                // The clamp is the last guard; nothing after it touches the signal.
                const float outL = std::clamp(static_cast<float>(l * gain), -1.0f, 1.0f);
                const float outR = std::clamp(static_cast<float>(r * gain), -1.0f, 1.0f);
                left[offset + i] = outL;
                right[offset + i] = outR;
                const float framePeak = std::max(std::fabs(outL), std::fabs(outR));
                blockPeak = std::max(blockPeak, framePeak);
                scopeRing_[scopeW_] = (outL + outR) * 0.5f;
                scopeW_ = (scopeW_ + 1) % scopeSize;
                if (analyzing_) {
                    anSumSq_ += (double(outL) * outL + double(outR) * outR) * 0.5;
                    anPeak_ = std::max(anPeak_, double(framePeak));
                }
            }
            if (analyzing_) {
                // The deepest reduction of the block is that of its lowest gain: one log per block.
                anMaxGR_ = std::max(anMaxGR_, -gainToDb(lowestGain));
                anCount_ += n;
                if (meter_) meter_->block(n, tracks_, busL_.data(), busR_.data(), left + offset, right + offset);
            }
            masterPeak_ = std::max(masterPeak_ * static_cast<float>(meterDecay), blockPeak);
            offset += n;
        }
    }
    publishStatus();
}

void EngineCore::drainCommands() {
    for (CommandQueue::Item* item = queue_.takeAll(); item;) {
        CommandQueue::Item* next = item->next; // retiring relinks the item
        if (execute(*item)) queue_.retire(item);
        item = next;
    }
}

void EngineCore::publishStatus() {
    std::unique_lock lock(statusLock_, std::try_to_lock);
    if (!lock.owns_lock()) return; // the control side is copying: skip this round
    status_.playing = playing_;
    status_.beat = beat_;
    status_.masterPeak = masterPeak_;
    status_.nonFiniteBlocks = nonFiniteBlocks_;
    for (std::size_t i = 0; i < scopeSize; ++i) status_.scope[i] = scopeRing_[(scopeW_ + i) % scopeSize];
    if (unpublished_) {
        // The lists were built with the load; the old ones leave with it. Peaks read zeros until
        // the next round.
        status_.trackIDs.swap(unpublished_->load->trackIDs);
        status_.trackPeaks.swap(unpublished_->load->trackPeaks);
        queue_.retire(unpublished_);
        unpublished_ = nullptr;
        return;
    }
    if (status_.trackPeaks.size() == tracks_.size())
        for (std::size_t i = 0; i < tracks_.size(); ++i) status_.trackPeaks[i] = tracks_[i]->peak();
}

void EngineCore::advanceSequencer(int n, const RenderContext& ctx, double beatsPerSample) {
    if (!project_) return;
    const CompiledProject& p = *project_;
    double end = beat_ + n * beatsPerSample;
    if (p.loopEnabled && beat_ < p.loopEnd && p.loopEnd <= end) {
        for (auto& t : tracks_) t->schedule(beat_, p.loopEnd, ctx);
        for (auto& t : tracks_) t->endPendingNotes(); // all notes of the pass end at the wrap
        end = end - p.loopEnd + p.loopStart;
        for (auto& t : tracks_) {
            t->seek(p.loopStart);
            t->schedule(p.loopStart, end, ctx);
        }
    } else {
        for (auto& t : tracks_) t->schedule(beat_, end, ctx);
    }
    beat_ = end;
    // The transport stops by itself only once the last note has ended; a song shorter than one
    // beat runs for one beat.
    if (!p.loopEnabled && end > std::max(p.songEnd, 1.0) + 0.001) {
        bool pending = std::any_of(tracks_.begin(), tracks_.end(), [](const auto& t) { return t->hasPendingOffs(); });
        if (!pending) playing_ = false;
    }
}

void EngineCore::processAuditions(int n, const RenderContext& ctx) {
    for (std::size_t i = 0; i < auditions_.size();) {
        AuditionEntry& a = auditions_[i];
        if (a.tag == 0) {
            if (a.startIn >= n) {
                a.startIn -= n;
                ++i;
                continue;
            }
            a.tag = a.track ? a.track->noteOn(a.pitch, a.velocity, ctx) : -1;
            a.durSamples += a.startIn;
        }
        a.durSamples -= n;
        if (a.durSamples > 0) {
            ++i;
            continue;
        }
        if (a.tag >= 1 && a.track) a.track->noteOff(a.tag);
        auditions_.erase(auditions_.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

void EngineCore::seekTracks() {
    for (auto& t : tracks_) {
        t->endPendingNotes();
        t->seek(beat_);
    }
}

bool EngineCore::execute(CommandQueue::Item& item) {
    bool keep = false;
    std::visit(
        [&](auto& c) {
            using C = std::decay_t<decltype(c)>;
            if constexpr (std::is_same_v<C, EngineCommand::Load>) {
                if (!item.load) return;
                apply(*item.load);
                // The load stays until its track list is published; one that never was is
                // superseded by this one.
                if (unpublished_) queue_.retire(unpublished_);
                unpublished_ = &item;
                keep = true;
            } else if constexpr (std::is_same_v<C, EngineCommand::Seek>) {
                beat_ = std::max(c.beat, 0.0);
                seekTracks(); // voices of live keys are left alone
            } else if constexpr (std::is_same_v<C, EngineCommand::NoteOn>) {
                if (TrackProcessor* t = track(c.track)) t->noteOn(c.pitch, c.velocity, context());
            } else if constexpr (std::is_same_v<C, EngineCommand::NoteOff>) {
                if (TrackProcessor* t = track(c.track)) t->noteOffPitch(c.pitch);
            } else if constexpr (std::is_same_v<C, EngineCommand::Audition>) {
                TrackProcessor* t = track(c.track);
                for (const auto& note : c.notes) {
                    // The list has room for auditionCapacity notes; growing it here would
                    // allocate on the audio thread, so notes beyond the room are dropped.
                    if (auditions_.size() == auditionCapacity) break;
                    auditions_.push_back({t, static_cast<std::int64_t>(sampleRate_ * note.offset), note.pitch,
                                          note.velocity, static_cast<std::int64_t>(sampleRate_ * note.duration), 0});
                }
            } else if constexpr (std::is_same_v<C, EngineCommand::AttachMIDI>) {
                std::swap(midiSender_, c.sender); // the previous writer leaves with the command
                outputLatency_ = c.latency;
                for (auto& t : tracks_) t->setMIDISender(midiSender_.get());
            } else if constexpr (std::is_same_v<C, EngineCommand::Play>) {
                if (playing_) return;
                playing_ = true;
                seekTracks();
            } else if constexpr (std::is_same_v<C, EngineCommand::Stop>) {
                playing_ = false;
                for (auto& t : tracks_) t->allNotesOff();
            } else if constexpr (std::is_same_v<C, EngineCommand::Panic>) {
                auditions_.clear();
                for (auto& t : tracks_) {
                    t->allNotesOff();
                    t->hardStopVoices();
                }
            }
        },
        item.command.payload);
    return !keep;
}

void EngineCore::apply(PreparedLoad& load) {
    // The load takes the previous project away with it, so nothing is freed here.
    std::swap(project_, load.project);
    tempo_ = project_->tempo;
    masterGain_ = project_->masterGain; // render glides to it
    const RenderContext ctx = context();

    std::vector<std::unique_ptr<TrackProcessor>>& next = load.tracks;
    for (std::size_t i = 0; i < next.size(); ++i) {
        const CompiledTrack& ct = project_->tracks[i];
        if (!next[i]) {
            for (auto& running : tracks_) {
                if (running && running->id() == ct.id) {
                    next[i] = std::move(running);
                    break;
                }
            }
        }
        // A load is prepared for exactly the tracks the core will be running.
        VELMO_PRECONDITION(next[i] != nullptr, "EngineCore::apply");
        next[i]->setMIDISender(midiSender_.get());
        // The track shares the project's lifetime, so the processor keeps the whole project alive.
        next[i]->load(std::shared_ptr<const CompiledTrack>(project_, &ct), load.trackEffects[i], ctx, beat_);
    }
    // A deleted track stops at once, and no MIDI note of it hangs; its auditions fall silent.
    for (auto& dropped : tracks_) {
        if (!dropped) continue;
        dropped->flushMIDI(false);
        for (AuditionEntry& a : auditions_)
            if (a.track == dropped.get()) a.track = nullptr;
    }
    tracks_.swap(next); // the dropped processors leave with the load
    masterFX_.swapIn(load.masterEffects, project_->masterEffects, ctx);
}

void EngineCore::resetAnalysis() {
    analyzing_ = true;
    anSumSq_ = 0;
    anPeak_ = 0;
    anCount_ = 0;
    anClipped_ = 0;
    anMaxGR_ = 0;
    anBandSq_ = {};
    anMonoSq_ = 0;
    for (auto& t : tracks_) t->resetAnalysis();
    meter_ = std::make_unique<MixMeter>(sampleRate_, tracks_.size());
}

MixAnalysis EngineCore::analysisResult() {
    const double count = static_cast<double>(std::max<std::int64_t>(anCount_, 1));
    MixAnalysis a;
    a.seconds = static_cast<double>(anCount_) / sampleRate_;
    a.peakDb = gainToDb(anPeak_);
    a.rmsDb = gainToDb(std::sqrt(anSumSq_ / count));
    a.clippedSamples = anClipped_;
    a.maxLimiterReductionDb = anMaxGR_;
    a.lowRmsDb = gainToDb(std::sqrt(anBandSq_[0] / count));
    a.midRmsDb = gainToDb(std::sqrt(anBandSq_[1] / count));
    a.highRmsDb = gainToDb(std::sqrt(anBandSq_[2] / count));
    a.lowMidRmsDb = gainToDb(std::sqrt(anBandSq_[3] / count));
    a.wholeBandRmsDb = gainToDb(std::sqrt(anMonoSq_ / count));
    a.tracks.reserve(tracks_.size());
    for (const auto& t : tracks_) {
        double frames = static_cast<double>(std::max<std::int64_t>(t->sampleCount(), 1));
        MixAnalysis::TrackStats& stats = a.tracks.emplace_back();
        stats.id = t->id();
        stats.peakDb = gainToDb(t->analysisPeak());
        stats.rmsDb = gainToDb(std::sqrt(t->sumSquares() / frames));
    }
    if (meter_) meter_->finish(a);
    return a;
}

} // namespace velmo
