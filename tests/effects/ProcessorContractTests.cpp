// What every processor promises the engine: "mix" 0 (or flat settings) passes the input bit
// for bit, a call of 0 frames and a repeated update change nothing, and a processor kept across
// a load carries its tail on.
#include "FXRig.h"

#include "effects/EffectChain.h"

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
        if (kind == EffectKind::eq) params = {{"low", 0}, {"mid", 0}, {"high", 0}};
        else if (kind == EffectKind::compressor) params = {{"threshold", -60}, {"ratio", 1}, {"makeup", 0}};
        else params["mix"] = 0;
        Stereo out = FX(kind, 48000, params).run(Stereo(in));
        EXPECT_EQ(out.left, in.left) << toString(kind);
        EXPECT_EQ(out.right, in.right) << toString(kind);
    }
    // The reverb's lines fill even at mix 0: raising the mix reveals the tail.
    FX reverb(EffectKind::reverb, 48000, {{"mix", 0}});
    reverb.run(Stereo(in));
    reverb.set({{"mix", 1}});
    Stereo tail = reverb.run(Stereo(2000));
    EXPECT_GT(*std::max_element(tail.left.begin(), tail.left.end()), 0.01f);
}

TEST(EffectProcessor, EveryParameterIsReadByItsName) {
    // A misspelt name would read as 0 whatever the slot holds: moving each parameter to either
    // end of its range must change the sound.
    const Stereo in = programme(6000, 48000);
    for (EffectKind kind : allCases<EffectKind>()) {
        const Stereo base = FX(kind, 48000, lively(kind)).run(Stereo(in));
        for (const EffectParamSpec& spec : EffectCatalog::specs(kind)) {
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

TEST(EffectProcessor, AReverbKeptAcrossALoadRingsOnAtItsNewSize) {
    // Changing "size" changes only what the combs write from now on, so the output stays that of
    // an untouched twin for exactly one pass of the shortest comb, 1116 frames at 44.1 kHz, and
    // then follows the new feedback: the tail is neither cut nor restarted.
    const double sr = 44100;
    EffectChain edited, twin;
    const std::vector<EffectSlot> before{slotOf(EffectKind::reverb, {{"size", 0.5}, {"mix", 1}})};
    edited.load(before, sr, {sr, 120});
    twin.load(before, sr, {sr, 120});
    Stereo burst = programme(4000, sr), burst2 = burst, a(32 * 940), b(32 * 940);
    edited.process(burst.left.data(), burst.right.data(), 4000);
    twin.process(burst2.left.data(), burst2.right.data(), 4000);
    const EffectProcessor* kept = edited.entries()[0].proc.get();
    edited.load(std::vector{slotOf(EffectKind::reverb, {{"size", 0.95}, {"mix", 1}})}, sr, {sr, 120});
    ASSERT_EQ(edited.entries()[0].proc.get(), kept);
    for (std::size_t at = 0; at < a.size(); at += 32) {
        edited.process(a.left.data() + at, a.right.data() + at, 32);
        twin.process(b.left.data() + at, b.right.data() + at, 32);
    }
    for (std::size_t i = 0; i < 1116; ++i) ASSERT_EQ(a.left[i], b.left[i]) << "frame " << i << " after the load";
    EXPECT_NE(a.left[1116], b.left[1116]);
    auto lateEnergy = [](const std::vector<float>& x) {
        double e = 0;
        for (std::size_t i = 20000; i < x.size(); ++i) e += double(x[i]) * x[i];
        return e;
    };
    EXPECT_GT(lateEnergy(a.left), 10 * lateEnergy(b.left)) << "the larger size rings longer";
}

} // namespace
} // namespace velmo
