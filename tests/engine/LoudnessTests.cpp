// Loudness against signals whose answers are known (EBU Tech 3341's first case, a sine whose peaks
// fall between samples), and through the render: one audible track is the whole mix.
#include "EngineRig.h"
#include "engine/LoudnessMeter.h"
#include "engine/OfflineRenderer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace velmo {
namespace {

using namespace velmo::testing;

// `seconds` of a stereo sine of `amplitude` at `freq`, starting at `phase` radians.
Loudness measureSine(double sr, double freq, double amplitude, double phase, double seconds) {
    LoudnessMeter meter(sr);
    std::vector<float> l(1000);
    const auto frames = static_cast<std::size_t>(sr * seconds);
    for (std::size_t done = 0; done < frames; done += l.size()) {
        for (std::size_t i = 0; i < l.size(); ++i)
            l[i] = static_cast<float>(amplitude * std::sin(2 * std::numbers::pi * freq * double(done + i) / sr + phase));
        meter.add(l.data(), l.data(), static_cast<int>(l.size()));
    }
    return meter.result();
}

TEST(LoudnessMeter, ReadsKnownSignals) {
    // EBU Tech 3341, case 1: 1 kHz at -23 dBFS in both channels reads -23 LUFS in every window,
    // steady, so no range. Its peaks fall on samples often enough to read -23 dBTP too.
    const Loudness ebu = measureSine(48000, 1000, std::pow(10, -23.0 / 20), 0, 20);
    EXPECT_NEAR(ebu.integratedLufs, -23.0, 0.1);
    EXPECT_NEAR(ebu.maxMomentaryLufs, -23.0, 0.1);
    EXPECT_NEAR(ebu.maxShortTermLufs, -23.0, 0.1);
    EXPECT_NEAR(ebu.rangeLu, 0.0, 0.1);

    // A quarter of the sample rate, 45 degrees off: every sample is 3 dB under the wave's true
    // peak of -6 dB, which only the oversampled reading sees.
    const Loudness between = measureSine(44100, 44100 / 4.0, 0.5, std::numbers::pi / 4, 2);
    EXPECT_NEAR(between.truePeakDbtp, 20 * std::log10(0.5), 0.2);

    EXPECT_EQ(LoudnessMeter(44100).result(), Loudness{}) << "silence reads -180 and no range";
}

TEST(OfflineRenderer, OneAudibleTrackIsTheMixItsLoudnessIncluded) {
    SynthPatch sine;
    sine.analog.osc1.wave = OscWave::sine;
    sine.analog.osc2.level = 0;
    Track lead = trackOf("t1", {clipOf("c1", 0, 8, {{57, 0, 6, 0.8}, {64, 2, 4, 0.6}})}, sine);
    Track muted = trackOf("t2", {clipOf("c2", 0, 8, {{40, 0, 8, 1}})});
    lead.volumeDb = -6;
    muted.mute = true;
    const MixAnalysis a = OfflineRenderer::render(projectOf({lead, muted}), 0, 8, 0.5, 44100);
    ASSERT_EQ(a.tracks.size(), 2u);
    const Loudness& mix = a.loudness;
    const Loudness& track = a.tracks[0].loudness;
    EXPECT_GT(mix.integratedLufs, -40) << "the track plays";
    EXPECT_NEAR(track.integratedLufs, mix.integratedLufs, 0.01);
    EXPECT_NEAR(track.rangeLu, mix.rangeLu, 0.01);
    EXPECT_NEAR(track.maxShortTermLufs, mix.maxShortTermLufs, 0.01);
    EXPECT_NEAR(track.maxMomentaryLufs, mix.maxMomentaryLufs, 0.01);
    EXPECT_NEAR(track.truePeakDbtp, mix.truePeakDbtp, 0.01);
    EXPECT_EQ(a.tracks[1].loudness, Loudness{}) << "the muted track is silence";
    EXPECT_EQ(a.limitedFrames, 0) << "nothing here reaches the limiter";
    EXPECT_EQ(a.tracks[0].peakShare, 0.0);
    EXPECT_EQ(a.tracks[0].lowShare, 1.0) << "the only sound has all of each band";
    EXPECT_EQ(a.tracks[0].highShare, 1.0);
}

} // namespace
} // namespace velmo
