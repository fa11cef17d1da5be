// The desktop side of `velmo`: whether a window can be opened here, and running the studio with
// its window. The same Studio, engine and agent server run as in headless mode.
#pragma once

#include "engine/AudioHost.h"

#include <memory>

namespace velmo {

// True when Qt is told its platform (QT_QPA_PLATFORM), a Wayland socket accepts a connection, or
// the X server of DISPLAY answers. Qt itself would abort the process without one.
bool displayAvailable();

// Runs until the window closes, Ctrl-C or SIGTERM, with the Studio playing through `host`;
// returns the exit status.
int runWindow(int argc, char** argv, std::unique_ptr<AudioHost> host);

} // namespace velmo
