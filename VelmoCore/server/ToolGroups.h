// The tools, one constructor each, grouped in files by what they work on. `MCPTools::buildTools`
// lists them in registry order.
#pragma once

#include "server/ToolDef.h"

namespace velmo {

class MCPTools;

// Song and transport (SongTools.cpp).
ToolDef getProjectTool(MCPTools& tools);
ToolDef getClipTool(MCPTools& tools);
ToolDef getTrackTool(MCPTools& tools);
ToolDef newProjectTool(MCPTools& tools);
ToolDef setSongTool(MCPTools& tools);
ToolDef transportTool(MCPTools& tools);
ToolDef historyTool(MCPTools& tools);
ToolDef saveProjectTool(MCPTools& tools);
ToolDef openProjectTool(MCPTools& tools);

// Analysis and export (AnalysisTools.cpp). Both suspend while they render.
ToolDef analyzeMixTool(MCPTools& tools);
ToolDef exportAudioTool(MCPTools& tools);

} // namespace velmo
