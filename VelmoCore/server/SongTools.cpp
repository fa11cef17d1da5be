#include "Studio/Studio.h"
#include "server/MCPTools.h"
#include "server/ToolGroups.h"
#include "server/ToolSchema.h"

#include <algorithm>

namespace velmo {

using namespace schema;
using nlohmann::json;

ToolDef historyTool(MCPTools& tools) {
    return {
        "history",
        "Undo or redo edits.",
        O({{"action", E({"undo", "redo"}, "Direction")}, {"steps", P("integer", "How many steps (default 1)")}},
          {"action"}),
        false,
        immediate([&studio = tools.studio()](const ToolArgs& arguments) -> ToolValue {
            const auto steps = std::clamp<std::int64_t>(arguments.integer("steps").value_or(1), 1, 100);
            // Anything but exactly "redo" undoes, also a missing action.
            const bool redo = arguments.string("action") == "redo";
            for (std::int64_t i = 0; i < steps; ++i) {
                if (redo) studio.redo();
                else studio.undo();
            }
            return json{{"can_undo", studio.canUndo()},
                        {"can_redo", studio.canRedo()},
                        {"tracks", studio.project().tracks.size()}};
        }),
    };
}

} // namespace velmo
