// Where a track's notes go: the internal synth only, or a MIDI device on one of 16 channels, with
// or without the internal synth too. Used by the track header's context menu.
#pragma once

#include "model/Project.h"
#include "midi/MIDIDestination.h"

#include <QString>

#include <cstddef>
#include <vector>

class QMenu;

namespace velmo {

class Studio;

// Fills `menu` for the track with id `track`; each choice calls setMIDIOut on it, if it is still
// there when chosen. GUI thread only.
void fillMIDIRouteMenu(QMenu& menu, Studio& studio, const std::string& track);

// Whether `device` is among the destinations there are now.
bool midiDeviceListed(const std::string& device, const std::vector<MIDIDestination>& destinations);
// "MIDI out: <device>, channel <n>", with " is not connected" behind the device when it is not
// among `destinations`.
QString midiIndicatorText(const MIDIRoute& route, const std::vector<MIDIDestination>& destinations);

} // namespace velmo
