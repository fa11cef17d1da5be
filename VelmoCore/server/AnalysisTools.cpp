#include "Studio/MainQueue.h"
#include "Studio/Studio.h"
#include "engine/MixAnalysisJSON.h"
#include "server/MCPTools.h"
#include "server/ToolGroups.h"
#include "server/ToolSchema.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <system_error>

namespace velmo {

using namespace schema;
using nlohmann::json;

namespace {

constexpr double defaultTailSeconds = 3;

std::filesystem::path homeDirectory() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return home;
    if (const passwd* entry = ::getpwuid(::getuid()); entry != nullptr && entry->pw_dir != nullptr) return entry->pw_dir;
    throw StudioError("Could not find the home folder: HOME is not set. Give a full path instead.");
}

void createFolder(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw StudioError("Could not create folder " + folder.string() + ": " + error.message());
}

// Hands a render's outcome to the tool's completion: the report of the snapshot's tracks, with
// `file` added for an export.
Studio::RenderCompletion replyWith(Project snapshot, std::optional<std::string> file, ToolCompletion done) {
    return [snapshot = std::move(snapshot), file = std::move(file), done = std::move(done)](Studio::RenderOutcome outcome) {
        if (auto* failure = std::get_if<std::exception_ptr>(&outcome)) return done(*failure);
        json report = analysisJSON(std::get<MixAnalysis>(outcome), snapshot);
        if (file) report["file"] = *file;
        done(ToolValue(std::move(report)));
    };
}

} // namespace

std::filesystem::path MCPTools::resolvePath(const std::optional<std::string>& path,
                                            const std::optional<std::filesystem::path>& fallback,
                                            const std::string& ext, PathUse use) {
    if (path && !path->empty()) {
        std::string text = *path;
        if (text == "~" || text.starts_with("~/")) text = homeDirectory().string() + text.substr(1);
        std::filesystem::path location = std::filesystem::absolute(text).lexically_normal();
        if (!location.has_extension()) location += "." + ext;
        if (use == PathUse::write) createFolder(location.parent_path());
        return location;
    }
    if (fallback) return *fallback;
    const std::filesystem::path folder = homeDirectory() / "Music" / "Velmo";
    if (use == PathUse::write) createFolder(folder);
    std::string name = studio_.project().name;
    std::replace(name.begin(), name.end(), '/', '-');
    if (name.empty()) name = "Untitled";  // not a hidden file named only by its extension
    return folder / (name + "." + ext);
}

ToolDef analyzeMixTool(MCPTools& tools) {
    return {
        "analyze_mix",
        "Render the song offline and measure it, since you cannot hear: master peak/RMS, clipping before the "
        "limiter, limiter gain reduction, low/mid/high band energy, and per-track peak/RMS. Use it to balance "
        "levels.",
        O({{"start_beat", P("number", "Default 0")}, {"end_beat", P("number", "Default: song end or loop end")}}, {}),
        true,
        [&tools = tools](const ToolArgs& arguments, ToolCompletion done) {
            Studio& studio = tools.studio();
            // The render takes the same snapshot; its names label the tracks of the report.
            studio.analyze(arguments.num("start_beat").value_or(0), arguments.num("end_beat"), tools.mainQueue(),
                           replyWith(studio.project(), std::nullopt, std::move(done)));
        },
    };
}

ToolDef exportAudioTool(MCPTools& tools) {
    return {
        "export_audio",
        "Render the song to a 24-bit 48 kHz stereo WAV file. Defaults to ~/Music/Velmo/<project name>.wav, from "
        "beat 0 to the song end.",
        O({{"path", P("string", "Output .wav path (~ allowed)")},
           {"start_beat", P("number", "Default 0")},
           {"end_beat", P("number", "Default: song end or loop end")},
           {"tail_seconds", P("number", "Extra seconds for reverb/delay tails (default 3)")}},
          {}),
        false,
        [&tools = tools](const ToolArgs& arguments, ToolCompletion done) {
            Studio& studio = tools.studio();
            const std::filesystem::path to = tools.resolvePath(arguments.string("path"), std::nullopt, "wav");
            studio.exportAudio(to, arguments.num("start_beat").value_or(0), arguments.num("end_beat"),
                               arguments.num("tail_seconds").value_or(defaultTailSeconds), tools.mainQueue(),
                               replyWith(studio.project(), to.string(), std::move(done)));
        },
    };
}

} // namespace velmo
