// describe_sound on patches whose answers are known: a sine's pitch, attack and release, a saw
// brighter than the sine, a pluck that decays while held, a tone cut off with a click; and the song
// and its history untouched.
#include "ToolTestSupport.h"

#include <cmath>

using namespace velmo;
using nlohmann::json;

namespace {

Project sounds() {
    SynthPatch sine;
    sine.analog.osc1.wave = OscWave::sine;
    sine.analog.osc2.level = 0;
    sine.ampEnv = {0.05, 0.3, 1.0, 0.3}; // 50 ms up, full sustain, 300 ms to -60 dB
    SynthPatch saw = sine;
    saw.analog.osc1.wave = OscWave::saw;
    saw.filter.cutoff = 20000;
    SynthPatch tick = sine;
    tick.ampEnv = {0.05, 0.3, 1.0, 0.001}; // cut off at note-off
    SynthPatch pluck;
    pluck.engine = EngineKind::pluck;
    pluck.pluck.decay = 0.3;
    SynthPatch ring = pluck;
    ring.pluck.decay = 1.2;
    Project p("Sounds", 120);
    int n = 0;
    for (auto [name, patch] : {std::pair{"Sine", sine}, {"Saw", saw}, {"Tick", tick}, {"Pluck", pluck}, {"Ring", ring}})
        p.tracks.push_back(Track("t" + std::to_string(++n), name, 0, patch));
    return p;
}

struct DescribeSound : velmo::testing::ToolFixture {
    DescribeSound() : ToolFixture(sounds()) {}
};

} // namespace

TEST_F(DescribeSound, TellsWhatANoteSoundsLike) {
    result("update_track", {{"track", "Saw"}, {"volume_db", -20}}); // one edit in the history
    const Project before = studio.project();

    json sine = result("describe_sound", {{"track", "Sine"}, {"pitch", "A4"}, {"seconds", 0.5}});
    EXPECT_EQ(sine["note"], "A4");
    EXPECT_NEAR(sine["pitch_hz"].get<double>(), 440.0, 440.0 * (std::exp2(0.5 / 1200) - 1)) << sine;
    EXPECT_NEAR(sine["cents_from_note"].get<double>(), 0.0, 0.5);
    EXPECT_NEAR(sine["attack_ms"].get<double>(), 50, 5);
    EXPECT_NEAR(sine["release_20db_ms"].get<double>(), 100, 5) << "exponential: a third of the way to -60 dB";
    EXPECT_NEAR(sine["release_60db_ms"].get<double>(), 300, 5);
    EXPECT_TRUE(sine["decay_20db_ms"].is_null()) << "it holds while the key is down";
    EXPECT_NEAR(sine["centroid_hz"].get<double>(), 440, 20);
    EXPECT_LT(sine["noisiness"].get<double>(), 0.05);
    EXPECT_EQ(sine["click_at_start"], false);
    EXPECT_EQ(sine["click_at_end"], false);
    EXPECT_GT(sine["bands"]["mid_250Hz_4kHz"].get<double>(), 0.99);

    json saw = result("describe_sound", {{"track", "Saw"}, {"pitch", 69}, {"seconds", 0.5}});
    EXPECT_GT(saw["centroid_hz"].get<double>(), 2 * sine["centroid_hz"].get<double>()) << saw;
    EXPECT_GT(saw["brightness"].get<double>(), sine["brightness"].get<double>());
    EXPECT_NEAR(saw["cents_from_note"].get<double>(), 0.0, 0.5);

    json tick = result("describe_sound", {{"track", "Tick"}, {"pitch", "A4"}, {"seconds", 0.3}});
    EXPECT_EQ(tick["click_at_end"], true) << tick;
    EXPECT_LT(tick["release_20db_ms"].get<double>(), 2) << tick;
    for (const char* low : {"A4", "C2"}) // the DC blocker's inaudible swing after the cut is not a release
        EXPECT_LT(result("describe_sound", {{"track", "Tick"}, {"pitch", low}, {"seconds", 0.3}})["release_60db_ms"].get<double>(), 5) << low;
    EXPECT_EQ(tick["level_at_release_db"].dump(), "0.0") << "full level at note-off, never -0.0";

    // A pluck dies away with the key still down, and a longer ring time shows as a longer decay.
    json pluck = result("describe_sound", {{"track", "Pluck"}, {"pitch", "A4"}, {"seconds", 2}});
    json ring = result("describe_sound", {{"track", "Ring"}, {"pitch", "A4"}, {"seconds", 2}});
    ASSERT_TRUE(pluck["decay_20db_ms"].is_number()) << pluck;
    ASSERT_TRUE(ring["decay_20db_ms"].is_number()) << ring;
    EXPECT_LT(pluck["decay_20db_ms"].get<double>(), ring["decay_20db_ms"].get<double>());
    EXPECT_LT(pluck["level_at_release_db"].get<double>(), -20);
    EXPECT_LT(std::fabs(pluck["cents_from_note"].get<double>()), 50) << "it sounds the note it was given";

    EXPECT_TRUE(studio.project() == before) << "describing changes nothing";
    EXPECT_TRUE(studio.canUndo());
    EXPECT_FALSE(studio.canRedo());
    fails("describe_sound", {{"track", "Organ"}}, "No track 'Organ'. Tracks: t1 (Sine), t2 (Saw), t3 (Tick), t4 (Pluck), t5 (Ring).");
}
