// Counts heap allocations while voices render: this binary replaces the global operator new,
// and only counts while `counting` is set, so the test framework's own allocations stay out.
#include "synth/Voice.h"

// The replacements pair malloc with free on purpose; GCC cannot see that through inlining.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <vector>

namespace {
std::atomic<bool> counting{false};
std::atomic<long> allocations{0};
void* volatile escape = nullptr;
} // namespace

void* operator new(std::size_t size) {
    if (counting.load(std::memory_order_relaxed)) allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

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
    return p;
}

} // namespace

TEST(AudioPath, VoicesAllocateNothingWhileTheyRender) {
    // The counter must see an allocation, or a zero below would prove nothing.
    counting = true;
    escape = new std::vector<int>(100);
    counting = false;
    ASSERT_GT(allocations.load(), 0);
    delete static_cast<std::vector<int>*>(escape);
    allocations = 0;

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
    }
    const RenderContext ctx{48000.0, 128.0};
    float mixL[32], mixR[32];
    double energy = 0.0;

    counting = true;
    for (int block = 0; block < 6000; ++block) {
        const SynthPatch& patch = patches[static_cast<size_t>(block / 300) % patches.size()];
        Voice& v = voices[static_cast<size_t>(block) % voices.size()];
        if (block % 37 == 0) v.start(36 + block % 48, 0.3 + (block % 7) * 0.1, block, static_cast<uint64_t>(block), patch, ctx.sampleRate);
        if (block % 53 == 0) v.release(patch.engine);
        if (block % 997 == 0) v.hardStop();
        std::fill_n(mixL, 32, 0.0f);
        std::fill_n(mixR, 32, 0.0f);
        int n = block % 5 == 0 ? 7 : 32;
        for (Voice& each : voices) each.render(n, patch, ctx, mixL, mixR);
        for (int i = 0; i < n; ++i) energy += mixL[i] * mixL[i] + mixR[i] * mixR[i];
    }
    counting = false;

    EXPECT_EQ(allocations.load(), 0) << "voices allocated on the audio path";
    EXPECT_GT(energy, 1.0) << "the voices did sound";
    EXPECT_TRUE(std::isfinite(energy));
}
