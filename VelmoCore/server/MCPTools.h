// The tool registry: the ordered list of tools an agent sees, how a call finds its tool, and how
// a result or a failure becomes the reply and a row of the activity log.
#pragma once

#include "model/SynthPatch.h"
#include "server/ToolDef.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmo {

class MainQueue;
class Studio;

// Main queue only.
class MCPTools {
public:
    // Builds the tool list; handlers may keep a reference to the registry (and through it to the
    // Studio and the main queue), which never moves.
    using Factory = std::function<std::vector<ToolDef>(MCPTools&)>;

    // The text sent as `instructions` in the reply to "initialize".
    static const std::string instructions;

    // Every tool of the system, in registry order.
    static std::vector<ToolDef> buildTools(MCPTools& tools);

    MCPTools(Studio& studio, MainQueue& mainQueue, const Factory& factory = &MCPTools::buildTools);
    MCPTools(const MCPTools&) = delete;
    MCPTools& operator=(const MCPTools&) = delete;

    Studio& studio() { return studio_; }
    MainQueue& mainQueue() { return mainQueue_; }
    const std::vector<ToolDef>& tools() const { return tools_; }

    // One object per tool, in registry order: name, description, inputSchema, annotations.
    nlohmann::json definitions() const;
    std::vector<std::string> toolNames() const;

    // Runs the tool named exactly `name` and hands `done` the reply object (`content` with one
    // text item, and `isError`). Never fails: an unknown tool or a failing handler is a reply
    // with `isError` true. The edits of one call are one undo step. A successful reply that
    // ignored arguments (server/IgnoredArguments.h) ends in a line that names them. `done` runs
    // on the main queue, before `call` returns unless the tool suspends.
    void call(const std::string& name, nlohmann::json arguments, std::function<void(nlohmann::json)> done);

    // The owner of an effect chain: "master" in any letter case is the master bus (nothing);
    // anything else, also no value at all, resolves as a track or fails with the StudioError
    // of `Studio::trackIndex`.
    std::optional<std::size_t> effectTarget(const nlohmann::json* ref) const;

    // The Markdown reference of describe_synth: engines, every parameter path with its type and
    // range, modulation, effects, presets and the drum map. With `engine`, only that engine's
    // parameter rows and the shared ones.
    static std::string describe(std::optional<EngineKind> engine);

    // Whether a resolved path is to be written, and so needs its folder, or only read.
    enum class PathUse { write, read };

    // A caller's file path as a location. A non-empty `path` has a leading "~" expanded, is made
    // absolute, gets "." + `ext` when it has no extension, and, for writing, has its folder
    // created. Without one: `fallback` if given, else <name>.<ext> in ~/Music/Velmo/ (created for
    // writing), any "/" of the project name becoming "-". Throws StudioError when a folder cannot
    // be created.
    std::filesystem::path resolvePath(const std::optional<std::string>& path,
                                      const std::optional<std::filesystem::path>& fallback, const std::string& ext,
                                      PathUse use = PathUse::write);

private:
    Studio& studio_;
    MainQueue& mainQueue_;
    std::vector<ToolDef> tools_;
};

// The reply object of a tool call.
nlohmann::json toolReply(std::string text, bool isError);

// The one-line activity-log summary of a call's arguments: the four alphabetically first entries,
// arrays as their count, objects as up to three keys, other values cut at 40 characters.
std::string summarize(const nlohmann::json& arguments);

} // namespace velmo
