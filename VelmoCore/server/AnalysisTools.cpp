#include "Studio/MainQueue.h"
#include "Studio/Studio.h"
#include "server/MixAnalysisJSON.h"
#include "server/MixComparison.h"
#include "server/MCPTools.h"
#include "server/ToolArgs.h"
#include "server/ToolGroups.h"
#include "server/ToolSchema.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <system_error>

namespace velmo {

using namespace schema;
using nlohmann::json;

namespace {

constexpr double defaultTailSeconds = 3;

const json& targetLufsArgument() {
    static const json schema = P("number", "Loudness target in LUFS for the loudness note (default -14, the common "
                                           "streaming level)");
    return schema;
}

constexpr std::int64_t mostStepsBack = 20;

const json& compareArgument() {
    static const json schema{
        {"type", {"string", "integer"}},
        {"description", "Also measure an earlier state of the song and report the differences: \"last_edit\", or "
                        "how many undo steps back (1 to 20). The song and its history stay as they are."}};
    return schema;
}

// How many undo steps back `compare` asks for, or nothing when it is absent. Numbers are clamped
// to 1...20; a text is "last_edit" or a number.
std::optional<std::size_t> stepsBack(const ToolArgs& arguments, const Studio& studio) {
    const json* value = arguments.value("compare");
    if (!value || !(value->is_string() || value->is_number())) return std::nullopt;
    std::int64_t steps = 1;
    if (*value != "last_edit") {
        const auto number = arguments.integer("compare");
        if (!number) // only a text can fail to read as a number
            throw StudioError("compare takes \"last_edit\" or a number of undo steps back, 1 to 20; got '" +
                              value->get<std::string>() + "'.");
        steps = *number;
    }
    steps = std::clamp<std::int64_t>(steps, 1, mostStepsBack);
    const std::size_t depth = studio.undoDepth();
    if (depth == 0)
        throw StudioError("Nothing to compare with: the history is empty (no edit since the song was opened or created).");
    if (static_cast<std::size_t>(steps) > depth)
        throw StudioError("compare can go back 1 to " + std::to_string(depth) + " steps: the history holds " +
                          std::to_string(depth) + ".");
    return static_cast<std::size_t>(steps);
}

double targetLufs(const ToolArgs& arguments) {
    return std::clamp(arguments.num("target_lufs").value_or(defaultTargetLufs), quietestTargetLufs, loudestTargetLufs);
}

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
Studio::RenderCompletion replyWith(Project snapshot, std::optional<std::string> file, double target, ToolCompletion done) {
    return [snapshot = std::move(snapshot), file = std::move(file), target, done = std::move(done)](Studio::RenderOutcome outcome) {
        if (auto* failure = std::get_if<std::exception_ptr>(&outcome)) return done(*failure);
        json report = analysisJSON(std::get<MixAnalysis>(outcome), snapshot, target);
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

// Renders the song as it is and as it was `steps` edits ago, at once, over the same span, and
// replies with the report of now and, under `compare`, the report of then and the changes.
void analyzeAndCompare(Studio& studio, MainQueue& queue, std::size_t steps, double start, std::optional<double> end,
                       double target, ToolCompletion done) {
    struct Pair {
        Project now, before;
        std::optional<MixAnalysis> nowAnalysis, beforeAnalysis;
        std::exception_ptr failure;
        int waiting = 2;
        ToolCompletion done;
    };
    auto pair = std::make_shared<Pair>(Pair{studio.project(), *studio.earlierState(steps), {}, {}, {}, 2, std::move(done)});
    // Without an end, both run to the later of their ends, so they measure the same span.
    const double until = end.value_or(std::max(pair->now.renderEnd(), pair->before.renderEnd()));
    auto arrive = [pair, steps, target](std::optional<MixAnalysis>& slot) {
        return [pair, steps, target, &slot](Studio::RenderOutcome outcome) {
            if (auto* failure = std::get_if<std::exception_ptr>(&outcome)) pair->failure = *failure;
            else slot = std::move(std::get<MixAnalysis>(outcome));
            if (--pair->waiting > 0) return;
            if (pair->failure) return pair->done(pair->failure);
            json report = analysisJSON(*pair->nowAnalysis, pair->now, target);
            report["compare"] = comparisonJSON(*pair->beforeAnalysis, pair->before, *pair->nowAnalysis, pair->now, target);
            report["compare"]["steps_back"] = steps;
            pair->done(ToolValue(std::move(report)));
        };
    };
    studio.analyze(pair->now, start, until, queue, arrive(pair->nowAnalysis));
    studio.analyze(pair->before, start, until, queue, arrive(pair->beforeAnalysis));
}

ToolDef analyzeMixTool(MCPTools& tools) {
    return {
        "analyze_mix",
        "Render the song offline and measure it, since you cannot hear: master peak/RMS, clipping before the "
        "limiter, limiter gain reduction, low/mid/high band energy, and per-track peak/RMS. Use it to balance "
        "levels.",
        O({{"start_beat", P("number", "Default 0")},
           {"end_beat", P("number", "Default: song end or loop end")},
           {"target_lufs", targetLufsArgument()},
           {"compare", compareArgument()}},
          {}),
        true,
        [&tools = tools](const ToolArgs& arguments, ToolCompletion done) {
            Studio& studio = tools.studio();
            if (const auto steps = stepsBack(arguments, studio))
                return analyzeAndCompare(studio, tools.mainQueue(), *steps, arguments.num("start_beat").value_or(0),
                                         arguments.num("end_beat"), targetLufs(arguments), std::move(done));
            // The render takes the same snapshot; its names label the tracks of the report.
            studio.analyze(arguments.num("start_beat").value_or(0), arguments.num("end_beat"), tools.mainQueue(),
                           replyWith(studio.project(), std::nullopt, targetLufs(arguments), std::move(done)));
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
           {"tail_seconds", P("number", "Extra seconds for reverb/delay tails (default 3)")},
           {"target_lufs", targetLufsArgument()}},
          {}),
        false,
        [&tools = tools](const ToolArgs& arguments, ToolCompletion done) {
            Studio& studio = tools.studio();
            const std::filesystem::path to = tools.resolvePath(arguments.string("path"), std::nullopt, "wav");
            studio.exportAudio(to, arguments.num("start_beat").value_or(0), arguments.num("end_beat"),
                               arguments.num("tail_seconds").value_or(defaultTailSeconds), tools.mainQueue(),
                               replyWith(studio.project(), to.string(), targetLufs(arguments), std::move(done)));
        },
    };
}

} // namespace velmo
