#include "Studio/Studio.h"

#include "model/ProjectJSON.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

namespace velmo {

namespace {

std::string systemMessage(int error) { return std::strerror(error); }

// Writes `text` to `path` through a temporary file in the same folder and a rename, so readers
// see the old file or the new one and never a half-written one.
void writeAtomically(const std::filesystem::path& path, const std::string& text) {
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
    std::string pattern = (folder / ("." + path.filename().string() + ".tmp-XXXXXX")).string();
    int fd = ::mkstemp(pattern.data());
    if (fd < 0) throw StudioError("Could not save to " + path.string() + ": " + systemMessage(errno));

    auto fail = [&](int error) {
        ::close(fd);
        ::unlink(pattern.c_str());
        throw StudioError("Could not save to " + path.string() + ": " + systemMessage(error));
    };
    const char* data = text.data();
    std::size_t left = text.size();
    while (left > 0) {
        ssize_t n = ::write(fd, data, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            fail(errno);
        }
        data += n;
        left -= static_cast<std::size_t>(n);
    }
    if (::fchmod(fd, 0644) != 0 || ::fsync(fd) != 0) fail(errno);
    if (::close(fd) != 0) {
        int error = errno;
        ::unlink(pattern.c_str());
        throw StudioError("Could not save to " + path.string() + ": " + systemMessage(error));
    }
    if (::rename(pattern.c_str(), path.c_str()) != 0) {
        int error = errno;
        ::unlink(pattern.c_str());
        throw StudioError("Could not save to " + path.string() + ": " + systemMessage(error));
    }
}

Project readProjectFile(const std::filesystem::path& url) {
    std::ifstream in(url, std::ios::binary);
    if (!in) throw StudioError("Could not open " + url.string() + ": " + systemMessage(errno));
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) throw StudioError("Could not read " + url.string());
    try {
        return decodeProjectFile(text.str());
    } catch (const DecodeError& e) {
        throw StudioError("Could not open " + url.string() + ": " + e.what());
    }
}

} // namespace

void Studio::save(const std::filesystem::path& to) {
    writeAtomically(to, encodeProjectFile(project_));
    fileURL_ = to;
    if (project_.name == "Untitled" || project_.name == "Demo") {
        const std::string named = to.stem().string();  // only the last extension goes
        mutate([&](Project& p) { p.name = named; });
    }
}

void Studio::open(const std::filesystem::path& url) {
    Project opened = readProjectFile(url);
    postToEngine(EngineCommand::stop());  // the old song must not play on into the new one
    mutate([&](Project& p) { p = std::move(opened); });
    // Both flags follow the emptied stacks, also when the file equals the current project and
    // the edit above changed nothing.
    undoStack_.clear();
    redoStack_.clear();
    canUndo_ = false;
    canRedo_ = false;
    fileURL_ = url;
    selectTopmost();
}

void Studio::newProject(std::string name, double tempo) {
    mutate([&](Project& p) { p = Project(std::move(name), std::clamp(tempo, 20.0, 300.0)); });
    undoStack_.clear();
    redoStack_.clear();
    canUndo_ = false;
    canRedo_ = false;
    fileURL_.reset();
    selectedTrackID_.reset();
    selectedClipID_.reset();
    postToEngine(EngineCommand::stop());
    postToEngine(EngineCommand::seek(0));
}

} // namespace velmo
