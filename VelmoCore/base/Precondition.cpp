#include "base/Precondition.h"

#include <cstdio>
#include <cstdlib>

namespace velmo {

void preconditionFailed(const char* operation, const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s: precondition failed: %s (%s:%d)\n", operation, condition, file, line);
    std::fflush(stderr);
    std::abort();
}

} // namespace velmo
