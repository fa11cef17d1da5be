#include "RenderCommand.h"

#include "Studio/SongLimits.h"
#include "server/MixAnalysisJSON.h"
#include "engine/OfflineRenderer.h"
#include "base/NumberText.h"
#include "base/RegularFile.h"
#include "model/JSONReader.h"
#include "model/ProjectJSON.h"

#include <cmath>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace velmo {

namespace {

constexpr double exportSampleRate = 48000;
constexpr double analysisSampleRate = 44100;
constexpr double exportTailSeconds = 3;
constexpr double analysisTailSeconds = 0.5;

constexpr const char* usage =
    "usage: velmo render FILE [-o OUT.wav] [--start BEAT] [--end BEAT] [--tail SECONDS] [--target-lufs LUFS]\n"
    "       velmo analyze FILE [--target-lufs LUFS]\n";

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A failure about one file, printed as "velmo: <file>: <problem>".
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The project, after telling `err` what the reader should know about the file.
Project readProject(const std::filesystem::path& path, std::FILE* err) {
    ProjectFile file;
    try {
        file = readProjectFile(path);
    } catch (const FileAccessError& e) {
        throw FileError(path.string() + ": cannot open: " + e.what());
    } catch (const DecodeError& e) {
        throw FileError(path.string() + ": not a Velmo project: " + e.what());
    }
    // A clip 1e308 beats long would render for ever.
    keepWithinLimits(file);
    for (const std::string& warning : file.warnings) std::fprintf(err, "velmo: %s: %s\n", path.c_str(), warning.c_str());
    return std::move(file.project);
}

double number(std::string_view option, const char* text) {
    const std::optional<double> value = parseNumber(text);
    if (!value || !std::isfinite(*value))
        throw UsageError(std::string(option) + " expects a number, not '" + std::string(text) + "'");
    return *value;
}

double targetLufs(std::string_view option, const char* text) {
    const std::optional<double> value = parseNumber(text);
    if (!value || !(*value >= quietestTargetLufs && *value <= loudestTargetLufs))
        throw UsageError(std::string(option) + " expects a loudness from " + std::to_string(int(quietestTargetLufs)) +
                         " to " + std::to_string(int(loudestTargetLufs)) + " LUFS, not '" + std::string(text) + "'");
    return *value;
}

// song.velmo.json -> song.wav beside it.
std::filesystem::path defaultOutput(const std::filesystem::path& input) {
    std::string name = input.filename().string();
    for (std::string_view suffix : {".velmo.json", ".json"}) {
        if (name.size() > suffix.size() && name.ends_with(suffix)) {
            name.resize(name.size() - suffix.size());
            break;
        }
    }
    return input.parent_path() / (name + ".wav");
}

int run(int argc, char** argv, std::FILE* out, std::FILE* err) {
    const std::string_view command = argv[1];
    const bool render = command == "render";
    std::optional<std::filesystem::path> file, output;
    std::optional<double> start, end, tail;
    double target = defaultTargetLufs;
    for (int i = 2; i < argc; ++i) {
        std::string_view arg = argv[i];
        auto value = [&]() -> const char* {
            if (i + 1 >= argc) throw UsageError(std::string(arg) + " needs a value");
            return argv[++i];
        };
        if (render && (arg == "-o" || arg == "--output")) output = value();
        else if (render && arg == "--start") start = number(arg, value());
        else if (render && arg == "--end") end = number(arg, value());
        else if (render && arg == "--tail") tail = number(arg, value());
        else if (arg == "--target-lufs") target = targetLufs(arg, value());
        else if (arg.starts_with("-") && arg.size() > 1)
            throw UsageError("unknown option '" + std::string(arg) + "' for " + std::string(command) +
                             (render ? "; options: -o, --start, --end, --tail, --target-lufs" : "; options: --target-lufs"));
        else if (file) throw UsageError("one project file only, got '" + file->string() + "' and '" + std::string(arg) + "'");
        else file = std::filesystem::path(arg);
    }
    if (!file) throw UsageError(std::string(command) + " needs a project FILE");

    const Project project = readProject(*file, err);
    const double from = start.value_or(0);
    const double to = end.value_or(project.renderEnd());
    nlohmann::json reply;
    if (render) {
        std::filesystem::path path = output.value_or(defaultOutput(*file));
        try {
            MixAnalysis a = OfflineRenderer::render(project, from, to, tail.value_or(exportTailSeconds),
                                                    exportSampleRate, path);
            reply = analysisJSON(a, project, target);
        } catch (const std::system_error& e) {
            throw FileError(path.string() + ": cannot write: " + e.code().message());
        }
        reply["file"] = path.string();
    } else {
        reply = analysisJSON(OfflineRenderer::render(project, from, to, analysisTailSeconds, analysisSampleRate), project,
                             target);
    }
    std::fprintf(out, "%s\n", reply.dump(2).c_str());
    return 0;
}

} // namespace

int runRenderCommand(int argc, char** argv, std::FILE* out, std::FILE* err) {
    if (argc < 2) return -1;
    const std::string_view command = argv[1];
    if (command != "render" && command != "analyze") return -1;
    try {
        return run(argc, argv, out, err);
    } catch (const UsageError& e) {
        std::fprintf(err, "velmo %s: %s\n%s", argv[1], e.what(), usage);
        return 2;
    } catch (const FileError& e) {
        std::fprintf(err, "velmo: %s\n", e.what());
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(err, "velmo %s: %s\n", argv[1], e.what());
        return 1;
    }
}

} // namespace velmo
