// `velmo render` and `velmo analyze` as a user runs them: the file written, the analysis JSON
// printed, and one-line errors with exit status 1 for files that do not open or decode.
#include "EngineRig.h"
#include "RenderCommand.h"
#include "server/MixAnalysisJSON.h"
#include "model/ProjectJSON.h"

#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace velmo {
namespace {

using namespace velmo::testing;

struct Outcome {
    int status;
    std::string out, err;
};

std::string drain(std::FILE* f) {
    std::rewind(f);
    std::string text;
    char buf[4096];
    while (std::size_t n = std::fread(buf, 1, sizeof buf, f)) text.append(buf, n);
    std::fclose(f);
    return text;
}

Outcome velmo(std::vector<std::string> args) {
    args.insert(args.begin(), "velmo");
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    int status = runRenderCommand(static_cast<int>(argv.size()), argv.data(), out, err);
    return {status, drain(out), drain(err)};
}

struct RenderCommandFixture : ::testing::Test {
    std::filesystem::path dir = std::filesystem::temp_directory_path() / ("velmo-cli-" + std::to_string(::getpid()));
    void SetUp() override { std::filesystem::create_directories(dir); }
    void TearDown() override { std::filesystem::remove_all(dir); }

    std::filesystem::path write(const std::string& name, const std::string& text) {
        auto path = dir / name;
        std::ofstream(path) << text;
        return path;
    }
};

TEST_F(RenderCommandFixture, RenderWritesTheWavBesideTheProjectAndPrintsTheAnalysis) {
    Track lead = trackOf("t1", {clipOf("c1", 0, 4, {{60, 0, 2, 0.8}})});
    lead.name = "Lead";
    Track quiet = trackOf("t2", {});
    quiet.name = "Empty";
    Project p = projectOf({lead, quiet}); // the empty track is named in the notes
    auto file = write("song.velmo.json", encodeProjectFile(p));

    Outcome r = velmo({"render", file.string(), "--end", "2", "--tail", "0.25"});
    ASSERT_EQ(r.status, 0) << r.err;
    auto wav = dir / "song.wav";
    SF_INFO info{};
    SNDFILE* sf = sf_open(wav.c_str(), SFM_READ, &info);
    ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
    sf_close(sf);
    EXPECT_EQ(info.frames, 48000 + 12000) << "two beats at 120 BPM and a quarter second of tail, at 48 kHz";

    auto json = nlohmann::json::parse(r.out);
    EXPECT_EQ(json["file"], wav.string());
    EXPECT_EQ(json["seconds"], 1.25);
    EXPECT_EQ(json["tracks"][0]["name"], "Lead");
    const auto& notes = json["notes"];
    EXPECT_NE(std::find(notes.begin(), notes.end(), "Silent tracks in this range: Empty."), notes.end()) << notes;

    Outcome a = velmo({"analyze", file.string()});
    ASSERT_EQ(a.status, 0) << a.err;
    auto analysis = nlohmann::json::parse(a.out);
    EXPECT_EQ(analysis["seconds"], 2.5) << "song end 4 beats at 120 BPM, and half a second of tail";
    EXPECT_FALSE(analysis.contains("file"));
    EXPECT_GT(analysis["loudness"]["integrated_lufs"].get<double>(), -30) << "loudness is part of the analysis";
    Outcome loud = velmo({"analyze", file.string(), "--target-lufs", "0"});
    ASSERT_EQ(loud.status, 0) << loud.err;
    EXPECT_NE(loud.out.find("LU below the 0.0 LUFS target"), std::string::npos) << loud.out;
}

TEST_F(RenderCommandFixture, BadFilesAndArgumentsGiveOneClearLine) {
    Outcome missing = velmo({"analyze", (dir / "nope.velmo.json").string()});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("nope.velmo.json: cannot open"), std::string::npos) << missing.err;
    EXPECT_EQ(std::count(missing.err.begin(), missing.err.end(), '\n'), 1);
    auto garbage = write("bad.velmo.json", "{\"name\": 3");
    Outcome bad = velmo({"render", garbage.string()});
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.err.find("bad.velmo.json: not a Velmo project"), std::string::npos) << bad.err;
    EXPECT_FALSE(std::filesystem::exists(dir / "bad.wav"));

    auto good = write("ok.velmo.json", encodeProjectFile(projectOf({})));
    Outcome unwritable = velmo({"render", good.string(), "-o", (dir / "no-dir" / "x.wav").string()});
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_NE(unwritable.err.find("x.wav: cannot write"), std::string::npos) << unwritable.err;

    for (const char* target : {"loud", "3", "-61", "nan"}) {
        Outcome r = velmo({"analyze", good.string(), "--target-lufs", target});
        EXPECT_EQ(r.status, 2);
        EXPECT_NE(r.err.find("--target-lufs expects a loudness from -60 to 0 LUFS, not '" + std::string(target) + "'"),
                  std::string::npos) << r.err;
    }
    Outcome option = velmo({"render", good.string(), "--speed", "2"});
    EXPECT_EQ(option.status, 2);
    EXPECT_NE(option.err.find("unknown option '--speed' for render; options: -o, --start, --end, --tail"), std::string::npos)
        << option.err;
    Outcome value = velmo({"render", good.string(), "--end", "soon"});
    EXPECT_EQ(value.status, 2);
    EXPECT_NE(value.err.find("--end expects a number, not 'soon'"), std::string::npos) << value.err;
    EXPECT_EQ(velmo({"analyze"}).status, 2);
    EXPECT_EQ(velmo({"--headless"}).status, -1) << "not a render command: the caller carries on";
}

TEST(MixAnalysisJSON, WarningsFollowTheMeasurements) {
    Project p = projectOf({trackOf("t1", {})});
    MixAnalysis a;
    a.seconds = 1.23456;
    a.peakDb = -15.04;
    a.rmsDb = -20;
    a.lowRmsDb = -10;
    a.midRmsDb = -20;
    a.highRmsDb = -50;
    a.tracks.resize(1);
    a.tracks[0].id = "t1";
    a.tracks[0].peakDb = -15;
    a.tracks[0].rmsDb = -30;
    auto j = analysisJSON(a, p);
    EXPECT_EQ(j["seconds"], 1.2346);
    EXPECT_EQ(j["peak_dbfs"], -15.0);
    EXPECT_EQ(j["notes"], (nlohmann::json{"Mix is quiet (peak -15.0 dBFS); there is headroom to raise levels.",
                                          "Low end dominates the mids by 10.0 dB; consider lowering bass/kick or EQ.",
                                          "Very little high-frequency energy; mix may sound dull."}));

    a.peakDb = -3;
    a.maxLimiterReductionDb = 0.5;
    a.lowRmsDb = a.midRmsDb = a.highRmsDb = -20;
    EXPECT_TRUE(analysisJSON(a, p)["notes"].empty()) << "a balanced mix has an empty list, never a missing key";
    a.clippedSamples = 12;
    a.maxLimiterReductionDb = 2.25;
    a.highRmsDb = -19;
    EXPECT_EQ(analysisJSON(a, p)["notes"],
              (nlohmann::json{"Master is hitting the safety limiter (2.3 dB reduction, 12 samples over 0 dBFS before "
                              "limiting). Lower track volumes or master_volume_db.",
                              "High band is louder than mids; mix may sound harsh."}));

    // Loudness: a true peak over -1 dBTP, and a mix far under the target, whose master would have
    // to go past its top and whose peaks would then press on the limiter.
    a.clippedSamples = 0;
    a.maxLimiterReductionDb = 0;
    a.highRmsDb = -20;
    a.peakBeforeLimiterDb = -3;
    a.loudness.truePeakDbtp = -0.44;
    a.loudness.integratedLufs = -20.26;
    EXPECT_EQ(analysisJSON(a, p)["notes"],
              (nlohmann::json{"True peak is -0.4 dBTP, above -1 dBTP: the mix may distort after encoding (MP3, AAC, "
                              "streaming). Lower master_volume_db (`set_song`) by 0.6 dB (to -0.6).",
                              "Integrated loudness is -20.3 LUFS, 6.3 LU below the -14.0 LUFS target: raise "
                              "master_volume_db (`set_song`) by 6.3 dB (to 6.0). That is past +6 dB, the master's top: "
                              "raise the tracks too. Peaks would then press on the limiter; a compressor on the master "
                              "(`add_effect` target master, kind compressor) holds them first."}));
    EXPECT_EQ(analysisJSON(a, p, -19)["notes"].size(), 1u) << "1.3 LU from its target is close enough";
}

} // namespace
} // namespace velmo
