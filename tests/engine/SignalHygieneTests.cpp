// What a musician hears besides the notes, measured on a track's output and on the engine's:
// no DC or sub-audio drift from any preset, no click when a sounding voice is stolen, no zipper
// noise when a level or pan moves.
#include "EngineRig.h"
#include "support/SignalMeasure.h"

#include "catalog/Presets.h"
#include "engine/TrackProcessor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>

namespace velmo {
namespace {

using namespace velmo::test;

const RenderContext kCtx{kSr, 120};

// One track at unity gain, centred, playing its notes through the whole processor.
struct Track {
    explicit Track(const SynthPatch& patch) : tp("t1", patch) {
        auto t = std::make_shared<CompiledTrack>();
        t->id = "t1";
        t->patch = patch;
        t->gain = 1.0;
        tp.load(t, kCtx, 0);
    }
    // Renders `frames` frames; `each` runs before every block with the frame count so far.
    template <class Each>
    Stereo render(int frames, Each&& each) {
        int done = 0;
        return renderStereo(frames, [&](int n, float* l, float* r) {
            each(done);
            tp.renderBlock(n, kCtx, l, r, false);
            done += n;
        });
    }
    Stereo render(int frames) { return render(frames, [](int) {}); }

    TrackProcessor tp;
};

TEST(SignalHygiene, NoPresetLeavesDCOrSubAudioDrift) {
    for (const Preset& preset : Presets::all()) {
        const bool drums = preset.patch.engine == EngineKind::drums;
        for (int pitch : drums ? std::vector<int>{36, 38} : std::vector<int>{36, 84}) {
            Track t(preset.patch);
            // A held note, or a hit every quarter second.
            const Stereo out = t.render(static_cast<int>(1.75 * kSr), [&](int done) {
                if (drums ? done % 12000 == 0 : done == 0) t.tp.noteOn(pitch, 0.8, kCtx);
            });
            const std::vector<double> held = slice(out.left, 12000, 72000);
            EXPECT_LT(levelBelowDb(held, 10.0, kSr), -60.0) << preset.name << " at note " << pitch;
        }
    }
}

// A voice stolen while it sounds fades out before its new note: the steal adds at most 6 dB of
// energy above 6 kHz, in the 25 ms around it, to the same notes played without a steal (the
// held notes on one track and the new one on another), for every engine.
TEST(SignalHygiene, StealingASoundingVoiceDoesNotClick) {
    for (EngineKind engine : allCases<EngineKind>()) {
        SynthPatch patch = Presets::firstFor(engine)->patch;
        patch.voice.mode = VoiceMode::poly;
        patch.voice.polyphony = 2;
        const bool drums = engine == EngineKind::drums;
        // Two notes fill the poly track, sixteen crashes the kit; the next note takes the oldest.
        const std::vector<int> held = drums ? std::vector<int>(16, 49) : std::vector<int>{60, 64};
        const int next = drums ? 38 : 67, at = 9600;
        auto play = [&](bool first, bool second) {
            Track t(patch);
            return t.render(at + 2400, [&](int done) {
                if (first && done == 0)
                    for (int pitch : held) t.tp.noteOn(pitch, 1.0, kCtx);
                if (second && done == at) t.tp.noteOn(next, 1.0, kCtx);
            }).left;
        };
        const std::vector<double> stolen = play(true, true);
        std::vector<double> apart = play(true, false);
        const std::vector<double> alone = play(false, true);
        for (size_t i = 0; i < apart.size(); ++i) apart[i] += alone[i];
        const double reference = std::max(levelAboveDb(apart, 6000.0, kSr, at - 48, 1200), -80.0);
        EXPECT_LT(levelAboveDb(stolen, 6000.0, kSr, at - 48, 1200), reference + 6.0) << toString(engine);
    }
}

// A sine with a sweep of each level and pan that can move: through edits arriving every block
// (track volume and pan, master volume, voice level) and through modulation (volume and pan by
// an LFO). The sweep adds nothing above 2 kHz over -80 dB.
TEST(SignalHygiene, LevelAndPanSweepsMakeNoZipperNoise) {
    using testing::Rig;
    using testing::kRate;
    SynthPatch sine;
    sine.analog.osc1.wave = OscWave::sine;
    sine.analog.osc2.level = 0.0;
    sine.filter.type = FilterType::off;
    sine.ampEnv = EnvelopeParams{0.05, 0.0, 1.0, 0.3};
    sine.voice.level = 0.5;
    sine.voice.velocitySens = 0.0;
    struct Sweep {
        const char* what;
        std::function<void(Project&, double)> set; // x runs from 0 to 1 over the sweep
    };
    const std::vector<Sweep> sweeps{
        {"track volume", [](Project& p, double x) { p.tracks.mut(0).volumeDb = -48.0 * x; }},
        {"track pan", [](Project& p, double x) { p.tracks.mut(0).pan = 2.0 * x - 1.0; }},
        {"master volume", [](Project& p, double x) { p.masterVolumeDb = -48.0 * x; }},
        {"voice level", [](Project& p, double x) { p.tracks.mut(0).patch.voice.level = 0.5 - 0.49 * x; }},
        {"volume by an LFO", [](Project& p, double) { p.tracks.mut(0).patch.mod[0] = {ModSource::lfo1, ModDestination::volume, 0.5}; }},
        {"pan by an LFO", [](Project& p, double) { p.tracks.mut(0).patch.mod[0] = {ModSource::lfo1, ModDestination::pan, 1.0}; }},
    };
    for (const Sweep& sweep : sweeps) {
        Project p = testing::projectOf({testing::trackOf("t1", {testing::clipOf("c1", 0, 8, {{69, 0, 8, 1}})}, sine)});
        p.tracks.mut(0).volumeDb = 0.0;
        sweep.set(p, 0.0);
        Rig rig;
        rig.play(p);
        const int blocks = static_cast<int>(0.6 * kRate / 32);
        for (int b = 0; b < blocks; ++b) {
            sweep.set(p, std::clamp((b * 32 / kRate - 0.15) / 0.15, 0.0, 1.0)); // from 0.15 s to 0.3 s
            rig.load(p);
            rig.render(32);
        }
        for (const std::vector<float>* side : {&rig.left, &rig.right}) {
            const std::vector<double> out(side->begin(), side->end());
            EXPECT_LT(levelAboveDb(out, 2000.0, kRate, static_cast<size_t>(0.1 * kRate), static_cast<size_t>(0.45 * kRate)), -80.0)
                << sweep.what;
        }
    }
}

// An infinite setting makes the first beat non-finite: a voice level in the voice, or an EQ
// gain in the first effect, which then poisons the delay and reverb behind it. The track drops what
// is non-finite and resets its voices and its effects, so nothing non-finite reaches the output,
// the status counts the bad blocks, and once the setting is mended the next note sounds.
TEST(SignalHygiene, ANonFiniteSampleNeverReachesTheOutput) {
    using testing::kFramesPerBeat;
    const double inf = std::numeric_limits<double>::infinity();
    struct Case {
        const char* what;
        std::function<void(velmo::Track&, double)> set; // the setting, infinite or mended
        bool oneBlock; // a voice's fault ends with the cleared voice; the EQ's lasts the beat
    };
    const Case cases[] = {
        {"voice level", [](velmo::Track& t, double v) { t.patch.voice.level = v; }, true},
        {"EQ gain", [](velmo::Track& t, double v) { t.effects.mut(0).params["mid"] = v; }, false},
    };
    for (const Case& c : cases) {
        Project p = testing::projectOf({testing::trackOf("t1", {testing::clipOf("c1", 0, 4, {{69, 0, 1, 1}, {69, 2, 1, 1}})})});
        p.tracks.mut(0).effects = {EffectSlot{"fx0", EffectKind::eq, true, {}}, EffectSlot{"fx1", EffectKind::delay, true, {}},
                                   EffectSlot{"fx2", EffectKind::reverb, true, {}}};
        c.set(p.tracks.mut(0), inf);
        testing::Rig rig;
        rig.play(p);
        rig.render(static_cast<int>(kFramesPerBeat));
        c.set(p.tracks.mut(0), 0.5);
        rig.load(p);
        rig.render(static_cast<int>(3 * kFramesPerBeat));
        EXPECT_TRUE(std::all_of(rig.left.begin(), rig.left.end(), [](float x) { return std::isfinite(x); })) << c.what;
        EXPECT_TRUE(std::all_of(rig.right.begin(), rig.right.end(), [](float x) { return std::isfinite(x); })) << c.what;
        if (c.oneBlock) EXPECT_EQ(rig.core.status().nonFiniteBlocks, 1);
        else EXPECT_GE(rig.core.status().nonFiniteBlocks, 1);
        // The next note, and the delay and reverb tail behind it, sound.
        EXPECT_GT(rig.peak(static_cast<size_t>(2 * kFramesPerBeat), static_cast<size_t>(3 * kFramesPerBeat)), 0.05f) << c.what;
        EXPECT_GT(rig.peak(static_cast<size_t>(3.5 * kFramesPerBeat), static_cast<size_t>(4 * kFramesPerBeat)), 0.001f) << c.what;
    }
}

} // namespace
} // namespace velmo
