// The one way to stop on a broken programming invariant: an index a resolver already checked, a
// block longer than the engine ever cuts, an enumeration value outside its cases. It stops the
// process in every build type, naming the operation, rather than let a bad index write past a
// list. Bad input from outside is never a precondition: that is a UserError.
#pragma once

namespace velmo {

// Writes one line naming the operation, the condition and the place to stderr, then aborts.
// Neither allocates nor throws, so the audio thread may stop here too.
[[noreturn]] void preconditionFailed(const char* operation, const char* condition, const char* file, int line);

} // namespace velmo

#define VELMO_PRECONDITION(condition, operation) \
    ((condition) ? static_cast<void>(0) : ::velmo::preconditionFailed(operation, #condition, __FILE__, __LINE__))
