// The options every Velmo program answers alike: --version, --help (or -h) and an option it does
// not know, which prints the usage to standard error and exits with status 2.
#pragma once

#include "server/VelmoInfo.h"

#include <cstdio>
#include <cstring>

namespace velmo {

// The exit status for `arg` once the program's own options have been tried: 0 after --version or
// --help, 2 after an unknown option. Never nothing: every option left over ends the program.
inline int answerStandardOption(const char* program, const char* arg, void (*printUsage)(std::FILE*)) {
    if (std::strcmp(arg, "--version") == 0) {
        std::printf("%s %.*s\n", program, int(VelmoInfo::version.size()), VelmoInfo::version.data());
        return 0;
    }
    if (std::strcmp(arg, "--help") == 0 || std::strcmp(arg, "-h") == 0) {
        printUsage(stdout);
        return 0;
    }
    std::fprintf(stderr, "%s: unknown option '%s'\n", program, arg);
    printUsage(stderr);
    return 2;
}

} // namespace velmo
