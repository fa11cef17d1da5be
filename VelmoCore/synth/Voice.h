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
    static constexpr int kMaxBlock = 32; // frames; a larger block is a caller's fault

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

    // Note-off: envelopes go to release; a drum voice is only marked and plays its hit out.
    void release(EngineKind engine);

    // Silences at once, for a change of engine or voice mode: the old state would mean
    // something else to the new generator.
    void hardStop();

    // Renders n frames (0 to 32) and adds them into outL and outR. Does nothing when inactive.
    // The patch is read in place; nothing here allocates, locks or throws.
    void render(int n, const SynthPatch& patch, const RenderContext& ctx, float* outL, float* outR);

private:
    std::array<float, kMaxBlock> bufL{};   // the generator's output of one block
    std::array<float, kMaxBlock> bufR{};
    std::array<double, kMaxBlock> ampBuf{}; // the amplitude envelope of one block

    ModValues modulation(const SynthPatch& patch, double lfo1Value, double lfo2Value, double modEnvValue) const;
    void filter(const FilterParams& f, const ModValues& m, double modEnvValue, double sr, int n);
};

} // namespace velmo
