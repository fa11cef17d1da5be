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

// Sound: tracks, synth patches, effects and MIDI routing (SoundTools.cpp).
ToolDef describeSynthTool(MCPTools& tools);
ToolDef listPresetsTool(MCPTools& tools);
ToolDef addTrackTool(MCPTools& tools);
ToolDef updateTrackTool(MCPTools& tools);
ToolDef removeTrackTool(MCPTools& tools);
ToolDef unmuteAllTool(MCPTools& tools);
ToolDef listMIDIDevicesTool(MCPTools& tools);
ToolDef setMIDIOutputTool(MCPTools& tools);
ToolDef duplicateTrackTool(MCPTools& tools);
ToolDef setSynthTool(MCPTools& tools);
ToolDef addEffectTool(MCPTools& tools);
ToolDef updateEffectTool(MCPTools& tools);
ToolDef removeEffectTool(MCPTools& tools);

// Note tools (NoteTools.cpp, TransformNotesTool.cpp).
ToolDef addClipTool(MCPTools& tools);
ToolDef updateClipTool(MCPTools& tools);
ToolDef duplicateClipTool(MCPTools& tools);
ToolDef removeClipTool(MCPTools& tools);
ToolDef addNotesTool(MCPTools& tools);
ToolDef removeNotesTool(MCPTools& tools);
ToolDef transformNotesTool(MCPTools& tools);
ToolDef playNotesTool(MCPTools& tools);

// Chord and drum-pattern writers (WriterTools.cpp).
ToolDef addChordsTool(MCPTools& tools);
ToolDef addDrumPatternTool(MCPTools& tools);

// A sound's portrait: one note of a track rendered and described (DescribeSoundTool.cpp).
ToolDef describeSoundTool(MCPTools& tools);

} // namespace velmo
