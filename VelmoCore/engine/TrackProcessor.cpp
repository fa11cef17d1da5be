#include "engine/TrackProcessor.h"

#include "base/Precondition.h"
#include "synth/DrumGen.h"

#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr std::size_t pendingCapacity = 256;
constexpr std::size_t monoCapacity = 32;
constexpr std::size_t midiHeldCapacity = 128;
constexpr double seekMargin = 1e-9; // beats: an event exactly on the seek position plays
constexpr double gainGlideSeconds = 0.01; // a gain or pan change glides this long
// A fourth-order Butterworth high-pass at 15 Hz, as two sections: flat within 0.01 dB from C1
// (32.7 Hz) up, 22 dB down at 8 Hz, 46 at 4 Hz; repeated drum hits keep their pulse out of the
// sub-audio band too.
constexpr double dcCutoff = 15.0; // Hz

// A processor before its first load: the given patch, no events, silent.
std::shared_ptr<const CompiledTrack> initialTrack(std::string id, const SynthPatch& patch) {
    auto track = std::make_shared<CompiledTrack>();
    track->id = std::move(id);
    track->patch = patch;
    return track;
}

// Poly voice limit: 1 to 16, truncated; NaN counts as 1.
int polyLimit(double polyphony) {
    if (!(polyphony >= 1)) return 1;
    return static_cast<int>(std::min(polyphony, double(TrackProcessor::voiceCount)));
}

bool sameTarget(const std::optional<MIDITarget>& a, const std::optional<MIDITarget>& b) {
    if (a.has_value() != b.has_value()) return false;
    return !a || (a->endpoint == b->endpoint && a->isVirtual == b->isVirtual && a->channel == b->channel);
}

} // namespace

TrackProcessor::TrackProcessor(std::string id, const SynthPatch& patch) : TrackProcessor(initialTrack(std::move(id), patch)) {}

TrackProcessor::TrackProcessor(std::shared_ptr<const CompiledTrack> track)
    : id_(track->id), track_(std::move(track)), voices_(voiceCount) {
    pendingOffs_.reserve(pendingCapacity);
    monoStack_.reserve(monoCapacity);
    midiHeld_.reserve(midiHeldCapacity);
    scratchTags_.reserve(midiHeldCapacity + monoCapacity);
}

bool TrackProcessor::monoMode() const {
    const SynthPatch& p = patch();
    return p.engine != EngineKind::drums && p.voice.mode != VoiceMode::poly;
}

void TrackProcessor::load(std::shared_ptr<const CompiledTrack> track, const RenderContext& ctx, double beat) {
    EffectChain::Entries effects = EffectChain::prepare(track->effects, effects_.entries(), ctx.sampleRate);
    load(std::move(track), effects, ctx, beat);
}

void TrackProcessor::load(std::shared_ptr<const CompiledTrack> track, EffectChain::Entries& effects,
                          const RenderContext& ctx, double beat) {
    VELMO_PRECONDITION(track != nullptr, "TrackProcessor::load");
    const SynthPatch& oldPatch = patch();
    // Another generator or voice mode would play from state that means something else.
    if (track->patch.engine != oldPatch.engine || track->patch.voice.mode != oldPatch.voice.mode) {
        hardStopVoices();
        monoStack_.clear();
    }
    if (!sameTarget(track->midi, midiTarget_)) flushMIDI(false);
    midiTarget_ = track->midi;
    playInternal_ = track->playInternal;
    audible_ = track->audible;
    if (!playInternal_)
        for (Voice& v : voices_)
            if (v.active && !v.released) releaseVoice(v); // still judged by the old engine
    track_ = std::move(track);
    // Pending note-offs, tags and voices stay: a sounding note ends when it was told to, even if
    // the edit moved or deleted it.
    seek(beat);
    targetGain_ = track_->gain;
    pan_ = track_->pan;
    effects_.swapIn(effects, track_->effects, ctx);
    const auto dc = butterworthHighpass<2>(dcCutoff, ctx.sampleRate);
    for (std::size_t k = 0; k < dc.size(); ++k) {
        dcL_[k].setCoefficients(dc[k]);
        dcR_[k].setCoefficients(dc[k]);
    }
}

void TrackProcessor::seek(double beat) {
    const auto& events = track_->events;
    auto it = std::lower_bound(events.begin(), events.end(), beat - seekMargin,
                               [](const CompiledEvent& e, double b) { return e.beat < b; });
    cursor_ = static_cast<std::size_t>(it - events.begin());
}

void TrackProcessor::schedule(double from, double to, const RenderContext& ctx) {
    // Offs before ons, so a note that starts and ends within one block lasts until the next.
    std::size_t kept = 0;
    for (std::size_t i = 0; i < pendingOffs_.size(); ++i) {
        PendingOff off = pendingOffs_[i];
        if (off.end < to)
            noteOff(off.tag);
        else
            pendingOffs_[kept++] = off;
    }
    pendingOffs_.resize(kept);

    // The track may be replaced by nothing during this walk: noteOn never loads.
    const auto& events = track_->events;
    for (; cursor_ < events.size() && events[cursor_].beat < to; ++cursor_) {
        const CompiledEvent& e = events[cursor_];
        if (e.beat < from - seekMargin) continue;
        // The list is full only with hundreds of notes overlapping on one track: a note whose end
        // could not be kept is not started, rather than grow the list on the audio thread.
        if (pendingOffs_.size() == pendingCapacity) continue;
        std::int64_t tag = noteOn(e.pitch, e.velocity, ctx);
        pendingOffs_.push_back({e.beat + e.duration, tag});
    }
}

void TrackProcessor::endPendingNotes() {
    for (const PendingOff& off : pendingOffs_) noteOff(off.tag);
    pendingOffs_.clear();
}

std::int64_t TrackProcessor::noteOn(int pitch, double velocity, const RenderContext& ctx) {
    std::int64_t tag = ++tagCounter_;
    ++order_;
    // Past the room of the held list a note goes out on MIDI no more: its note-off could not be sent.
    if (midiTarget_ && midiSender_ && audible_ && midiHeld_.size() < midiHeldCapacity) {
        midiSender_->noteOn(*midiTarget_, pitch, velocity);
        midiHeld_.push_back({tag, pitch});
    }
    if (!playInternal_) return tag;
    if (monoMode()) {
        monoNoteOn(pitch, velocity, tag, ctx);
        return tag;
    }

    const SynthPatch& p = patch();
    int limit = voiceCount;
    // Drums use all sixteen voices and never release a same-pitch voice; a closed or pedal hat
    // chokes every ringing open hat, as on a real hi-hat stand.
    if (p.engine == EngineKind::drums) {
        const DrumPiece piece = drumPieceForNote(pitch);
        if (piece == DrumPiece::closedHat || piece == DrumPiece::pedalHat)
            for (Voice& v : voices_)
                if (v.active && drumPieceForNote(v.pitch) == DrumPiece::openHat) v.drum.choking = true;
    } else {
        // A retriggered held pitch gets a fresh voice; the old one rings out in release.
        for (Voice& v : voices_)
            if (v.active && !v.released && v.pitch == pitch) releaseVoice(v);
        limit = polyLimit(p.voice.polyphony);
    }

    int chosen = -1;
    for (int i = 0; i < limit && chosen < 0; ++i)
        if (!voices_[i].active) chosen = i;
    if (chosen < 0) {
        // The quietest released voice, then the oldest; ties to the lowest index.
        double quietest = 0;
        for (int i = 0; i < limit; ++i) {
            const Voice& v = voices_[i];
            if (v.released && (chosen < 0 || v.ampEnv.value < quietest)) {
                chosen = i;
                quietest = v.ampEnv.value;
            }
        }
    }
    if (chosen < 0) {
        chosen = 0;
        for (int i = 1; i < limit; ++i)
            if (voices_[i].startOrder < voices_[chosen].startOrder) chosen = i;
    }
    // A stolen voice that is still heard fades out first, then starts the note from silence
    // with its pitch gliding on; a silent one starts at once.
    voices_[chosen].steal(pitch, velocity, tag, order_, p, ctx.sampleRate);
    return tag;
}

void TrackProcessor::monoNoteOn(int pitch, double velocity, std::int64_t tag, const RenderContext& ctx) {
    const SynthPatch& p = patch();
    Voice& v = voices_[0];
    bool tied = p.voice.mode == VoiceMode::legato && v.active && !v.released && !monoStack_.empty();
    if (monoStack_.size() == monoCapacity) monoStack_.erase(monoStack_.begin()); // the oldest held key is forgotten
    monoStack_.push_back({tag, pitch});
    if (tied) {
        // No envelope restarts; the velocity stays that of the first note; glide moves the pitch.
        v.pitch = pitch;
        v.tag = tag;
        v.targetPitch = pitch;
    } else if (p.engine == EngineKind::pluck || p.engine == EngineKind::modal) {
        // A struck engine restarts from scratch, which would cut the ringing string or bar.
        v.steal(pitch, velocity, tag, order_, p, ctx.sampleRate);
    } else {
        v.start(pitch, velocity, tag, order_, p, ctx.sampleRate); // rises from where it stands
    }
}

void TrackProcessor::sendNoteOff(int pitch) {
    if (midiTarget_ && midiSender_) midiSender_->noteOff(*midiTarget_, pitch);
}

void TrackProcessor::noteOff(std::int64_t tag) {
    auto held = std::find_if(midiHeld_.begin(), midiHeld_.end(), [tag](const HeldNote& h) { return h.tag == tag; });
    if (held != midiHeld_.end()) {
        sendNoteOff(held->pitch);
        midiHeld_.erase(held);
    }
    if (monoMode()) {
        auto it = std::find_if(monoStack_.begin(), monoStack_.end(), [tag](const HeldNote& h) { return h.tag == tag; });
        if (it == monoStack_.end()) return;
        bool wasTop = it + 1 == monoStack_.end();
        monoStack_.erase(it);
        if (!wasTop) return;
        Voice& v = voices_[0];
        if (!monoStack_.empty()) {
            // Back to the note still held, without a retrigger, in mono mode as well.
            const HeldNote& top = monoStack_.back();
            v.pitch = top.pitch;
            v.tag = top.tag;
            v.targetPitch = top.pitch;
        } else {
            releaseVoice(v);
        }
        return;
    }
    for (Voice& v : voices_)
        if (v.active && v.tag == tag && !v.released) releaseVoice(v);
}

void TrackProcessor::noteOffPitch(int pitch) {
    // Both walks go over a snapshot, since noteOff edits the lists. The capacities are reserved,
    // so the copies do not allocate in normal use.
    std::vector<std::int64_t>& tags = scratchTags_;
    tags.clear();
    for (const HeldNote& h : midiHeld_)
        if (h.pitch == pitch) tags.push_back(h.tag);
    for (std::int64_t tag : tags) noteOff(tag);
    if (monoMode()) {
        tags.clear();
        for (const HeldNote& h : monoStack_)
            if (h.pitch == pitch) tags.push_back(h.tag);
        for (std::int64_t tag : tags) noteOff(tag);
        return;
    }
    for (Voice& v : voices_)
        if (v.active && !v.released && v.pitch == pitch) releaseVoice(v);
}

void TrackProcessor::allNotesOff() {
    flushMIDI(true);
    pendingOffs_.clear();
    monoStack_.clear();
    for (Voice& v : voices_)
        if (v.active && !v.released) releaseVoice(v);
}

void TrackProcessor::flushMIDI(bool panic) {
    if (midiTarget_ && midiSender_) {
        for (const HeldNote& h : midiHeld_) midiSender_->noteOff(*midiTarget_, h.pitch);
        if (panic) midiSender_->allNotesOff(*midiTarget_);
    }
    midiHeld_.clear();
}

void TrackProcessor::hardStopVoices() {
    for (Voice& v : voices_) v.hardStop();
    // The blocker's memory is the voices' recent past: left alone it would ring on after them.
    for (Biquad& b : dcL_) b.z1 = b.z2 = 0.0;
    for (Biquad& b : dcR_) b.z1 = b.z2 = 0.0;
}

void TrackProcessor::releaseVoice(Voice& v) {
    v.release(patch().engine);
}

void TrackProcessor::resetAnalysis() {
    sumSquares_ = 0;
    sampleCount_ = 0;
    analysisPeak_ = 0;
}

bool TrackProcessor::mixIsFinite(int n) const {
    for (int i = 0; i < n; ++i)
        if (!std::isfinite(mixL_[i]) || !std::isfinite(mixR_[i])) return false;
    return true;
}

bool TrackProcessor::renderBlock(int n, const RenderContext& ctx, float* busL, float* busR, bool analyzing) {
    VELMO_PRECONDITION(n >= 0 && n <= kBlockFrames, "TrackProcessor::renderBlock");
    std::fill_n(mixL_.begin(), n, 0.0f);
    std::fill_n(mixR_.begin(), n, 0.0f);
    const SynthPatch& p = patch();
    for (Voice& v : voices_)
        if (v.active) v.render(n, p, ctx, mixL_.data(), mixR_.data());
    // One non-finite sample (an extreme setting, a hand-edited file, a fault) would stay in the
    // effects' delay lines and reverb for good, and in the voices that made it: it is caught
    // before the effects, the block is silent and the voices start afresh with the next note.
    bool reset = !mixIsFinite(n);
    if (reset) {
        for (Voice& v : voices_) v.clear();
        std::fill_n(mixL_.begin(), n, 0.0f);
        std::fill_n(mixR_.begin(), n, 0.0f);
    }
    effects_.process(mixL_.data(), mixR_.data(), n);
    // An effect's own non-finite output (an extreme setting, a runaway feedback) is dropped too,
    // and every effect of the chain forgets what it holds: a poisoned delay or reverb line would
    // otherwise keep the track silent for good. The voices start afresh as well, so the track
    // plays on from its next note.
    if (!mixIsFinite(n)) {
        reset = true;
        for (Voice& v : voices_) v.clear();
        effects_.reset();
        std::fill_n(mixL_.begin(), n, 0.0f);
        std::fill_n(mixR_.begin(), n, 0.0f);
    }

    // Gain and pan glide to their targets, so a fader or pan move makes no zipper noise.
    const double targetL = targetGain_ * std::min(1.0 - pan_, 1.0);
    const double targetR = targetGain_ * std::min(1.0 + pan_, 1.0);
    gain_.glideTo(targetL, targetR, static_cast<int>(gainGlideSeconds * ctx.sampleRate));
    float blockPeak = 0;
    for (int i = 0; i < n; ++i) {
        // DC and sub-audio drift come from sources that have no known mean to subtract: drive and
        // ladder saturation of detuned oscillators (their beat), FM sidebands folding onto 0 Hz,
        // the asymmetric start of a drum hit, an effect. One blocker per track, after the effects,
        // catches them all for the price of four sections per track rather than per voice.
        const float dcFreeL = static_cast<float>(dcL_[1].process(dcL_[0].process(mixL_[i])));
        const float dcFreeR = static_cast<float>(dcR_[1].process(dcR_[0].process(mixR_[i])));
        float l = dcFreeL * static_cast<float>(gain_.left.next());
        float r = dcFreeR * static_cast<float>(gain_.right.next());
        mixL_[i] = l;
        mixR_[i] = r;
        busL[i] += l;
        busR[i] += r;
        blockPeak = std::max({blockPeak, std::fabs(l), std::fabs(r)});
        if (analyzing) sumSquares_ += (double(l) * l + double(r) * r) * 0.5;
    }
    peak_ = std::max(peak_ * static_cast<float>(peakDecay), blockPeak);
    if (analyzing) {
        sampleCount_ += n;
        analysisPeak_ = std::max(analysisPeak_, blockPeak);
    }
    return reset;
}

} // namespace velmo
