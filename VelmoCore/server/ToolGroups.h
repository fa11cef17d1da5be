// The tools, one constructor each, grouped in files by what they work on. `MCPTools::buildTools`
// lists them in registry order.
#pragma once

#include "server/ToolDef.h"

namespace velmo {

class MCPTools;

// Song and transport (SongTools.cpp).
ToolDef historyTool(MCPTools& tools);

// Chord and drum-pattern writers (WriterTools.cpp).
ToolDef addChordsTool(MCPTools& tools);
ToolDef addDrumPatternTool(MCPTools& tools);

} // namespace velmo
