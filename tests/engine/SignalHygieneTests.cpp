// What a musician hears besides the notes, measured on a track's output: no DC or sub-audio
// drift from any preset.
#include "support/SignalMeasure.h"

#include "catalog/Presets.h"
#include "engine/TrackProcessor.h"

#include <gtest/gtest.h>

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

} // namespace
} // namespace velmo
