// The words an agent uses for music, turned into numbers: note names, drum words, chord symbols,
// voicings and scales. Include this for the whole of `MusicTheory`; each part has its own header.
#pragma once

#include "theory/Chords.h"
#include "theory/DrumMap.h"
#include "theory/NoteNames.h"
#include "theory/Scales.h"
#include "theory/Voicing.h"
