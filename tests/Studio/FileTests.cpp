#include "Studio/Studio.h"
#include "model/ProjectJSON.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace velmo {
namespace {

namespace fs = std::filesystem;

struct FileFixture : ::testing::Test {
    fs::path folder;

    void SetUp() override {
        folder = fs::temp_directory_path() / ("velmo-files-" + makeUUID());
        fs::create_directories(folder);
    }
    void TearDown() override { fs::remove_all(folder); }

    static Project song(std::string name) {
        Project p(std::move(name), 100);
        Track t(p.makeId("t"), "Keys", 0, SynthPatch());
        t.clips.push_back(Clip{p.makeId("c"), "Intro", 0, 8, CowVector<Note>{{60, 0, 1, 0.7}}});
        p.tracks.push_back(t);
        return p;
    }

    static std::string contents(const fs::path& path) {
        std::ifstream in(path);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

    std::vector<std::string> folderEntries() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
};

TEST_F(FileFixture, SaveWritesTheFileAndNamesAnUntitledProject) {
    Studio studio(song("Untitled"));
    const fs::path path = folder / "Tune.velmo.json";
    studio.save(path);

    EXPECT_EQ(decodeProjectFile(contents(path)).name, "Untitled") << "the file holds the name from before the save";
    EXPECT_EQ(studio.project().name, "Tune.velmo") << "only the last extension goes";
    EXPECT_TRUE(studio.canUndo()) << "the rename is an undo step";
    EXPECT_EQ(studio.fileURL(), path);
    EXPECT_EQ(folderEntries(), std::vector<std::string>{"Tune.velmo.json"}) << "no temporary file is left";

    Studio lower(song("demo"));
    lower.save(folder / "x.json");
    EXPECT_EQ(lower.project().name, "demo") << "the comparison is exact";
    EXPECT_FALSE(lower.canUndo());
}

TEST_F(FileFixture, FailedSaveKeepsTheOldFileAndState) {
    Studio studio(song("Mine"));
    const fs::path path = folder / "keep.velmo.json";
    studio.save(path);
    const std::string before = contents(path);
    studio.mutate([](Project& p) { p.tempo = 140; });

    // The target is a folder: the rename fails after the temporary file was written.
    const fs::path blocked = folder / "blocked.velmo.json";
    fs::create_directory(blocked);
    EXPECT_THROW(studio.save(blocked), StudioError);
    EXPECT_EQ(studio.fileURL(), path);
    EXPECT_EQ(contents(path), before);

    // A folder that does not exist.
    try {
        studio.save(folder / "missing" / "x.velmo.json");
        ADD_FAILURE() << "saving into a missing folder succeeded";
    } catch (const StudioError& e) {
        EXPECT_NE(std::string(e.what()).find("No such file or directory"), std::string::npos) << e.what();
    }
    EXPECT_EQ(folderEntries(), (std::vector<std::string>{"blocked.velmo.json", "keep.velmo.json"}));
}

TEST_F(FileFixture, OpenReplacesTheSongOrLeavesEverythingAsItWas) {
    Studio writer(song("Other"));
    writer.mutate([](Project& p) { p.tracks.push_back(Track("t9", "Lead", 1, SynthPatch())); });
    const fs::path good = folder / "good.velmo.json";
    writer.save(good);

    const fs::path bad = folder / "bad.velmo.json";
    std::ofstream(bad) << "{\"name\": \"Broken\"}";

    Studio studio(song("Mine"));
    studio.mutate([](Project& p) { p.tempo = 90; });
    studio.mutate([](Project& p) { p.tempo = 91; });
    studio.undo();
    studio.mutate("vol", [](Project& p) { p.tracks.mut(0).volumeDb = -3; });
    const Project before = studio.project();

    try {
        studio.open(bad);
        ADD_FAILURE() << "a broken file opened";
    } catch (const StudioError& e) {
        EXPECT_EQ(std::string(e.what()), "Could not open " + bad.string() + ": Missing key \"tempo\" at the top level");
    }
    EXPECT_THROW(studio.open(folder / "absent.velmo.json"), StudioError);
    EXPECT_EQ(studio.project(), before);
    EXPECT_TRUE(studio.canUndo());
    EXPECT_FALSE(studio.fileURL().has_value());

    studio.open(good);
    EXPECT_EQ(studio.project(), writer.project());
    EXPECT_EQ(studio.fileURL(), good);
    EXPECT_EQ(studio.selectedTrackID(), "t1");
    EXPECT_EQ(studio.selectedClipID(), "c2");
    EXPECT_FALSE(studio.canUndo());
    studio.undo();
    EXPECT_EQ(studio.project(), writer.project()) << "after open, undo does nothing";
}

TEST_F(FileFixture, NewProjectClampsTempoAndForgetsHistory) {
    Studio studio(song("Mine"));
    studio.save(folder / "mine.velmo.json");
    studio.mutate([](Project& p) { p.tempo = 80; });
    studio.newProject("Fresh", 10);
    EXPECT_EQ(studio.project(), Project("Fresh", 20));
    EXPECT_FALSE(studio.canUndo());
    EXPECT_FALSE(studio.fileURL().has_value());
    EXPECT_FALSE(studio.selectedTrackID().has_value());
    studio.newProject("Fast", 999);
    EXPECT_EQ(studio.project().tempo, 300);
}

} // namespace
} // namespace velmo
