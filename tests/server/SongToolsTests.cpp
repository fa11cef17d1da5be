// The song and transport tools through the registry on a real Studio holding the demo song:
// result keys, the resolvers' messages, the silent corrections of set_song and transport, and
// project files written to and read from a temporary folder.
#include "ToolTestSupport.h"
#include "model/ProjectJSON.h"

#include <fstream>

using namespace velmo;
using velmo::testing::expectFields;
using velmo::testing::keysOf;
using nlohmann::json;
using Strings = std::vector<std::string>;

using SongTools = velmo::testing::ToolFixture;

TEST_F(SongTools, ReadToolsShowTheSongAndPassOnResolverMessages) {
    json project = result("get_project");
    EXPECT_EQ(keysOf(project), (Strings{"file", "loop", "master", "name", "song_end_beat", "tempo", "time_signature",
                                        "tracks", "transport"}));
    expectFields(project, {{"name", "Demo"}, {"file", nullptr}});
    EXPECT_EQ(project["tracks"].size(), 4u);
    EXPECT_FALSE(project["tracks"][0]["clips"][0].contains("notes"));
    json withNotes = result("get_project", {{"include_notes", "yes"}});
    EXPECT_EQ(withNotes["tracks"][1]["clips"][0]["notes"].size(), 24u) << "six bass notes in each of four bars";

    json clip = result("get_clip", {{"clip", "c4"}});
    EXPECT_EQ(keysOf(clip), (Strings{"end", "id", "length", "name", "note_count", "notes", "pitch_range", "start", "track"}));
    expectFields(clip, {{"track", "t3"}, {"name", "Line"}});

    json track = result("get_track", {{"track", "bass"}});
    expectFields(track, {{"id", "t3"}, {"index", 1}});
    EXPECT_EQ(track["patch"]["engine"], track["engine"]);
    EXPECT_TRUE(track["patch"]["mod"].is_array());
    EXPECT_FALSE(track["clips"][0].contains("notes"));
    EXPECT_EQ(result("get_track", {{"track", 3}})["name"], "Bells");

    fails("get_clip", {{"clip", "c99"}}, "No clip 'c99'. Call get_project to list clip ids.");
    fails("get_clip", {{"clip", 4}}, "Missing 'clip' id (e.g. \"c4\").");
    fails("get_clip", json::object(), "Missing 'clip' id (e.g. \"c4\").");
    fails("get_track", {{"track", "Piano"}}, "No track 'Piano'. Tracks: t1 (Drums), t3 (Bass), t6 (Pad), t10 (Bells).");
    fails("get_track", {{"track", 7}}, "Track index 7 out of range (0..<4).");
    fails("get_track", json::object(), "Missing 'track'. Pass a track id, name, or index.");
    EXPECT_FALSE(studio.canUndo()) << "reading changes nothing";
}

TEST_F(SongTools, NewProjectAndSetSongCorrectWhatTheyAreGiven) {
    expectFields(result("new_project", {{"tempo", 10}}), {{"name", "Untitled"}, {"tempo", 20.0}, {"tracks", json::array()}});
    EXPECT_FALSE(studio.canUndo()) << "a new project starts a new history";
    EXPECT_EQ(result("new_project", {{"name", "Sketch"}, {"tempo", "999"}, {"beats_per_bar", 40}})["time_signature"], "16/4");
    EXPECT_EQ(studio.project().tempo, 300);
    EXPECT_FALSE(studio.canUndo()) << "the time signature belongs to the new history's start";
    EXPECT_EQ(result("new_project", {{"beats_per_bar", -2}})["time_signature"], "1/4");

    json song = result("set_song", {{"name", "Tune"}, {"tempo", 999}, {"beat_unit", 3}, {"beats_per_bar", 6.6},
                                    {"master_volume_db", -100}, {"loop_enabled", "off"}, {"loop_start", 8}, {"loop_end", 4}});
    EXPECT_EQ(song, json::parse(R"({"name":"Tune","tempo":300.0,"time_signature":"7/4","master_volume_db":-60.0,
                                     "loop":{"enabled":false,"start":8.0,"end":8.25}})"));
    studio.undo();
    EXPECT_EQ(studio.project().name, "Untitled") << "all settings are one undo step";

    song = result("set_song", {{"beat_unit", 8.2}, {"tempo", 1}, {"master_volume_db", 9}, {"loop_start", -3}});
    EXPECT_EQ(song, json::parse(R"({"name":"Untitled","tempo":20.0,"time_signature":"1/8","master_volume_db":6.0,
                                     "loop":{"enabled":true,"start":0.0,"end":16.0}})"));
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
    expectFields(result("transport", {{"action", "rewind"}}), {{"beat", 0.0}, {"loop", "off"}});

    for (const json& args : {json{{"action", "Play"}}, json{{"action", "pause"}}, json::object(), json{{"action", 1}}})
        EXPECT_EQ(failure("transport", args), "Error: action must be play, stop, toggle, seek or rewind.") << args.dump();
}

TEST_F(SongTools, HistoryStepsAreClampedToOneThroughAHundred) {
    for (int i = 0; i < 150; ++i) studio.mutate([=](Project& p) { p.tempo = 60 + i; });
    EXPECT_EQ(result("history", {{"action", "undo"}, {"steps", 1000}}), json({{"can_undo", true}, {"can_redo", true}, {"tracks", 4}}));
    EXPECT_EQ(studio.project().tempo, 60 + 49);
    EXPECT_EQ(studio.activity().back().detail, "action: undo  steps: 1000");
    result("history", {{"action", "undo"}, {"steps", 100}});
    EXPECT_EQ(studio.project().tempo, 112);
    EXPECT_EQ(result("history", {{"action", "redo"}, {"steps", -5}})["can_undo"], true);
    EXPECT_EQ(studio.project().tempo, 60);
    result("history", {{"action", "redo"}, {"steps", "0.4"}});
    EXPECT_EQ(studio.project().tempo, 61) << "0.4 rounds to 0, clamped to 1";
    // What an agent sends to look at its history must not undo anything.
    for (const json& arguments : {json::object(), json{{"steps", 1}}, json{{"action", "REDO"}}, json{{"action", "sideways"}}})
        fails("history", arguments, "action must be undo or redo.");
}

TEST_F(SongTools, EveryCallIsAtMostOneUndoStep) {
    const std::vector<std::pair<std::string, json>> calls{
        {"duplicate_clip", {{"clip", "c2"}, {"times", 2}}},
        {"add_notes", {{"clip", "c4"}, {"notes", {{{"pitch", 40}, {"start", 30}}}}}},  // grows the clip
        {"update_track", {{"track", "Bass"}, {"volume_db", -3}, {"index", 0}}},
        {"update_clip", {{"clip", "c7"}, {"track", "Bells"}, {"length", 8}}},
        {"add_track", {{"preset", "Acid Bass"}, {"volume_db", -3}}},
    };
    for (const auto& [tool, arguments] : calls) {
        const Project before = studio.project();
        result(tool, arguments);
        EXPECT_FALSE(studio.project() == before) << tool;
        result("history", {{"action", "undo"}});
        EXPECT_TRUE(studio.project() == before) << tool << " takes more than one undo";
    }
}

TEST_F(SongTools, IgnoredArgumentsAreNamedInTheReply) {
    const std::vector<std::tuple<std::string, json, std::string>> calls{
        {"set_song", {{"tempo", "fast"}}, "ignored tempo: expected a number"},
        {"set_song", {{"tempo_bpm", 90}, {"name", "Tune"}}, "ignored tempo_bpm: unknown argument"},
        {"get_project", {{"include_notes", 5}, {"verbose", true}},
         "ignored include_notes: expected true or false; ignored verbose: unknown argument"},
        {"add_notes", {{"clip", "c4"}, {"notes", {{{"pitch", 40}, {"start", 1}, {"vel", 0.5}}}}},
         "ignored notes[0].vel: unknown argument"},
        {"transport", {{"action", "stop"}, {"beat", nullptr}}, "ignored beat: expected a number"},
        {"set_song", {{"tempo", "96"}, {"loop_enabled", "no"}}, ""},
    };
    for (const auto& [tool, arguments, line] : calls) {
        result(tool, arguments);
        EXPECT_EQ(ignored, line) << tool << " " << arguments.dump();
    }
    EXPECT_EQ(studio.project().tempo, 96);
    EXPECT_EQ(studio.project().name, "Tune") << "what was not ignored was applied";
}

TEST_F(SongTools, SaveAndOpenRoundTripThroughFiles) {
    namespace fs = std::filesystem;
    // Default location: ~/Music/Velmo/<name>.velmo.json, the folder made on the way.
    const fs::path defaultFile = home / "Music" / "Velmo" / "Demo.velmo.json";
    EXPECT_EQ(result("save_project"), json({{"saved", defaultFile.string()}}));
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
    expectFields(opened, {{"name", "A/B"}, {"tempo", 97.0}, {"file", defaultFile.string()}});
    EXPECT_EQ(opened["tracks"].size(), 4u);
    EXPECT_FALSE(studio.canUndo());
    EXPECT_EQ(studio.selectedTrackID(), "t1");
    result("open_project", {{"path", "~/songs/deep/tune"}});
    EXPECT_EQ(studio.project(), before) << "what was saved is what opens";

    // A broken file and a missing one fail and leave everything as it was.
    result("set_song", {{"tempo", 133}});
    result("transport", {{"action", "play"}});
    std::ofstream(home / "broken.velmo.json") << "{\"name\": \"half";
    const auto file = studio.fileURL();
    for (const std::string path : {"~/broken", "~/absent.velmo.json"}) {
        const std::string message = failure("open_project", {{"path", path}});
        EXPECT_TRUE(message.starts_with("Error: Could not open " + home.string())) << message;
        EXPECT_EQ(studio.fileURL(), file) << path;
        EXPECT_TRUE(studio.live().isPlaying) << path;
    }

    // A folder that cannot be made: a plain file stands in its way.
    std::ofstream(home / "plain") << "x";
    fails("save_project", {{"path", "~/plain/song"}}, "Could not create folder " + (home / "plain").string() + ": Not a directory");

    // A file that is not Velmo's is never saved over; a path that is no text opens nothing.
    std::ofstream(home / "notes.txt") << "dear diary";
    fails("save_project", {{"path", "~/notes.txt"}},
          "Will not replace " + (home / "notes.txt").string() + ": it is not a Velmo project file. Choose another file name.");
    for (const json& path : {json(5), json::array({"~/songs/deep/tune"}), json(nullptr)})
        fails("open_project", {{"path", path}}, "'path' must be a string: the file to open.");
    EXPECT_TRUE(failure("open_project", {{"path", "~/nowhere/deep/song"}}).starts_with("Error: Could not open"));
    EXPECT_FALSE(fs::exists(home / "nowhere")) << "reading creates no folders";

    // A file from a newer Velmo opens with a warning.
    json newer = json::parse(encodeProjectFile(Studio::demoProject()));
    newer["version"] = 7;
    std::ofstream(home / "newer.velmo.json") << newer.dump();
    const json warned = result("open_project", {{"path", "~/newer"}});
    ASSERT_EQ(warned["warnings"].size(), 1u);
    EXPECT_TRUE(warned["warnings"][0].get<std::string>().starts_with("This file was written by a newer Velmo (file version 7"));
    EXPECT_FALSE(opened.contains("warnings")) << "a current file opens without any";
}
