// velmo: the studio program. The agent server, the audio engine and the window join as they are
// built; until then it says honestly what it can do.
#include "model/Project.h"
#include "model/ProjectJSON.h"

#include <cstdio>

int main() {
    std::puts("Velmo: a synthesizer studio that an AI agent composes with.");
    std::puts("This build holds the song model and its one owner, the Studio: projects, tracks,");
    std::puts("clips, notes, synth patches and effect slots, with undo, redo and the activity log,");
    std::puts("and the .velmo.json project file format. Run `make test` to exercise them.");
    std::puts("Not in this build yet: the MCP server, the audio engine and the window.");
    return 0;
}
