// The tools, one constructor each, grouped in files by what they work on. `MCPTools::buildTools`
// lists them in registry order.
#pragma once

#include "server/ToolDef.h"

namespace velmo {

class MCPTools;

// Song and transport (SongTools.cpp).
ToolDef historyTool(MCPTools& tools);

// Note tools (NoteTools.cpp, TransformNotesTool.cpp).
ToolDef addClipTool(MCPTools& tools);
ToolDef updateClipTool(MCPTools& tools);
ToolDef duplicateClipTool(MCPTools& tools);
ToolDef removeClipTool(MCPTools& tools);
ToolDef addNotesTool(MCPTools& tools);
ToolDef removeNotesTool(MCPTools& tools);
ToolDef transformNotesTool(MCPTools& tools);
ToolDef playNotesTool(MCPTools& tools);

} // namespace velmo
