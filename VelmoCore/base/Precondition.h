// Programming faults in Studio operations: an index that a resolver should already have checked.
// These stop the process with the operation's name in every build type, rather than let a bad
// index write past a list.
#pragma once

namespace velmo {

[[noreturn]] void preconditionFailed(const char* operation, const char* condition, const char* file, int line);

} // namespace velmo

#define VELMO_PRECONDITION(condition, operation) \
    ((condition) ? static_cast<void>(0) : ::velmo::preconditionFailed(operation, #condition, __FILE__, __LINE__))
