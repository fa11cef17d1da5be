#include "Studio/Studio.h"

#include "Studio/SongLimits.h"
#include "base/AtomicFile.h"
#include "base/RegularFile.h"
#include "catalog/SongRanges.h"
#include "model/ProjectJSON.h"

#include <algorithm>
#include <system_error>

namespace velmo {

void Studio::refuseForeignFile(const std::filesystem::path& path, const std::string& kind,
                               bool (*isKind)(const std::filesystem::path&)) {
    std::error_code error;
    // Links followed: what would be replaced is the file a link points to.
    if (!std::filesystem::exists(path, error)) return;
    if (!isKind(path))
        throw StudioError("Will not replace " + path.string() + ": it is not " + kind + ". Choose another file name.");
}

void Studio::save(const std::filesystem::path& to) {
    refuseForeignFile(to, "a Velmo project file", &isProjectFile);
    // The rename goes into the file too, so that the file and the window agree on the name.
    const bool named = project_.name == "Untitled" || project_.name == "Demo";
    Project saved = project_;
    if (named) saved.name = to.stem().string();  // only the last extension goes
    try {
        AtomicFile file(to);
        file.write(encodeProjectFile(saved));
        file.commit();
    } catch (const std::system_error& e) {
        throw StudioError("Could not save to " + to.string() + ": " + e.code().message());
    }
    fileURL_ = to;
    changed();
    if (named) mutate([&](Project& p) { p.name = saved.name; });
}

std::vector<std::string> Studio::open(const std::filesystem::path& url) {
    ProjectFile file;
    try {
        file = readProjectFile(url);
    } catch (const FileAccessError& e) {
        throw StudioError("Could not open " + url.string() + ": " + e.what());
    } catch (const DecodeError& e) {
        throw StudioError("Could not open " + url.string() + ": " + e.what());
    }
    keepWithinLimits(file);
    Project opened = std::move(file.project);
    postToEngine(EngineCommand::stop());  // the old song must not play on into the new one
    lastCoalesce_.reset();                // a file replaces the song: nothing slides beneath a burst
    mutate([&](Project& p) { p = std::move(opened); });
    // Both flags follow the emptied stacks, also when the file equals the current project and
    // the edit above changed nothing.
    undoStack_.clear();
    redoStack_.clear();
    canUndo_ = false;
    canRedo_ = false;
    fileURL_ = url;
    selectTopmost();
    changed();
    return std::move(file.warnings);
}

void Studio::newProject(std::string name, double tempo) {
    lastCoalesce_.reset();
    mutate([&](Project& p) { p = Project(std::move(name), kTempoRange.clamp(tempo)); });
    undoStack_.clear();
    redoStack_.clear();
    canUndo_ = false;
    canRedo_ = false;
    fileURL_.reset();
    selectedTrackID_.reset();
    selectedClipID_.reset();
    postToEngine(EngineCommand::stop());
    postToEngine(EngineCommand::seek(0));
    changed();
}

} // namespace velmo
