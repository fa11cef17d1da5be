// The offline renderer from the command line:
//   velmo render FILE [-o OUT.wav] [--start BEAT] [--end BEAT] [--tail SECONDS]
//   velmo analyze FILE
// Both print the mix analysis as JSON, the same object the analysis tool replies with.
#pragma once

#include <cstdio>

namespace velmo {

// Runs `velmo render` or `velmo analyze` and returns the process's exit status: 0 on success,
// 1 when the project cannot be read or the file cannot be written, 2 for a malformed command
// line. Returns -1 when argv is not one of these commands, so the caller carries on. Errors go
// to `err` as one line naming the file and the problem; the JSON goes to `out`.
int runRenderCommand(int argc, char** argv, std::FILE* out = stdout, std::FILE* err = stderr);

} // namespace velmo
