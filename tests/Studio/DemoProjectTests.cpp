#include "Studio/Studio.h"
#include "catalog/EffectCatalog.h"
#include "catalog/SongRanges.h"
#include "engine/OfflineRenderer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>

namespace velmo {
namespace {

// The demo as properties rather than a copy of its tables: it is the song a person edits first,
// so everything in it must be what an edit could have made.
TEST(DemoProject, IsASongAnEditCouldHaveMade) {
    const Project demo = Studio::demoProject();
    EXPECT_GE(demo.tempo, kTempoRange.min);
    EXPECT_LE(demo.tempo, kTempoRange.max);
    EXPECT_TRUE(demo.loopEnabled && demo.loopStart < demo.loopEnd && demo.loopEnd <= demo.songEnd());

    // Ids are unique and all below the counter, so the next edit's id is new.
    std::set<std::string> ids;
    auto numbered = [&](const std::string& id) {
        EXPECT_TRUE(ids.insert(id).second) << id;
        EXPECT_LT(std::stoi(id.substr(id.find_first_of("0123456789"))), demo.nextId) << id;
    };
    auto checkChain = [&](const CowVector<EffectSlot>& chain) {
        for (const EffectSlot& slot : chain) {
            numbered(slot.id);
            for (const auto& [name, value] : slot.params) {
                const EffectParamInfo* spec = EffectCatalog::spec(slot.kind, name);
                ASSERT_NE(spec, nullptr) << slot.id << " " << name;
                EXPECT_TRUE(value >= spec->min && value <= spec->max) << slot.id << " " << name;
            }
        }
    };
    checkChain(demo.masterEffects);
    for (const Track& track : demo.tracks) {
        numbered(track.id);
        checkChain(track.effects);
        EXPECT_GE(track.volumeDb, kVolumeDbRange.min);
        EXPECT_LE(track.volumeDb, kVolumeDbRange.max);
        EXPECT_TRUE(track.pan >= kPanRange.min && track.pan <= kPanRange.max) << track.name;
        for (const Clip& clip : track.clips) {
            numbered(clip.id);
            EXPECT_FALSE(clip.notes.empty()) << clip.name;
            for (std::size_t i = 0; i < clip.notes.size(); ++i) {
                const Note& n = clip.notes[i];
                EXPECT_TRUE(n.pitch >= 0 && n.pitch <= 127 && n.velocity > 0 && n.velocity <= 1 && n.duration > 0 &&
                            n.start >= 0 && n.start + n.duration <= clip.length)
                    << clip.name << " note " << i;
                // Stored as every Studio edit keeps them: by start, then pitch.
                if (i > 0) {
                    const Note& a = clip.notes[i - 1];
                    EXPECT_TRUE(a.start < n.start || (a.start == n.start && a.pitch <= n.pitch)) << clip.name << " note " << i;
                }
            }
        }
    }
}

// The song a person hears first: every track sounds, nothing clips, the mix is not buried.
TEST(DemoProject, RendersWithEveryTrackAudible) {
    const Project demo = Studio::demoProject();
    const MixAnalysis mix = OfflineRenderer::render(demo, 0, 16, 0.5, 44100);
    ASSERT_EQ(mix.tracks.size(), 4u);
    for (std::size_t i = 0; i < mix.tracks.size(); ++i) {
        EXPECT_EQ(mix.tracks[i].id, demo.tracks[i].id);
        EXPECT_GT(mix.tracks[i].peakDb, -40) << demo.tracks[i].name << " is audible";
        EXPECT_LT(mix.tracks[i].peakDb, 0.5) << demo.tracks[i].name << " leaves headroom";
    }
    EXPECT_GT(mix.rmsDb, -30);
    EXPECT_LE(mix.peakDb, 20 * std::log10(0.966) + 1e-6) << "the limiter's ceiling";
    EXPECT_NEAR(mix.seconds, 16 * 60.0 / 112 + 0.5, 0.01);
}

} // namespace
} // namespace velmo
