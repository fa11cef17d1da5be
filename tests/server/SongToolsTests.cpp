// The song and transport tools through the registry on a real Studio holding the demo song:
// result keys, the resolvers' messages, the silent corrections of set_song and transport, and
// project files written to and read from a temporary folder.
#include "ToolTestSupport.h"

#include <fstream>

using namespace velmo;
using velmo::testing::keysOf;
using nlohmann::json;
using Strings = std::vector<std::string>;

namespace {

struct SongTools : velmo::testing::ToolFixture {
    // The message the resolver gives for `ref`, to check that the tool passes it on unchanged.
    template <class Resolve>
    std::string resolverMessage(Resolve resolve) {
        try {
            resolve();
        } catch (const StudioError& e) {
            return e.message();
        }
        ADD_FAILURE() << "the resolver accepted it";
        return "";
    }
};

} // namespace

TEST_F(SongTools, RegistryOrderAndReadOnlyFlags) {
    Strings names = tools.toolNames();
    auto at = [&](const std::string& name) { return std::find(names.begin(), names.end(), name) - names.begin(); };
    const Strings order{"get_project", "get_clip", "get_track", "new_project", "set_song", "transport",
                        "history", "save_project", "open_project", "analyze_mix", "export_audio"};
    for (std::size_t i = 1; i < order.size(); ++i)
        EXPECT_LT(at(order[i - 1]), at(order[i])) << order[i - 1] << " comes before " << order[i];
    for (const json& definition : tools.definitions()) {
        const std::string name = definition["name"];
        const bool readOnly = name == "get_project" || name == "get_clip" || name == "get_track" || name == "analyze_mix";
        if (std::find(order.begin(), order.end(), name) != order.end()) {
            EXPECT_EQ(definition["annotations"]["readOnlyHint"], readOnly) << name;
        }
    }
}

TEST_F(SongTools, ReadToolsShowTheSongAndPassOnResolverMessages) {
    json project = result("get_project");
    EXPECT_EQ(keysOf(project), (Strings{"file", "loop", "master", "name", "song_end_beat", "tempo", "time_signature",
                                        "tracks", "transport"}));
    EXPECT_EQ(project["name"], "Demo");
    EXPECT_EQ(project["file"], nullptr);
    EXPECT_EQ(project["tracks"].size(), 4u);
    EXPECT_FALSE(project["tracks"][0]["clips"][0].contains("notes"));
    json withNotes = result("get_project", {{"include_notes", "yes"}});
    EXPECT_EQ(withNotes["tracks"][1]["clips"][0]["notes"].size(), 24u) << "six bass notes in each of four bars";

    json clip = result("get_clip", {{"clip", "c4"}});
    EXPECT_EQ(keysOf(clip), (Strings{"end", "id", "length", "name", "note_count", "notes", "pitch_range", "start", "track"}));
    EXPECT_EQ(clip["track"], "t3");
    EXPECT_EQ(clip["name"], "Line");

    json track = result("get_track", {{"track", "bass"}});
    EXPECT_EQ(track["id"], "t3");
    EXPECT_EQ(track["index"], 1);
    EXPECT_EQ(track["patch"]["engine"], track["engine"]);
    EXPECT_TRUE(track["patch"]["mod"].is_array());
    EXPECT_FALSE(track["clips"][0].contains("notes"));
    EXPECT_EQ(result("get_track", {{"track", 3}})["name"], "Bells");

    for (const json& ref : {json("c99"), json(4), json(nullptr)}) {
        json args = ref.is_null() ? json::object() : json{{"clip", ref}};
        EXPECT_EQ(failure("get_clip", args),
                  "Error: " + resolverMessage([&] { studio.clipLocation(args.contains("clip") ? &args["clip"] : nullptr); }));
    }
    EXPECT_EQ(failure("get_clip", {{"clip", "c99"}}), "Error: No clip 'c99'. Call get_project to list clip ids.");
    EXPECT_EQ(failure("get_track", {{"track", "Piano"}}),
              "Error: No track 'Piano'. Tracks: t1 (Drums), t3 (Bass), t6 (Pad), t10 (Bells).");
    EXPECT_EQ(failure("get_track", {{"track", 7}}), "Error: Track index 7 out of range (0..<4).");
    EXPECT_EQ(failure("get_track"), "Error: Missing 'track'. Pass a track id, name, or index.");
    EXPECT_FALSE(studio.canUndo()) << "reading changes nothing";
}

TEST_F(SongTools, NewProjectAndSetSongCorrectWhatTheyAreGiven) {
    json fresh = result("new_project", {{"tempo", 10}});
    EXPECT_EQ(fresh["name"], "Untitled");
    EXPECT_EQ(fresh["tempo"], 20.0);
    EXPECT_EQ(fresh["tracks"], json::array());
    EXPECT_FALSE(studio.canUndo()) << "a new project starts a new history";
    EXPECT_EQ(result("new_project", {{"name", "Sketch"}, {"tempo", "999"}, {"beats_per_bar", 40}})["time_signature"], "16/4");
    EXPECT_EQ(studio.project().tempo, 300);
    EXPECT_TRUE(studio.canUndo()) << "the time signature is an undo step of its own";
    EXPECT_EQ(result("new_project", {{"beats_per_bar", -2}})["time_signature"], "1/4");

    json song = result("set_song", {{"name", "Tune"}, {"tempo", 999}, {"beat_unit", 3}, {"beats_per_bar", 6.6},
                                    {"master_volume_db", -100}, {"loop_enabled", "off"}, {"loop_start", 8}, {"loop_end", 4}});
    EXPECT_EQ(song, json::parse(R"({"name":"Tune","tempo":300.0,"time_signature":"7/4","master_volume_db":-60.0,
                                     "loop":{"enabled":false,"start":8.0,"end":8.25}})"));
    studio.undo();
    EXPECT_EQ(studio.project().name, "Untitled") << "all settings are one undo step";

    song = result("set_song", {{"beat_unit", 8.2}, {"tempo", 1}, {"master_volume_db", 9}, {"loop_start", -3}});
    EXPECT_EQ(song["time_signature"], "1/8");
    EXPECT_EQ(song["tempo"], 20.0);
    EXPECT_EQ(song["master_volume_db"], 6.0);
    EXPECT_EQ(song["loop"], json({{"enabled", true}, {"start", 0.0}, {"end", 16.0}}));
    result("set_song", {{"loop_start", 20}});
    EXPECT_EQ(studio.project().loopEnd, 16) << "a new start alone leaves the stored end, even before it";
    result("set_song", {{"loop_start", "2.5"}, {"loop_end", 2.6}});
    EXPECT_EQ(studio.project().loopEnd, 2.75);

    const Project kept = studio.project();
    result("set_song", {{"tempo", "fast"}, {"beat_unit", "x"}, {"name", 5}, {"loop_enabled", 2}});
    EXPECT_EQ(studio.project(), kept) << "wrong types count as absent";
}

TEST_F(SongTools, TransportReportsAndRejectsOnlyABadAction) {
    json played = result("transport", {{"action", "play"}, {"beat", 12}});
    EXPECT_EQ(played, json({{"playing", true}, {"beat", 12.0}, {"tempo", 112.0}, {"loop", "0.0–16.0"}}));
    EXPECT_EQ(result("transport", {{"action", "toggle"}})["playing"], false);
    EXPECT_EQ(result("transport", {{"action", "toggle"}})["playing"], true);
    EXPECT_EQ(result("transport", {{"action", "stop"}})["playing"], false);
    EXPECT_EQ(result("transport", {{"action", "seek"}})["beat"], 0.0);
    EXPECT_EQ(studio.live().beat, 0.0);
    EXPECT_FALSE(studio.canUndo()) << "the transport is no edit";

    result("set_song", {{"loop_start", 4.5}, {"loop_end", 8}});
    EXPECT_EQ(result("transport", {{"action", "rewind"}})["beat"], 4.5);
    EXPECT_EQ(result("transport", {{"action", "rewind"}})["loop"], "4.5–8.0");
    result("set_song", {{"loop_enabled", false}});
    json rewound = result("transport", {{"action", "rewind"}});
    EXPECT_EQ(rewound["beat"], 0.0);
    EXPECT_EQ(rewound["loop"], "off");

    for (const json& args : {json{{"action", "Play"}}, json{{"action", "pause"}}, json::object(), json{{"action", 1}}})
        EXPECT_EQ(failure("transport", args), "Error: action must be play, stop, toggle, seek or rewind.") << args.dump();
}

TEST_F(SongTools, HistoryStopsAtAHundredSteps) {
    for (int i = 0; i < 150; ++i) studio.mutate([=](Project& p) { p.tempo = 60 + i; });
    json undone = result("history", {{"action", "undo"}, {"steps", 1000}});
    EXPECT_EQ(undone, json({{"can_undo", true}, {"can_redo", true}, {"tracks", 4}}));
    EXPECT_EQ(studio.project().tempo, 60 + 49);
    result("history", {{"steps", 100}});
    EXPECT_EQ(studio.project().tempo, 112) << "a missing action undoes";
    EXPECT_EQ(result("history", {{"action", "redo"}, {"steps", -5}})["can_undo"], true);
    EXPECT_EQ(studio.project().tempo, 60);
}

TEST_F(SongTools, SaveAndOpenRoundTripThroughFiles) {
    namespace fs = std::filesystem;
    // Default location: ~/Music/Velmo/<name>.velmo.json, the folder made on the way.
    json saved = result("save_project");
    const fs::path defaultFile = home / "Music" / "Velmo" / "Demo.velmo.json";
    EXPECT_EQ(saved, json({{"saved", defaultFile.string()}}));
    EXPECT_TRUE(fs::exists(defaultFile));
    EXPECT_EQ(studio.project().name, "Demo.velmo") << "a demo takes the file's name, one extension off";
    EXPECT_EQ(result("get_project")["file"], defaultFile.string());

    // With a file, saving again goes to it.
    result("set_song", {{"name", "A/B"}, {"tempo", 97}});
    EXPECT_EQ(result("save_project")["saved"], defaultFile.string());
    result("new_project", {{"name", "A/B"}});
    EXPECT_EQ(result("save_project")["saved"], (home / "Music" / "Velmo" / "A-B.velmo.json").string());

    // A given path: "~" expands, the extension is added, missing folders are made.
    EXPECT_EQ(result("save_project", {{"path", "~/songs/deep/tune"}})["saved"], (home / "songs/deep/tune.velmo.json").string());
    EXPECT_EQ(result("save_project", {{"path", (home / "keep.json").string()}})["saved"], (home / "keep.json").string());

    // Opening restores the saved song exactly and starts a new history.
    const Project before = studio.project();
    json opened = result("open_project", {{"path", (home / "Music/Velmo/Demo.velmo.json").string()}});
    EXPECT_EQ(opened["name"], "A/B");
    EXPECT_EQ(opened["tempo"], 97.0);
    EXPECT_EQ(opened["tracks"].size(), 4u);
    EXPECT_EQ(opened["file"], defaultFile.string());
    EXPECT_FALSE(studio.canUndo());
    EXPECT_EQ(studio.selectedTrackID(), "t1");
    result("open_project", {{"path", "~/songs/deep/tune"}});
    EXPECT_EQ(studio.project(), before) << "what was saved is what opens";

    // A broken file and a missing one fail and leave everything as it was.
    result("set_song", {{"tempo", 133}});
    result("transport", {{"action", "play"}});
    std::ofstream(home / "broken.velmo.json") << "{\"name\": \"half";
    const Project current = studio.project();
    const auto file = studio.fileURL();
    for (const std::string path : {"~/broken", "~/absent.velmo.json"}) {
        const std::string message = failure("open_project", {{"path", path}});
        EXPECT_TRUE(message.starts_with("Error: Could not open " + home.string())) << message;
        EXPECT_EQ(studio.project(), current) << path;
        EXPECT_EQ(studio.fileURL(), file) << path;
        EXPECT_TRUE(studio.canUndo()) << path;
        EXPECT_TRUE(studio.live().isPlaying) << path;
    }

    // A folder that cannot be made: a plain file stands in its way.
    std::ofstream(home / "plain") << "x";
    EXPECT_EQ(failure("save_project", {{"path", "~/plain/song"}}),
              "Error: Could not create folder " + (home / "plain").string() + ": Not a directory");
    EXPECT_EQ(studio.project(), current);
}
