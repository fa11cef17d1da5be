// One sounding note: the generator of the patch's engine, the amplitude and modulation
// envelopes, two LFOs, the modulation matrix, a stereo filter with drive, and level and pan.
// It is handed the whole patch every block, so an edit reaches a sounding note within a block.
#pragma once

#include "model/SynthPatch.h"
#include "synth/ADSR.h"
#include "synth/AdditiveGen.h"
#include "synth/AnalogGen.h"
#include "synth/DrumGen.h"
#include "synth/FMGen.h"
#include "dsp/FilterState.h"
#include "dsp/GainRamp.h"
#include "synth/LFO.h"
#include "synth/ModalGen.h"
#include "synth/ModValues.h"
#include "synth/PluckGen.h"
#include "base/Rand.h"
#include "dsp/RenderContext.h"
#include "synth/WavetableGen.h"

#include <array>
#include <cstdint>

namespace velmo {

// Audio thread only. Made once per pool slot of a track processor and reused for every note;
// the fields are public because the processor's allocation reads and sets them directly.
class Voice {
public:
    static constexpr double kStealFadeSeconds = 0.003;  // a stolen voice's fade before its new note
    static constexpr double kLevelGlideSeconds = 0.01;  // level, volume and pan changes glide this long

    bool active = false;   // rendering
    bool released = false; // note-off has come
    int pitch = 60;        // MIDI note of the current note
    double velocity = 1.0; // 0 to 1
    std::int64_t tag = 0;  // the note's identity for note-offs
    std::uint64_t startOrder = 0; // age for stealing
    double curPitch = 60.0;    // MIDI notes, after glide
    double targetPitch = 60.0; // where glide is heading
    double randomValue = 0.0;  // the `random` modulation source, one draw per note

    // Every member that holds a Rand is declared in the order the generators draw their seeds
    // from the global sequence: lfo1, lfo2, analog, wavetable, pluck, modal, drum, then the voice.
    // (fm and additive draw no random numbers.)
    ADSR ampEnv;
    ADSR modEnv;
    LFO lfo1;
    LFO lfo2;
    ModValues prevMods; // last block's matrix sums; only the LFO rates read them
    // All seven generators live in every voice; the patch's engine decides which one runs.
    AnalogGen analog;
    WavetableGen wavetable;
    FMGen fm;
    AdditiveGen additive;
    PluckGen pluck; // holds its 4096-sample string
    ModalGen modal;
    DrumGen drum;
    FilterState filterL;
    FilterState filterR;
    Rand rng = Rand::make();

    // Makes sure the wavetable bank exists, so that no note ever has to build it: a build takes
    // milliseconds, many audio blocks, and voices are made with their track, not at a note.
    Voice();

    // Starts a note (or retakes this voice for one). sampleRate in frames per second.
    void start(int notePitch, double noteVelocity, std::int64_t noteTag, std::uint64_t order,
               const SynthPatch& patch, double sampleRate);

    // Takes the voice for a new note, as `start` does, unless it is still heard: then its sound
    // fades out over kStealFadeSeconds and the note starts from silence at the block after, where
    // a restart in place would cut the sound with a click. The identity fields (pitch, velocity,
    // tag, startOrder, released) belong to the new note at once.
    void steal(int notePitch, double noteVelocity, std::int64_t noteTag, std::uint64_t order,
               const SynthPatch& patch, double sampleRate);

    // A stolen sound is fading out and the voice's note waits for it.
    bool fading() const { return pending_; }

    // Note-off: envelopes go to release; a drum voice is only marked and plays its hit out.
    void release(EngineKind engine);

    // Silences at once, for a change of engine or voice mode: the old state would mean
    // something else to the new generator.
    void hardStop();

    // Silences at once and forgets everything the voice carried from note to note (LFO phases,
    // glide, filter and operator states), keeping its random streams: after a non-finite sample
    // nothing of the voice may be trusted. The next note starts as on a new voice.
    void clear();

    // Renders n frames (0 to kBlockFrames) and adds them into outL and outR. Does nothing when inactive.
    // The patch is read in place; nothing here allocates, locks or throws.
    void render(int n, const SynthPatch& patch, const RenderContext& ctx, float* outL, float* outR);

private:
    std::array<float, kBlockFrames> bufL{};   // the generator's output of one block
    std::array<float, kBlockFrames> bufR{};
    std::array<double, kBlockFrames> ampBuf{}; // the amplitude envelope of one block

    // The velocity and pitch that are heard: the stolen note's while it fades, else the note's.
    struct Heard {
        double velocity;
        int pitch;
    };
    Heard heard() const { return pending_ ? Heard{fadeVelocity_, fadePitch_} : Heard{velocity, pitch}; }

    void glide(double seconds, int n, double sr);
    void amplitudeEnvelope(const SynthPatch& patch, int n, double sr);
    ModValues modulation(const SynthPatch& patch, Heard note, double lfo1Value, double lfo2Value,
                         double modEnvValue) const;
    bool runGenerator(const SynthPatch& patch, const ModValues& m, int n, double sr);
    void filter(const FilterParams& f, const ModValues& m, double noteVelocity, double modEnvValue, double sr, int n);
    void mixOut(const VoiceParams& vp, const ModValues& m, double noteVelocity, int n, double sr, float* outL,
                float* outR);
    void startPending(const SynthPatch& patch, double sr);

    StereoGainRamp level_;      // the voice's level and pan on each side, glided
    bool pending_ = false;      // a note waits for a stolen sound to fade out
    int fadeLeft_ = 0;          // frames of that fade still to go
    int fadeFrames_ = 1;        // frames of the whole fade
    double fadeVelocity_ = 1.0; // the stolen note's velocity and pitch, heard while it fades
    int fadePitch_ = 60;
};

} // namespace velmo
