// One row of the activity log that shows the person what the agent (or they) did.
#pragma once

#include <chrono>
#include <string>

namespace velmo {

struct ActivityEntry {
    std::string id;  // random UUID
    std::chrono::system_clock::time_point date;
    std::string tool;
    std::string detail;
    bool ok = true;

    bool operator==(const ActivityEntry&) const = default;
};

// A random (version 4) UUID in its canonical text form.
std::string makeUUID();

} // namespace velmo
