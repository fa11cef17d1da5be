// The master chain through the engine core: the master effects run on the bus before the
// limiter, so even every effect at its loudest cannot push the output past the ceiling.
#include "FXRig.h"

#include "engine/EngineCore.h"
#include "engine/Limiter.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

using namespace velmo::testing;

TEST(MasterChain, EffectsAtTheirLoudestStayUnderTheLimiterCeiling) {
    Project p("Loud", 120);
    p.loopEnabled = false;
    Track lead("t1", "Lead", 0, SynthPatch{});
    lead.volumeDb = 0;
    Clip clip;
    clip.id = "c1";
    clip.start = 0;
    clip.length = 4;
    for (int pitch : {36, 48, 55, 60, 64, 67, 72}) clip.notes.push_back(Note{pitch, 0, 3, 1.0});
    lead.clips.push_back(clip);
    p.tracks.push_back(lead);
    const std::vector<std::pair<EffectKind, std::map<std::string, double>>> loudest{
        {EffectKind::drive, {{"drive", 1}, {"tone", 1}, {"level", 12}, {"mix", 1}}},
        {EffectKind::eq, {{"low", 18}, {"mid", 18}, {"midFreq", 1000}, {"high", 18}}},
        {EffectKind::bitcrush, {{"bits", 1}, {"downsample", 32}, {"mix", 1}}},
        {EffectKind::chorus, {{"rate", 5}, {"depth", 1}, {"mix", 1}}},
        {EffectKind::phaser, {{"rate", 5}, {"depth", 1}, {"feedback", 0.95}, {"mix", 1}}},
        {EffectKind::autofilter, {{"mode", 2}, {"resonance", 1}, {"rate", 20}, {"depth", 1}, {"mix", 1}}},
        {EffectKind::delay, {{"time", 0.0625}, {"feedback", 0.95}, {"tone", 1}, {"pingpong", 1}, {"mix", 1}}},
        {EffectKind::reverb, {{"size", 1}, {"damping", 0}, {"width", 1}, {"mix", 1}}},
        {EffectKind::compressor, {{"threshold", 0}, {"ratio", 1}, {"makeup", 24}}},
    };
    for (const auto& [kind, params] : loudest)
        p.masterEffects.push_back(EffectSlot{"fx" + std::to_string(p.masterEffects.size() + 10), kind, true, params});

    EngineCore core(48000);
    core.handle(EngineCommand::load(CompiledProject(p)));
    ASSERT_EQ(core.masterEffects().entries().size(), loudest.size());
    core.handle(EngineCommand::play());
    core.resetAnalysis();
    std::vector<float> left(512), right(512);
    float peak = 0;
    for (int callback = 0; callback < 48000 * 4 / 512; ++callback) {
        core.render(512, left.data(), right.data(), 0);
        for (std::size_t i = 0; i < left.size(); ++i) {
            ASSERT_TRUE(std::isfinite(left[i]) && std::isfinite(right[i])) << "callback " << callback;
            peak = std::max({peak, std::fabs(left[i]), std::fabs(right[i])});
        }
    }
    const MixAnalysis mix = core.analysisResult();
    EXPECT_LE(peak, Limiter::ceiling + 1e-6) << "the limiter comes after the master effects";
    EXPECT_GT(peak, 0.9f);
    EXPECT_GT(mix.clippedSamples, 48000) << "the effects drove the bus far over full scale";
    EXPECT_GT(mix.maxLimiterReductionDb, 20.0);
}

} // namespace
} // namespace velmo
