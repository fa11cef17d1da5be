// What every processor promises the engine: "mix" 0 (or flat settings) passes the input bit
// for bit, each parameter is read, a call of 0 frames and a repeated update change nothing, a
// processor is kept across a load by id and kind and carries its tail on, and the master chain
// stays under the limiter however loud its effects are set. No processor allocates in `update` or
// `process` once made, counted with a replaced global operator new.
#include "FXRig.h"

#include "effects/EffectChain.h"
#include "engine/EngineRig.h"
#include "support/AllocationCounter.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

using namespace velmo::testing;

// A tone plus noise on the right: enough to move every kind's state.
Stereo programme(std::size_t frames, double sr) {
    Stereo s = sine(frames, 220, sr, 0.6);
    std::uint32_t x = 12345;
    for (std::size_t i = 0; i < frames; ++i) {
        x = x * 1664525u + 1013904223u;
        s.right[i] = s.left[i] * 0.5f + float(x >> 8) / float(1u << 24) - 0.5f;
    }
    return s;
}

// Every kind well away from its defaults, the modulation fast and the feedback high.
std::map<std::string, double> lively(EffectKind kind) {
    static const std::map<EffectKind, std::map<std::string, double>> table{
        {EffectKind::drive, {{"drive", 0.9}, {"tone", 0.2}, {"level", 6}}},
        {EffectKind::bitcrush, {{"bits", 3.5}, {"downsample", 7}}},
        {EffectKind::chorus, {{"rate", 4}, {"depth", 1}}},
        {EffectKind::phaser, {{"rate", 4}, {"depth", 1}, {"feedback", 0.9}}},
        {EffectKind::delay, {{"time", 0.0625}, {"feedback", 0.9}, {"tone", 0.1}}},
        {EffectKind::reverb, {{"size", 1}, {"damping", 0.2}, {"width", 0.3}}},
        {EffectKind::eq, {{"low", 9}, {"mid", -12}, {"midFreq", 700}, {"high", 18}}},
        {EffectKind::compressor, {{"threshold", -40}, {"ratio", 10}, {"attack", 0.1}, {"release", 10}}},
        {EffectKind::autofilter, {{"mode", 2}, {"resonance", 0.9}, {"rate", 20}, {"depth", 1}}}};
    return table.at(kind);
}

TEST(EffectProcessor, MixZeroOrFlatSettingsPassTheInputUnchanged) {
    const Stereo in = programme(6000, 48000);
    for (EffectKind kind : allCases<EffectKind>()) {
        auto params = lively(kind);
        if (kind == EffectKind::eq) params = {{"low", 0.005}, {"mid", 0}, {"high", -0.01}}; // within 0.01 dB is flat
        else if (kind == EffectKind::compressor) params = {{"threshold", -60}, {"ratio", 1}, {"makeup", 0}};
        else params["mix"] = 0;
        Stereo out = FX(kind, 48000, params).run(Stereo(in));
        EXPECT_EQ(out.left, in.left) << toString(kind);
        EXPECT_EQ(out.right, in.right) << toString(kind);
    }
}

TEST(EffectProcessor, EveryParameterIsReadByItsName) {
    // A misspelt name would read as 0 whatever the slot holds: moving each parameter to either
    // end of its range must change the sound.
    const Stereo in = programme(6000, 48000);
    for (EffectKind kind : allCases<EffectKind>()) {
        const Stereo base = FX(kind, 48000, lively(kind)).run(Stereo(in));
        for (const EffectParamInfo& spec : EffectCatalog::specs(kind)) {
            bool moved = false;
            for (double v : {spec.min, spec.max}) {
                auto params = lively(kind);
                params[std::string(spec.name)] = v;
                moved = moved || FX(kind, 48000, params).run(Stereo(in)).left != base.left;
            }
            EXPECT_TRUE(moved) << toString(kind) << "." << spec.name << " changes nothing";
        }
    }
}

TEST(EffectProcessor, ZeroFramesAndRepeatedUpdatesChangeNothing) {
    const Stereo in = programme(20000, 44100);
    for (EffectKind kind : allCases<EffectKind>()) {
        FX plain(kind, 44100, lively(kind)), poked(kind, 44100, lively(kind));
        Stereo a = in, b = in;
        for (std::size_t at = 0; at < in.size(); at += 32) {
            plain.proc->process(a.left.data() + at, a.right.data() + at, 32);
            for (int twice = 0; twice < 2; ++twice) {
                poked.proc->process(b.left.data() + at, b.right.data() + at, 0);
                poked.proc->update(poked.slot, poked.ctx);
            }
            poked.proc->process(b.left.data() + at, b.right.data() + at, 32);
        }
        EXPECT_EQ(a.left, b.left) << toString(kind);
        EXPECT_EQ(a.right, b.right) << toString(kind);
        EXPECT_NE(a.left, in.left) << toString(kind) << " should have changed the signal";
    }
}

TEST(EffectProcessor, UpdateAndProcessAllocateNothing) {
    ASSERT_GE(probeAllocations(), 2) << "the counter must see allocations made through new";
    const double sr = 48000;
    for (EffectKind kind : allCases<EffectKind>()) {
        std::vector<EffectSlot> slots; // each parameter at its low and high end, as a knob drag gives them
        for (const auto& spec : EffectCatalog::specs(kind)) {
            slots.push_back(slotOf(kind, {{std::string(spec.name), spec.min}}));
            slots.push_back(slotOf(kind, {{std::string(spec.name), spec.max}}));
        }
        FX fx(kind, sr);
        Stereo s = sine(32, 440, sr);
        fx.run(s); // warm up
        const long allocations = allocationsDuring([&] {
            for (int block = 0; block < 3000; ++block) {
                fx.proc->update(slots[static_cast<std::size_t>(block) % slots.size()], fx.ctx);
                fx.proc->process(s.left.data(), s.right.data(), 32);
            }
        });
        EXPECT_EQ(allocations, 0) << toString(kind);
    }
}

TEST(EffectChain, KeepsProcessorsByIdAndKind) {
    const RenderContext ctx{48000, 120};
    EffectChain chain;
    chain.load(std::vector<EffectSlot>{{"fx1", EffectKind::delay, true, {}}, {"fx2", EffectKind::reverb, true, {}},
                                       {"fx3", EffectKind::eq, true, {}}},
               48000, ctx);
    const std::vector<EffectSlot> moved{{"fx2", EffectKind::reverb, false, {}}, {"fx1", EffectKind::delay, true, {}},
                                        {"fx3", EffectKind::chorus, true, {}}, {"fx4", EffectKind::drive, true, {}}};
    EffectProcessor* delay = chain.entries()[0].proc.get();
    EffectProcessor* reverb = chain.entries()[1].proc.get();
    EffectProcessor* eq = chain.entries()[2].proc.get();
    chain.load(moved, 48000, ctx); // reordered, fx2 disabled, fx3 a new kind under the same id, fx4 new
    const auto& e = chain.entries();
    ASSERT_EQ(e.size(), 4u);
    EXPECT_EQ(e[0].proc.get(), reverb) << "a moved slot keeps its processor";
    EXPECT_FALSE(e[0].enabled) << "a disabled slot stays in the chain";
    EXPECT_EQ(e[1].proc.get(), delay);
    EXPECT_NE(e[2].proc.get(), eq) << "a kind change under one id gets a fresh processor";
    EXPECT_EQ(e[2].kind, EffectKind::chorus);
    EXPECT_TRUE(e[3].proc);
    // Two slots with one id (a hand-edited file) do not share a processor.
    chain.load(std::vector{moved[1], moved[1]}, 48000, ctx);
    EXPECT_EQ(chain.entries()[0].proc.get(), delay);
    EXPECT_NE(chain.entries()[1].proc.get(), delay);
}

TEST(EffectChain, AReverbKeptAcrossALoadRingsOnAtItsNewSize) {
    // The new size only changes what the combs write from now on: the output stays that of an
    // untouched twin for one pass of the shortest comb (1116 frames at 44.1 kHz), then rings
    // longer. The tail is neither cut nor restarted.
    const double sr = 44100;
    EffectChain edited, twin;
    const std::vector<EffectSlot> before{slotOf(EffectKind::reverb, {{"size", 0.5}, {"mix", 1}})};
    edited.load(before, sr, {sr, 120});
    twin.load(before, sr, {sr, 120});
    Stereo burst = programme(4000, sr), burst2 = burst, a(32 * 940), b(32 * 940);
    edited.process(burst.left.data(), burst.right.data(), 4000);
    twin.process(burst2.left.data(), burst2.right.data(), 4000);
    edited.load(std::vector{slotOf(EffectKind::reverb, {{"size", 0.95}, {"mix", 1}})}, sr, {sr, 120});
    for (std::size_t at = 0; at < a.size(); at += 32) {
        edited.process(a.left.data() + at, a.right.data() + at, 32);
        twin.process(b.left.data() + at, b.right.data() + at, 32);
    }
    for (std::size_t i = 0; i < 1116; ++i) ASSERT_EQ(a.left[i], b.left[i]) << "frame " << i << " after the load";
    EXPECT_NE(a.left[1116], b.left[1116]);
    double lateA = 0, lateB = 0;
    for (std::size_t i = 20000; i < a.size(); ++i) lateA += double(a.left[i]) * a.left[i], lateB += double(b.left[i]) * b.left[i];
    EXPECT_GT(lateA, 10 * lateB) << "the larger size rings longer";
}

TEST(MasterChain, EffectsAtTheirLoudestStayUnderTheLimiterCeiling) {
    std::vector<Note> chord;
    for (int pitch : {36, 48, 55, 60, 64, 67, 72}) chord.push_back(Note{pitch, 0, 3, 1.0});
    Project p = songOf(4, chord);
    for (EffectKind kind : allCases<EffectKind>()) { // every parameter at its loudest: the top, but ratio 1
        std::map<std::string, double> top;
        for (const auto& spec : EffectCatalog::specs(kind)) top[std::string(spec.name)] = spec.name == "ratio" ? spec.min : spec.max;
        p.masterEffects.push_back(EffectSlot{"fx" + std::to_string(p.masterEffects.size() + 10), kind, true, top});
    }
    Rig rig(48000);
    rig.play(p);
    ASSERT_EQ(rig.core.masterEffects().entries().size(), p.masterEffects.size());
    rig.core.resetAnalysis();
    rig.render(48000 * 4, 512);
    float peak = 0;
    for (std::size_t i = 0; i < rig.left.size(); ++i) {
        ASSERT_TRUE(std::isfinite(rig.left[i]) && std::isfinite(rig.right[i])) << "frame " << i;
        peak = std::max({peak, std::fabs(rig.left[i]), std::fabs(rig.right[i])});
    }
    EXPECT_LE(peak, 0.966f) << "the limiter comes after the master effects";
    EXPECT_GT(peak, 0.9f);
    EXPECT_GT(rig.core.analysisResult().clippedSamples, 48000) << "the effects drove the bus far over full scale";
}

} // namespace
} // namespace velmo
