// The analysis and export tools on the demo song: sane measurements and warnings, default and
// given export paths, and the main queue serving other calls while a render runs. The WAV writer
// is read back by libsndfile in the engine tests and by the interop session through this tool.
#include "ToolTestSupport.h"

#include <cmath>
#include <fstream>
#include <initializer_list>
#include <tuple>

using namespace velmo;
using velmo::testing::keysOf;
using nlohmann::json;
using Strings = std::vector<std::string>;

namespace {

using AnalysisTools = velmo::testing::ToolFixture;

constexpr double demoBeatSeconds = 60.0 / 112;

// The first four bytes of a file: "RIFF" for a WAV.
std::string magic(const std::filesystem::path& path) {
    std::string bytes(4, '\0');
    std::ifstream(path, std::ios::binary).read(bytes.data(), 4);
    return bytes;
}

} // namespace

TEST_F(AnalysisTools, AnalyzeMixMeasuresTheDemoSong) {
    json mix = result("analyze_mix");
    EXPECT_EQ(keysOf(mix), (Strings{"bands_rms_db", "clipped_samples_before_limiter", "culprits", "limiter_max_reduction_db",
                                    "loudness", "notes", "peak_dbfs", "rms_dbfs", "seconds", "tracks"}));
    EXPECT_EQ(keysOf(mix["loudness"]), (Strings{"integrated_lufs", "max_momentary_lufs", "max_short_term_lufs",
                                                "range_lu", "true_peak_dbtp"}));
    EXPECT_NEAR(mix["seconds"].get<double>(), 16 * demoBeatSeconds + 0.5, 0.001) << "to the loop end, half a second of tail";
    const double peak = mix["peak_dbfs"], rms = mix["rms_dbfs"];
    EXPECT_LE(peak, 0.0);
    EXPECT_GT(peak, -30.0) << "the demo is no whisper";
    EXPECT_LT(rms, peak);
    EXPECT_GT(rms, peak - 40);
    EXPECT_EQ(keysOf(mix["bands_rms_db"]), (Strings{"high_above_4kHz", "low_below_250Hz", "low_mid_200_500Hz", "mid_250Hz_4kHz"}));
    ASSERT_EQ(mix["tracks"].size(), 4u);
    const Strings names{"Drums", "Bass", "Pad", "Bells"};
    for (std::size_t i = 0; i < 4; ++i) {
        const json& track = mix["tracks"][i];
        EXPECT_EQ(keysOf(track), (Strings{"id", "loudness", "name", "peak_dbfs", "rms_dbfs"}));
        EXPECT_LT(track["loudness"]["integrated_lufs"].get<double>(), mix["loudness"]["integrated_lufs"].get<double>())
            << names[i] << " is a part of the mix";
        EXPECT_EQ(track["name"], names[i]);
        EXPECT_GT(track["rms_dbfs"].get<double>(), -60) << names[i] << " plays";
        EXPECT_LT(track["rms_dbfs"].get<double>(), track["peak_dbfs"].get<double>()) << names[i];
    }
    for (const json& note : mix["notes"]) EXPECT_FALSE(note.get<std::string>().starts_with("Silent")) << note;

    // A muted track and a span are measured as asked; the report names the silent track last.
    studio.updateTrack(3, std::nullopt, [](Track& t) { t.mute = true; });
    json part = result("analyze_mix", {{"start_beat", "4"}, {"end_beat", 8}});
    EXPECT_NEAR(part["seconds"].get<double>(), 4 * demoBeatSeconds + 0.5, 0.001);
    EXPECT_LE(part["tracks"][3]["rms_dbfs"].get<double>(), -180.0);
    ASSERT_FALSE(part["notes"].empty());
    EXPECT_EQ(part["notes"].back(), "Silent tracks in this range: Bells.");

    // Nothing to render: an empty song with the loop off renders only the tail, and is told it
    // has headroom, by the exact text.
    result("new_project");
    result("set_song", {{"loop_enabled", false}});
    EXPECT_EQ(result("analyze_mix"), json::parse(R"({"seconds":0.5,"peak_dbfs":-180.0,"rms_dbfs":-180.0,"tracks":[],
        "bands_rms_db":{"low_below_250Hz":-180.0,"mid_250Hz_4kHz":-180.0,"high_above_4kHz":-180.0,
                        "low_mid_200_500Hz":-180.0},
        "clipped_samples_before_limiter":0,"limiter_max_reduction_db":0.0,"culprits":[],
        "loudness":{"integrated_lufs":-180.0,"range_lu":0.0,"max_short_term_lufs":-180.0,"max_momentary_lufs":-180.0,
                    "true_peak_dbtp":-180.0},
        "notes":["Mix is quiet (peak -180.0 dBFS); there is headroom to raise levels."]})"));
}

TEST_F(AnalysisTools, OtherCallsAreServedWhileAMixRenders) {
    auto pending = start("analyze_mix");
    EXPECT_FALSE(*pending) << "the render answers from the main queue, never at once";

    // The main queue is free: an edit and a read are answered at once, without serving the queue.
    auto edit = start("set_song", {{"tempo", 56}, {"name", "Slow"}});
    ASSERT_TRUE(*edit) << "set_song waited for the render";
    auto read = start("get_project");
    ASSERT_TRUE(*read);
    EXPECT_EQ(json::parse((**read)["content"][0]["text"].get<std::string>())["tempo"], 56.0);
    EXPECT_FALSE(*pending);

    json mix = json::parse(await(pending)["content"][0]["text"].get<std::string>());
    EXPECT_NEAR(mix["seconds"].get<double>(), 16 * demoBeatSeconds + 0.5, 0.001)
        << "the render kept the tempo of its snapshot";
    EXPECT_EQ(mix["tracks"][0]["name"], "Drums");
    EXPECT_EQ(studio.project().name, "Slow");

    // Two renders at once each finish with their own span.
    auto first = start("analyze_mix", {{"end_beat", 2}});
    auto second = start("analyze_mix", {{"end_beat", 4}});
    EXPECT_NEAR(json::parse(await(second)["content"][0]["text"].get<std::string>())["seconds"].get<double>(),
                4 * 60.0 / 56 + 0.5, 0.001);
    EXPECT_NEAR(json::parse(await(first)["content"][0]["text"].get<std::string>())["seconds"].get<double>(),
                2 * 60.0 / 56 + 0.5, 0.001);
    EXPECT_EQ(studio.rendersRunning(), 0u);
}

TEST_F(AnalysisTools, ExportAudioWritesWhereItIsTold) {
    namespace fs = std::filesystem;
    json exported = result("export_audio", {{"path", "~/out/mix"}, {"end_beat", 4}, {"tail_seconds", 0.25}});
    const fs::path file = home / "out" / "mix.wav";
    EXPECT_EQ(exported["file"], file.string());
    EXPECT_EQ(keysOf(exported).size(), 11u) << "the analysis and the file";
    const double seconds = 4 * demoBeatSeconds + 0.25;
    EXPECT_NEAR(exported["seconds"].get<double>(), seconds, 0.001);
    EXPECT_EQ(magic(file), "RIFF");

    // Another extension stays, the format does not change; the default goes to ~/Music/Velmo.
    result("export_audio", {{"path", (home / "song.aiff").string()}, {"end_beat", 1}, {"tail_seconds", 0}});
    EXPECT_EQ(magic(home / "song.aiff"), "RIFF");
    json fallback = result("export_audio", {{"end_beat", 1}, {"tail_seconds", -4}});
    EXPECT_EQ(fallback["file"], (home / "Music" / "Velmo" / "Demo.wav").string());
    EXPECT_NEAR(fallback["seconds"].get<double>(), demoBeatSeconds, 0.001) << "a negative tail is none";
    EXPECT_EQ(magic(home / "Music" / "Velmo" / "Demo.wav"), "RIFF");
    EXPECT_EQ(studio.project().name, "Demo") << "exporting names nothing";

    // The file system's failures come back as they are; the project stays.
    fs::create_directories(home / "taken.wav");
    std::ofstream(home / "taken.wav" / "inside") << "x";  // a folder in the way that is not removed
    const std::string message = failure("export_audio", {{"path", (home / "taken.wav").string()}, {"end_beat", 1}});
    EXPECT_NE(message.find(home.string() + "/taken.wav"), std::string::npos) << message;
    std::ofstream(home / "plain") << "x";
    fails("export_audio", {{"path", "~/plain/x.wav"}}, "Could not create folder " + (home / "plain").string() + ": Not a directory");
    std::ofstream(home / "notes.txt") << "dear diary";
    fails("export_audio", {{"path", "~/notes.txt"}},
          "Will not replace " + (home / "notes.txt").string() + ": it is not a WAV file. Choose another file name.");
    EXPECT_EQ(magic(home / "notes.txt"), "dear");
    EXPECT_EQ(studio.activity().back().ok, false);
    EXPECT_FALSE(studio.canUndo()) << "exporting is no edit";
}

namespace {

// Sine tracks, each holding one note for four beats: id, name, pitch, volume in dB.
Project sineSong(std::initializer_list<std::tuple<const char*, const char*, int, double>> tracks) {
    SynthPatch sine;
    sine.analog.osc1.wave = OscWave::sine;
    sine.analog.osc2.level = 0;
    sine.voice.level = 1;
    Project p("Sines", 120);
    p.loopEnabled = false;
    for (auto [id, name, pitch, volume] : tracks) {
        Track track(id, name, 0, sine);
        track.volumeDb = volume;
        Clip clip;
        clip.id = std::string("c") + id;
        clip.length = 4;
        clip.notes.push_back({pitch, 0, 4, 1});
        track.clips.push_back(clip);
        p.tracks.push_back(track);
    }
    return p;
}

// "Bass" at +6 dB drives the master far over full scale on its own, "Keys" is quiet.
Project clippingSong() { return sineSong({{"t1", "Keys", 72, -24.0}, {"t2", "Bass", 45, 6.0}}); }

struct ClippingSong : velmo::testing::ToolFixture {
    ClippingSong() : ToolFixture(clippingSong()) {}
};

// Whether a note of the report starts with `start`.
bool warns(const json& mix, const std::string& start) {
    for (const json& note : mix["notes"])
        if (note.get<std::string>().starts_with(start)) return true;
    return false;
}

bool warnsOfLimiter(const json& mix) { return warns(mix, "Master is hitting the safety limiter"); }

} // namespace

TEST_F(ClippingSong, NamesTheTrackThatClipsAndItsCureWorks) {
    json mix = result("analyze_mix");
    ASSERT_TRUE(warnsOfLimiter(mix)) << mix["notes"];
    ASSERT_FALSE(mix["culprits"].empty());
    const json& limiter = mix["culprits"][0];
    EXPECT_EQ(limiter["problem"], "limiter");
    ASSERT_FALSE(limiter["tracks"].empty());
    const json& first = limiter["tracks"][0];
    EXPECT_EQ(first["name"], "Bass");
    EXPECT_GT(first["share"].get<double>(), 0.9);
    EXPECT_TRUE(first["next_step"].get<std::string>().starts_with("Bass: `update_track` volume_db ")) << first;

    // The suggested call, sent as it stands, takes the mix off the limiter.
    result(first["call"]["tool"], first["call"]["arguments"]);
    EXPECT_LT(studio.project().tracks[1].volumeDb, 6.0);
    json after = result("analyze_mix", {{"compare", "last_edit"}});
    EXPECT_FALSE(warnsOfLimiter(after)) << after["notes"];
    EXPECT_EQ(after["clipped_samples_before_limiter"], 0);
    const json& gone = after["compare"]["changes"]["notes_gone"];
    ASSERT_FALSE(gone.empty());
    EXPECT_TRUE(gone[0].get<std::string>().starts_with("Master is hitting the safety limiter")) << gone;
}

TEST_F(ClippingSong, ComparesWithAnEarlierStateAndLeavesTheSongAlone) {
    fails("analyze_mix", {{"compare", "last_edit"}},
          "Nothing to compare with: the history is empty (no edit since the song was opened or created).");
    result("update_track", {{"track", "Keys"}, {"volume_db", -30}}); // 6 dB down
    const Project song = studio.project();

    json mix = result("analyze_mix", {{"compare", 1}, {"end_beat", 2}});
    const json& compare = mix["compare"];
    EXPECT_EQ(compare["steps_back"], 1);
    EXPECT_EQ(compare["before"]["tracks"][0]["name"], "Keys");
    const json& keys = compare["changes"]["tracks"][0];
    EXPECT_EQ(keys["name"], "Keys");
    EXPECT_NEAR(keys["rms_dbfs"].get<double>(), -6.0, 0.1) << compare["changes"];
    EXPECT_NEAR(keys["peak_dbfs"].get<double>(), -6.0, 0.1);
    EXPECT_NEAR(keys["integrated_lufs"].get<double>(), -6.0, 0.1);
    EXPECT_NEAR(compare["changes"]["tracks"][1]["rms_dbfs"].get<double>(), 0.0, 0.1) << "the bass did not move";
    EXPECT_NEAR(mix["seconds"].get<double>(), compare["before"]["seconds"].get<double>(), 1e-9) << "one span for both";

    EXPECT_TRUE(studio.project() == song);
    EXPECT_EQ(studio.undoDepth(), 1u);
    EXPECT_FALSE(studio.canRedo());
    fails("analyze_mix", {{"compare", 3}}, "compare can go back 1 to 1 steps: the history holds 1.");
    fails("analyze_mix", {{"compare", "yesterday"}},
          "compare takes \"last_edit\" or a number of undo steps back, 1 to 20; got 'yesterday'.");
    studio.undo();
    EXPECT_EQ(studio.project().tracks[0].volumeDb, -24.0) << "the history is intact";
}

namespace {

// "Pad" holds 311 Hz, in the middle of the low mids, 6 dB over "Keys" at 1047 Hz: the band carries
// about four fifths of the mix.
struct MuddySong : velmo::testing::ToolFixture {
    MuddySong() : ToolFixture(sineSong({{"t1", "Keys", 84, -18.0}, {"t2", "Pad", 63, -12.0}})) {}
};

bool warnsOfMud(const json& mix) { return warns(mix, "Low mids (200-500 Hz) carry "); }

} // namespace

TEST_F(MuddySong, NamesTheMuddyTrackAndItsCureWorks) {
    json mix = result("analyze_mix");
    ASSERT_TRUE(warnsOfMud(mix)) << mix["notes"];
    ASSERT_FALSE(mix["culprits"].empty());
    const json& muddy = mix["culprits"][0];
    EXPECT_EQ(muddy["problem"], "muddy");
    ASSERT_FALSE(muddy["tracks"].empty());
    const json& first = muddy["tracks"][0];
    EXPECT_EQ(first["name"], "Pad");
    EXPECT_GT(first["share"].get<double>(), 0.9);
    EXPECT_TRUE(first["next_step"].get<std::string>().starts_with("Pad: add an `eq` (`add_effect`) with mid -")) << first;

    result(first["call"]["tool"], first["call"]["arguments"]);
    json after = result("analyze_mix");
    EXPECT_FALSE(warnsOfMud(after)) << after["notes"];
    EXPECT_TRUE(after["culprits"].empty()) << after["culprits"];
}
