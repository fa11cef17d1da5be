// Offline renders and the WAV writer, read back with libsndfile as an independent reader: frame
// counts from beats and tail, the loop and MIDI routes ignored, the limiter's ceiling in the file,
// the analysis agreeing with the file, and 24-bit samples that clip instead of wrapping.
#include "EngineRig.h"
#include "engine/OfflineRenderer.h"
#include "engine/WavWriter.h"

#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include <filesystem>
#include <fstream>
#include <limits>
#include <system_error>

namespace velmo {
namespace {

using namespace velmo::testing;

struct Read {
    SF_INFO info{};
    std::vector<int> samples; // interleaved; libsndfile widens 24-bit samples to the top of an int
};

Read readBack(const std::filesystem::path& path) {
    Read r;
    SNDFILE* sf = sf_open(path.c_str(), SFM_READ, &r.info);
    if (!sf) throw std::runtime_error(sf_strerror(nullptr));
    r.samples.resize(static_cast<std::size_t>(r.info.frames * r.info.channels));
    sf_readf_int(sf, r.samples.data(), r.info.frames);
    sf_close(sf);
    return r;
}

std::filesystem::path tempPath(const std::string& name) {
    return std::filesystem::temp_directory_path() / ("velmo-render-" + std::to_string(::getpid()) + "-" + name);
}

float peakOf(const Read& r, std::size_t fromFrame, std::size_t toFrame) {
    float m = 0;
    for (std::size_t i = fromFrame * 2; i < std::min(toFrame * 2, r.samples.size()); ++i)
        m = std::max(m, std::fabs(float(r.samples[i] / 256) / 8388608));
    return m;
}

TEST(OfflineRenderer, WritesTheSpanAndTailAndMeasuresThem) {
    // Beat 4 to 8 at 120 BPM is 2 s: 96000 frames at 48 kHz, plus half a second of tail. The
    // project loop lies inside the span and is ignored; the routed track still sounds.
    Track lead = trackOf("t1", {clipOf("c1", 0, 8, {{60, 4, 1, 1}, {64, 7, 2, 1}})});
    Track routed = trackOf("t2", {clipOf("c2", 0, 8, {{48, 6, 1, 1}})});
    routed.midiOut = MIDIRoute{"Some Synth", 1, false};
    lead.volumeDb = routed.volumeDb = -6; // headroom: this mix does not clip
    Project p = projectOf({lead, routed});
    p.loopEnabled = true;
    p.loopStart = 4;
    p.loopEnd = 5;
    auto path = tempPath("span.wav");
    MixAnalysis a = OfflineRenderer::render(p, 4, 8, 0.5, 48000, path);

    Read r = readBack(path);
    EXPECT_EQ(r.info.format, SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    EXPECT_EQ(r.info.samplerate, 48000);
    EXPECT_EQ(r.info.channels, 2);
    EXPECT_EQ(r.info.frames, 96000 + 24000);
    EXPECT_EQ(std::filesystem::file_size(path), 44u + 6u * 120000u) << "a canonical 44-byte header";
    EXPECT_DOUBLE_EQ(a.seconds, 2.5);
    EXPECT_GT(peakOf(r, 0, 24000), 0.01f) << "beat 4 sounds";
    EXPECT_GT(peakOf(r, 48000, 60000), 0.01f) << "beat 6 sounds: the loop 4..5 did not wrap";
    EXPECT_GT(peakOf(r, 96000, 96000 + 2400), 0.01f) << "the note held at the end rings into the tail";
    // The ceiling holds in the file to the 24-bit step (0.966f itself quantises half a step up).
    EXPECT_LE(peakOf(r, 0, 120000), 0.966f + 1.0f / 8388608);
    EXPECT_NEAR(a.peakDb, 20 * std::log10(peakOf(r, 0, 120000)), 0.001) << "the analysis measures the file's output";
    ASSERT_EQ(a.tracks.size(), 2u);
    EXPECT_GT(a.tracks[1].peakDb, -60) << "a track routed to MIDI plays its synth in a render";
    EXPECT_EQ(a.clippedSamples, 0);
    std::filesystem::remove(path);
}

TEST(OfflineRenderer, EmptySpanGivesAHeaderOnlyFileAndSilence) {
    Project p = songOf(4, {{60, 0, 1, 1}});
    auto path = tempPath("empty.wav");
    { std::ofstream(path) << "an older file at the path is replaced"; }
    MixAnalysis a = OfflineRenderer::render(p, 8, 4, 0, 48000, path);
    EXPECT_EQ(std::filesystem::file_size(path), 44u);
    EXPECT_EQ(readBack(path).info.frames, 0);
    EXPECT_EQ(a.seconds, 0.0);
    EXPECT_EQ(a.peakDb, -180.0);
    EXPECT_EQ(a.highRmsDb, -180.0);
    ASSERT_EQ(a.tracks.size(), 1u);
    EXPECT_EQ(a.tracks[0].rmsDb, -180.0);
    std::filesystem::remove(path);
    // Measuring only, at another rate: frames follow the rate, not a device.
    MixAnalysis m = OfflineRenderer::render(p, 0, 1, 0, 44100);
    EXPECT_DOUBLE_EQ(m.seconds, 22050 / 44100.0);
    EXPECT_GT(m.rmsDb, -60);
}

TEST(OfflineRenderer, SpansAreCutToAnHourAndUndefinedLengthsAreNone) {
    using OfflineRenderer::frameSpan;
    // "music+tail" in frames
    auto frames = [](const OfflineRenderer::FrameSpan& s) { return std::to_string(s.music) + "+" + std::to_string(s.tail); };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // Beats 0 to 8 at 120 BPM: 4 s of music; the tail fills what the hour leaves.
    EXPECT_EQ(frames(frameSpan(0, 8, 3, 120, 1000)), "4000+3000");
    EXPECT_EQ(frames(frameSpan(0, 8, 1e9, 120, 1000)), "4000+3596000");
    // A mistyped end beat, one past any frame count, and a reversed span.
    EXPECT_EQ(frames(frameSpan(0, 1e12, 3, 120, 1000)), "3600000+0");
    EXPECT_EQ(frames(frameSpan(0, 1e308, 1e308, 300, 48000)), "172800000+0");
    EXPECT_EQ(frames(frameSpan(8, 4, -2, 120, 1000)), "0+0");
    EXPECT_EQ(frames(frameSpan(0, nan, nan, 120, 1000)), "0+0");
}

TEST(WavWriter, SamplesReadBackExactlyAndClipInsteadOfWrapping) {
    const std::vector<float> left{0.0f, 0.5f, -0.5f, 1.0f, -1.0f, 1.5f, -3.0f, 1e-7f, std::numeric_limits<float>::quiet_NaN()};
    const std::vector<float> right{0.1f, -0.1f, 0.999f, -0.999f, 0.0f, 0.75f, 2.0f, -1e-7f, -0.25f};
    const std::vector<int> expectedLeft{0, 4194304, -4194304, 8388607, -8388608, 8388607, -8388608, 1, -8388608};
    auto path = tempPath("samples.wav");
    {
        WavWriter writer(path, 44100);
        writer.write(left.data(), right.data(), 4);
        writer.write(left.data() + 4, right.data() + 4, left.size() - 4); // two writes make one stream
        writer.close();
    }
    const Read r = readBack(path);
    EXPECT_EQ(r.info.samplerate, 44100);
    ASSERT_EQ(r.info.frames, static_cast<sf_count_t>(left.size()));
    for (std::size_t i = 0; i < left.size(); ++i) {
        // Full scale and NaN must not wrap.
        EXPECT_EQ(r.samples[2 * i] / 256, expectedLeft[i]) << "left frame " << i;
        EXPECT_NEAR(r.samples[2 * i + 1] / 2147483648.0, std::clamp(right[i], -1.0f, 1.0f), 1.5 / 8388608) << "right frame " << i;
    }
    std::filesystem::remove(path);

    { WavWriter abandoned(path, 48000); } // a render that never finishes leaves no file
    EXPECT_FALSE(std::filesystem::exists(path));
    {
        WavWriter empty(path, 48000);
        empty.close();
    }
    EXPECT_EQ(readBack(path).info.frames, 0);
    std::filesystem::remove(path);
    auto bad = tempPath("no-such-dir") / "x.wav";
    try {
        WavWriter writer(bad, 48000);
        FAIL() << "opening inside a missing directory must throw";
    } catch (const std::system_error& e) {
        EXPECT_NE(std::string(e.what()).find(bad.string()), std::string::npos) << e.what();
    }
    EXPECT_THROW(OfflineRenderer::render(songOf(1, {}), 0, 1, 0, 48000, bad), std::system_error);
}

TEST(OfflineRenderer, AFailedExportLeavesTheOldFileAndNoOther) {
    namespace fs = std::filesystem;
    const fs::path folder = tempPath("full-disk");
    fs::create_directories(folder);
    const fs::path mix = folder / "mix.wav";
    const Project song = songOf(16, {{60, 0, 16, 1}});
    OfflineRenderer::render(song, 0, 1, 0, 48000, mix); // an earlier export: 0.5 s
    const auto before = fs::file_size(mix);

    // A disk that fills up: no file may grow past 1 MiB, which a 4 s render would.
    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = saved;
    small.rlim_cur = 1 << 20;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    EXPECT_THROW(OfflineRenderer::render(song, 0, 8, 0, 48000, mix), std::system_error);
    ::setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, oldHandler);

    EXPECT_EQ(fs::file_size(mix), before);
    EXPECT_EQ(readBack(mix).info.frames, 24000);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1) << "no partial file";
    fs::remove_all(folder);
}

} // namespace
} // namespace velmo
