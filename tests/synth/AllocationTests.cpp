// Counts heap allocations while voices render, through the test binary's counting operator new.
#include "support/AllocationCounter.h"
#include "synth/Voice.h"

#include <gtest/gtest.h>

#include <vector>

using namespace velmo;

namespace {

// Two detuned 7-voice saws, a pulse with noise, a driven filter, both LFOs and all six slots.
SynthPatch heavyPatch() {
    SynthPatch p;
    p.analog.osc1 = AnalogOsc{OscWave::saw, 0.0, 0.0, 0.0, 0.5, 0.8};
    p.analog.osc2 = AnalogOsc{OscWave::pulse, -1.0, 0.0, 7.0, 0.3, 0.6};
    p.analog.unison = 7.0;
    p.analog.subLevel = 0.3;
    p.analog.noiseLevel = 0.05;
    p.filter.drive = 0.4;
    p.filter.envAmount = 2.0;
    p.lfo2 = LFOParams(LFOShape::random, 7.0, true, 0.25, false);
    p.voice.glide = 0.05;
    p.mod = {ModSlot{ModSource::lfo1, ModDestination::cutoff, 0.3}, ModSlot{ModSource::lfo2, ModDestination::pan, 0.5},
             ModSlot{ModSource::modEnv, ModDestination::pulseWidth, 0.4}, ModSlot{ModSource::velocity, ModDestination::noise, 0.1},
             ModSlot{ModSource::keytrack, ModDestination::lfo1Rate, 0.2}, ModSlot{ModSource::random, ModDestination::osc2Pitch, 0.1}};
    // The other engines at their most demanding, for when a test switches `engine`.
    p.wavetable = WavetableParams{WavetableKind::vocal, 0.4, 0.0, 0.0, 7.0, 25.0, 0.8, 0.3, 0.05};
    p.fm.algorithm = 1.0;
    p.fm.feedback = 0.6;
    for (FMOperator& op : p.fm.ops) op.level = 0.8;
    p.additive.stretch = 0.002;
    p.pluck.damping = 0.2;
    p.modal.material = ModalMaterial::bell;
    p.mod.push_back(ModSlot{ModSource::modEnv, ModDestination::wavetablePosition, 0.4});
    p.mod.push_back(ModSlot{ModSource::lfo1, ModDestination::fmAmount, 0.5});
    return p;
}

} // namespace

TEST(AudioPath, VoicesAllocateNothingWhileTheyRender) {
    // The counter must see an allocation, or a zero below would prove nothing.
    ASSERT_GT(velmo::testing::probeAllocations(), 0);

    std::vector<Voice> voices(16); // made once, as a track processor does
    std::vector<SynthPatch> patches;
    for (FilterType type : allCases<FilterType>()) {
        SynthPatch p = heavyPatch();
        p.filter.type = type;
        patches.push_back(p);
    }
    for (EngineKind engine : allCases<EngineKind>()) {
        SynthPatch p = heavyPatch();
        p.engine = engine;
        patches.push_back(p);
        p.filter.type = FilterType::off; // the generator alone, as most non-analog presets run
        patches.push_back(p);
    }
    const RenderContext ctx{48000.0, 128.0};
    float mixL[32], mixR[32];
    double energy = 0.0;

    // 300 blocks of each patch in turn, every one of them reached.
    const long allocations = velmo::testing::allocationsDuring([&] {
    for (int block = 0; block < 300 * static_cast<int>(patches.size()); ++block) {
        const SynthPatch& patch = patches[static_cast<size_t>(block / 300) % patches.size()];
        Voice& v = voices[static_cast<size_t>(block) % voices.size()];
        // Notes 36 to 83 reach every drum piece.
        if (block % 37 == 0) v.start(36 + block % 48, 0.3 + (block % 7) * 0.1, block, static_cast<uint64_t>(block), patch, ctx.sampleRate);
        if (block % 53 == 0) v.release(patch.engine);
        if (block % 997 == 0) v.hardStop();
        std::fill_n(mixL, 32, 0.0f);
        std::fill_n(mixR, 32, 0.0f);
        int n = block % 5 == 0 ? 7 : 32;
        for (Voice& each : voices) each.render(n, patch, ctx, mixL, mixR);
        for (int i = 0; i < n; ++i) energy += mixL[i] * mixL[i] + mixR[i] * mixR[i];
    }
    });

    EXPECT_EQ(allocations, 0) << "voices allocated on the audio path";
    EXPECT_GT(energy, 1.0) << "the voices did sound";
    EXPECT_TRUE(std::isfinite(energy));
}
