// The audio-thread image of one track: the pool of sixteen voices and who gets which note, the
// note-off bookkeeping by tag, mono and legato behaviour, the track's external MIDI, its insert
// chain, and its gain, pan and level measurements. It outlives edits: every new compiled project
// is loaded into the processor that already exists for the track id, so voices, tails and
// pending note-offs run on through an edit.
#pragma once

#include "dsp/Biquad.h"
#include "dsp/GainRamp.h"
#include "effects/EffectChain.h"
#include "engine/CompiledProject.h"
#include "midi/MIDISender.h"
#include "dsp/RenderContext.h"
#include "synth/Voice.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmo {

// Audio thread only, once the core has taken it. Nothing here locks. A processor is made and
// freed on the control side: the core takes new ones out of a prepared load and hands dropped
// ones back.
class TrackProcessor {
public:
    static constexpr int voiceCount = 16;
    static constexpr double peakDecay = 0.995; // per block, so the fall time follows the block rate

    struct PendingOff {
        double end; // beats
        std::int64_t tag;
    };
    struct HeldNote {
        std::int64_t tag;
        int pitch;
    };

    // Builds the sixteen voices and the buffers, silent, with the given patch or compiled track.
    // Allocates; `load` then takes the track to play.
    TrackProcessor(std::string id, const SynthPatch& patch);
    explicit TrackProcessor(std::shared_ptr<const CompiledTrack> track);

    const std::string& id() const { return id_; }
    const SynthPatch& patch() const { return track_->patch; }

    // Takes a compiled track: hard-stops the voices only when the engine or voice mode changed,
    // flushes MIDI when the target changed, replaces events and re-seeks, ramps to the new gain
    // and puts in the effect entries prepared for the track (EffectChain::prepare), keeping
    // processors by id and kind. `beat` is the transport position. The shared pointer keeps the
    // patch and events alive for as long as they are played; the caller keeps the previous track
    // alive too, so that nothing is freed here. `effects` is left holding what the chain let go.
    // Allocates and frees nothing.
    void load(std::shared_ptr<const CompiledTrack> track, EffectChain::Entries& effects, const RenderContext& ctx,
              double beat);
    // Both steps at once, for a processor that one thread owns. Allocates.
    void load(std::shared_ptr<const CompiledTrack> track, const RenderContext& ctx, double beat);

    // Note-offs whose end is before `to`, then note-ons of events in [from, to). Notes start at
    // the block's first frame.
    void schedule(double from, double to, const RenderContext& ctx);

    // Moves the cursor to the first event at or after `beat` (with a 1e-9 margin).
    void seek(double beat);

    // Starts a note now and returns its tag (tags start at 1 and only rise).
    std::int64_t noteOn(int pitch, double velocity, const RenderContext& ctx);
    void noteOff(std::int64_t tag);
    void noteOffPitch(int pitch); // every note of a pitch, for the live keyboard
    void allNotesOff();           // releases everything; voices ring through their release
    void flushMIDI(bool panic);
    // Silences every voice at once, with no release, and clears the DC blocker's memory of
    // them: when the engine or voice mode changes, and on the core's panic.
    void hardStopVoices();

    // Ends every pending note-off now and forgets them (a loop wrap, a seek).
    void endPendingNotes();

    // One block of `n` <= 32 frames: voices, effects, gain and pan, added into the bus. A block
    // in which the voices or the effects made a non-finite sample adds silence instead, and the
    // voices are cleared so the track plays on from its next note; the result says so.
    bool renderBlock(int n, const RenderContext& ctx, float* busL, float* busR, bool analyzing);

    void setMIDISender(MIDISender* sender) { midiSender_ = sender; }
    void resetAnalysis();

    // Read by the core on the audio thread to publish meters and analysis.
    float peak() const { return peak_; }
    double sumSquares() const { return sumSquares_; }
    std::int64_t sampleCount() const { return sampleCount_; }
    float analysisPeak() const { return analysisPeak_; }
    // The last block's output after gain and pan, as it went into the bus; valid until the next.
    const float* blockLeft() const { return mixL_.data(); }
    const float* blockRight() const { return mixR_.data(); }

    bool hasPendingOffs() const { return !pendingOffs_.empty(); }
    const std::vector<PendingOff>& pendingOffs() const { return pendingOffs_; }
    const std::vector<HeldNote>& monoStack() const { return monoStack_; }
    const std::vector<HeldNote>& midiHeld() const { return midiHeld_; }
    std::size_t cursor() const { return cursor_; }
    const Voice& voice(int i) const { return voices_[static_cast<std::size_t>(i)]; }
    const EffectChain& effects() const { return effects_; }
    double gain() const { return targetGain_; }

private:
    bool monoMode() const;
    bool mixIsFinite(int n) const;
    void monoNoteOn(int pitch, double velocity, std::int64_t tag, const RenderContext& ctx);
    void releaseVoice(Voice& v);
    void sendNoteOff(int pitch);

    std::string id_;
    std::shared_ptr<const CompiledTrack> track_; // patch and events of the current load
    std::size_t cursor_ = 0;
    std::vector<PendingOff> pendingOffs_;
    std::vector<Voice> voices_;
    EffectChain effects_;
    double targetGain_ = 0;
    double pan_ = 0;
    StereoGainRamp gain_; // gain and pan of each side, glided to their targets
    std::int64_t tagCounter_ = 0;
    std::uint64_t order_ = 0;
    std::vector<HeldNote> monoStack_;
    MIDISender* midiSender_ = nullptr;
    std::optional<MIDITarget> midiTarget_;
    bool playInternal_ = true;
    bool audible_ = true;
    std::vector<HeldNote> midiHeld_;
    std::vector<std::int64_t> scratchTags_; // snapshot of tags for noteOffPitch
    std::array<float, kBlockFrames> mixL_{};
    std::array<float, kBlockFrames> mixR_{};
    std::array<Biquad, 2> dcL_; // the track's DC blocker, after its effects
    std::array<Biquad, 2> dcR_;
    float peak_ = 0;
    double sumSquares_ = 0;
    std::int64_t sampleCount_ = 0;
    float analysisPeak_ = 0;
};

} // namespace velmo
