// VELMO_SNAPSHOT: two seconds after start the largest visible window draws itself into a PNG at
// that path. This is how tests and people take screenshots of Velmo.
#pragma once

namespace velmo {

inline constexpr int snapshotDelayMs = 2000;

// Schedules the snapshot if VELMO_SNAPSHOT names a path; failures go unreported.
void scheduleSnapshot();

} // namespace velmo
