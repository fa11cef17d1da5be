#include "server/MCPTools.h"

#include "Studio/Studio.h"
#include "base/TextExcerpt.h"
#include "base/UserError.h"
#include "model/Unicode.h"
#include "server/IgnoredArguments.h"
#include "server/ToolGroups.h"

#include <algorithm>
#include <memory>

namespace velmo {

using nlohmann::json;

const std::string MCPTools::instructions =
    "Velmo is a native desktop synthesizer studio. You control it completely through these tools; the user "
    "hears the result live.\n"
    "\n"
    "Model: a project has a tempo and tracks. Each track has one synth (engine: analog, wavetable, fm, additive, "
    "pluck, modal, drums), insert effects, and clips placed on a beat timeline. Clips hold notes. All times are "
    "in BEATS (quarter notes in 4/4); a 4/4 bar is 4 beats. Note starts are relative to their clip. Pitches are "
    "MIDI numbers (60 = C4) or names (\"C4\", \"F#3\").\n"
    "\n"
    "Typical workflow:\n"
    "1. get_project to see the current state (ids like t1 for tracks, c4 for clips, fx7 for effects).\n"
    "2. add_track with a preset (list_presets) or engine, then shape the sound with set_synth (describe_synth "
    "lists every parameter).\n"
    "3. add_clip, then fill it with add_notes, add_chords (chord symbols, arpeggios, strums) or add_drum_pattern "
    "(step strings like \"x...x...\").\n"
    "4. Refine with transform_notes (transpose, quantize, scale snap, humanize), duplicate_clip to arrange, "
    "add_effect for space and color.\n"
    "5. transport play to let the user listen; analyze_mix to check levels/clipping/spectral balance "
    "objectively since you cannot hear; export_audio to write a WAV.\n"
    "Drum tracks use General MIDI notes: 36 kick, 37 rim, 38 snare, 39 clap, 42 closed hat, 44 pedal hat, 46 "
    "open hat, 41/45/48 toms, 49 crash, 51 ride, 56 cowbell.\n"
    "Tracks can drive external MIDI gear (list_midi_devices, set_midi_output).\n"
    "Every edit is undoable (history tool).";

std::vector<ToolDef> MCPTools::buildTools(MCPTools& registry) {
    // Registry order is the order agents see in tools/list; new tools go in at their place.
    std::vector<ToolDef> tools;
    tools.push_back(getProjectTool(registry));
    tools.push_back(getClipTool(registry));
    tools.push_back(getTrackTool(registry));
    tools.push_back(describeSynthTool(registry));
    tools.push_back(listPresetsTool(registry));
    tools.push_back(newProjectTool(registry));
    tools.push_back(setSongTool(registry));
    tools.push_back(transportTool(registry));
    tools.push_back(historyTool(registry));
    tools.push_back(saveProjectTool(registry));
    tools.push_back(openProjectTool(registry));
    tools.push_back(addTrackTool(registry));
    tools.push_back(updateTrackTool(registry));
    tools.push_back(removeTrackTool(registry));
    tools.push_back(unmuteAllTool(registry));
    tools.push_back(listMIDIDevicesTool(registry));
    tools.push_back(setMIDIOutputTool(registry));
    tools.push_back(duplicateTrackTool(registry));
    tools.push_back(setSynthTool(registry));
    tools.push_back(addEffectTool(registry));
    tools.push_back(updateEffectTool(registry));
    tools.push_back(removeEffectTool(registry));
    tools.push_back(addClipTool(registry));
    tools.push_back(updateClipTool(registry));
    tools.push_back(duplicateClipTool(registry));
    tools.push_back(removeClipTool(registry));
    tools.push_back(addNotesTool(registry));
    tools.push_back(removeNotesTool(registry));
    tools.push_back(addChordsTool(registry));
    tools.push_back(addDrumPatternTool(registry));
    tools.push_back(transformNotesTool(registry));
    tools.push_back(playNotesTool(registry));
    tools.push_back(analyzeMixTool(registry));
    tools.push_back(exportAudioTool(registry));
    // Tools beyond the first 34 come after them, so the first 34 keep their places.
    tools.push_back(describeSoundTool(registry));
    return tools;
}

MCPTools::MCPTools(Studio& studio, MainQueue& mainQueue, const Factory& factory)
    : studio_(studio), mainQueue_(mainQueue) {
    tools_ = factory(*this);
}

json MCPTools::definitions() const {
    json list = json::array();
    for (const ToolDef& tool : tools_) {
        list.push_back({{"name", tool.name},
                        {"description", tool.description},
                        {"inputSchema", tool.schema},
                        {"annotations",
                         {{"readOnlyHint", tool.readOnly}, {"destructiveHint", false}, {"openWorldHint", false}}}});
    }
    return list;
}

std::vector<std::string> MCPTools::toolNames() const {
    std::vector<std::string> names;
    names.reserve(tools_.size());
    for (const ToolDef& tool : tools_) names.push_back(tool.name);
    return names;
}

std::optional<std::size_t> MCPTools::effectTarget(const json* ref) const {
    if (ref && ref->is_string() && lowercased(ref->get_ref<const std::string&>()) == "master") return std::nullopt;
    return studio_.trackIndex(ref);
}

json toolReply(std::string text, bool isError) {
    return {{"content", json::array({{{"type", "text"}, {"text", std::move(text)}}})}, {"isError", isError}};
}

namespace {

// The message of a failure as the agent should read it.
// Where an agent finds the names a failed lookup could have used; the core names no tools.
std::string whereToLook(NotFound missing) {
    switch (missing) {
    case NotFound::clip: return " Call get_project to list clip ids.";
    case NotFound::synthParameter: return " Call describe_synth for the full list.";
    case NotFound::none: break;
    }
    return "";
}

std::string failureMessage(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const UserError& error) {
        return error.message() + whereToLook(error.notFound);
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "Unexpected failure of unknown type.";
    }
}

} // namespace

void MCPTools::call(const std::string& name, json arguments, std::function<void(json)> done) {
    auto tool = std::find_if(tools_.begin(), tools_.end(), [&](const ToolDef& t) { return t.name == name; });
    if (tool == tools_.end()) {
        done(toolReply("Unknown tool '" + name + "'.", true));
        return;
    }

    // Found before the handler runs, and said at the end of a successful reply.
    std::string ignored;
    for (const std::string& item : ignoredArguments(tool->schema, arguments))
        ignored += (ignored.empty() ? "\n" : "; ") + item;

    auto finish = [this, name, arguments, ignored, done = std::move(done)](ToolOutcome outcome) {
        auto fail = [&](std::string message) {
            studio_.log(name, message, false);
            done(toolReply("Error: " + message, true));
        };
        if (auto* failure = std::get_if<std::exception_ptr>(&outcome)) return fail(failureMessage(*failure));

        std::string text;
        auto& value = std::get<ToolValue>(outcome);
        if (auto* plain = std::get_if<std::string>(&value)) {
            text = std::move(*plain);
        } else {
            try {
                // Strict: text that is not UTF-8 fails here rather than reaching the agent.
                text = std::get<json>(value).dump(2);
            } catch (const std::exception& error) {
                return fail(error.what());
            }
        }
        studio_.log(name, summarize(arguments), true);
        done(toolReply(std::move(text) + ignored, false));
    };

    // A completion that runs twice (a handler fault) must not answer twice.
    auto once = std::make_shared<bool>(false);
    ToolCompletion completion = [finish = std::move(finish), once](ToolOutcome outcome) mutable {
        if (*once) return;
        *once = true;
        finish(std::move(outcome));
    };
    try {
        // A call is at most one undo step, whatever edits its handler makes.
        Studio::OneStep step(studio_);
        tool->handler(ToolArgs(std::move(arguments)), completion);
    } catch (...) {
        if (!*once) completion(std::current_exception());
    }
}

namespace {

std::string printed(const json& value) {
    if (value.is_string()) return value.get<std::string>();
    // Replacement rather than failure: a log row is for reading, not for parsing.
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace

std::string summarize(const json& arguments) {
    if (!arguments.is_object()) return "";
    std::string summary;
    std::size_t count = 0;
    // The object keeps its keys sorted, so the first four are the alphabetically first.
    for (auto it = arguments.begin(); it != arguments.end() && count < 4; ++it, ++count) {
        if (count > 0) summary += "  ";
        const json& value = it.value();
        if (value.is_array()) {
            summary += it.key() + ": [" + std::to_string(value.size()) + "]";
        } else if (value.is_object()) {
            summary += it.key() + ": {";
            std::size_t shown = 0;
            for (auto key = value.begin(); key != value.end() && shown < 3; ++key, ++shown) {
                if (shown > 0) summary += ", ";
                summary += key.key();
            }
            if (value.size() > 3) summary += ", …";
            summary += "}";
        } else {
            summary += it.key() + ": " + excerpt(printed(value));
        }
    }
    return summary;
}

} // namespace velmo
