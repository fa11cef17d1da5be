// What one tool of the agent server is: its wire name, the description the model reads, the
// input schema, whether it only reads, and the handler that does the work on the main queue.
#pragma once

#include "server/ToolArgs.h"

#include <nlohmann/json.hpp>

#include <exception>
#include <functional>
#include <string>
#include <variant>

namespace velmo {

// A tool's result: a text returned to the caller verbatim, or a JSON value that the registry
// serialises (sorted keys, pretty printed).
using ToolValue = std::variant<std::string, nlohmann::json>;

// How a handler ends: with its value or with the failure it met (a StudioError or ParamError
// whose message the caller reads, or any other exception).
using ToolOutcome = std::variant<ToolValue, std::exception_ptr>;

// Called exactly once, on the main queue. A handler that throws instead counts as failed.
using ToolCompletion = std::function<void(ToolOutcome)>;

// Runs on the main queue. Most handlers finish before returning; the rendering tools finish
// later, from the main queue, so that edits go on while they render.
using ToolHandler = std::function<void(const ToolArgs& arguments, ToolCompletion done)>;

struct ToolDef {
    std::string name;
    std::string description;
    nlohmann::json schema;
    bool readOnly = false;
    ToolHandler handler;
};

// The handler of a tool that finishes at once: `body` returns the result or throws.
inline ToolHandler immediate(std::function<ToolValue(const ToolArgs&)> body) {
    return [body = std::move(body)](const ToolArgs& arguments, ToolCompletion done) {
        ToolOutcome outcome;
        try {
            outcome = body(arguments);
        } catch (...) {
            outcome = std::current_exception();
        }
        done(std::move(outcome));
    };
}

} // namespace velmo
