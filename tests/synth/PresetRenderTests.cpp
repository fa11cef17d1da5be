// Every factory preset, played through a voice as a track plays it: audible, finite, bounded,
// and silent again once its note is over.
#include "catalog/Presets.h"
#include "synth/Voice.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace velmo;

namespace {

constexpr double kSr = 48000.0;

struct Played {
    double peak = 0.0;
    bool finite = true;
    bool endedAfterRelease = false;
};

// Holds the note for `holdBlocks`, releases it, and renders up to ten seconds more.
Played play(const SynthPatch& patch, int pitch, double velocity, int holdBlocks) {
    const RenderContext ctx{kSr, 120.0};
    Voice v;
    v.start(pitch, velocity, 1, 1, patch, kSr);
    Played result;
    float l[32], r[32];
    const int limit = holdBlocks + static_cast<int>(10.0 * kSr / 32);
    for (int b = 0; b < limit && v.active; ++b) {
        if (b == holdBlocks) v.release(patch.engine);
        std::fill_n(l, 32, 0.0f);
        std::fill_n(r, 32, 0.0f);
        v.render(32, patch, ctx, l, r);
        for (int i = 0; i < 32; ++i) {
            if (!std::isfinite(l[i]) || !std::isfinite(r[i])) result.finite = false;
            result.peak = std::max({result.peak, static_cast<double>(std::fabs(l[i])), static_cast<double>(std::fabs(r[i]))});
        }
    }
    result.endedAfterRelease = !v.active;
    return result;
}

} // namespace

TEST(FactoryPresets, EveryPresetSoundsThroughAVoice) {
    ASSERT_FALSE(Presets::all().empty());
    for (const Preset& preset : Presets::all()) {
        const bool drums = preset.patch.engine == EngineKind::drums;
        const std::vector<int> pitches = drums ? std::vector<int>{36, 38, 39, 42, 46, 49, 51, 56, 45}
                                               : std::vector<int>{36, 60, 84};
        for (int pitch : pitches) {
            for (double velocity : {0.2, 1.0}) {
                Played p = play(preset.patch, pitch, velocity, static_cast<int>(0.4 * kSr / 32));
                EXPECT_TRUE(p.finite) << preset.name << " at note " << pitch;
                EXPECT_GT(p.peak, 0.01) << preset.name << " at note " << pitch << " is audible";
                EXPECT_LT(p.peak, 2.0) << preset.name << " at note " << pitch << " stays in bounds";
                EXPECT_TRUE(p.endedAfterRelease) << preset.name << " at note " << pitch << " ends";
            }
        }
    }
}

// A hand-edited project file can hold any finite values and an FM operator list of any length:
// such a patch plays (or stays silent) and never stops the process.
TEST(HandEditedPatches, ShortOperatorListsAndHugeDecaysStillRender) {
    SynthPatch fm = Presets::named("FM E-Piano")->patch;
    fm.fm.ops.resize(2);
    Played twoOps = play(fm, 60, 1.0, 200);
    EXPECT_TRUE(twoOps.finite);
    EXPECT_GT(twoOps.peak, 0.01) << "the operators that are there still sound";
    fm.fm.ops.clear();
    EXPECT_TRUE(play(fm, 60, 1.0, 20).finite);

    SynthPatch drums = Presets::named("808 Kit")->patch;
    drums.drums.kickDecay = 1e300;
    drums.drums.cymbalDecay = 1e300;
    for (int pitch : {36, 49}) {
        const RenderContext ctx{kSr, 120.0};
        Voice v;
        v.start(pitch, 1.0, 1, 1, drums, kSr);
        float l[32] = {}, r[32] = {};
        v.render(32, drums, ctx, l, r);
        EXPECT_TRUE(std::isfinite(l[0]) && std::isfinite(r[31])) << "note " << pitch;
    }
}
