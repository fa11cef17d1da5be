// The song document: a tree of plain value records with no back-pointers, so a whole Project is
// copied by one assignment and compared field by field. Undo keeps whole Projects; the lists
// share their storage copy-on-write (CowVector, and ChunkedList for the long lists of notes), so
// a copy is cheap and an edit costs what it changed.
//
// Times are in beats (a quarter note); note starts are relative to their clip, clip starts are
// absolute. Pitches are MIDI numbers (60 is C4). Fields ending in Db are decibels.
#pragma once

#include "model/ChunkedList.h"
#include "model/CowVector.h"
#include "model/EnumTable.h"
#include "model/SynthPatch.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace velmo {

enum class EffectKind { drive, bitcrush, chorus, phaser, delay, reverb, eq, compressor, autofilter };

template <> struct EnumNames<EffectKind> {
    static constexpr std::array<std::string_view, 9> names{
        "drive", "bitcrush", "chorus", "phaser", "delay", "reverb", "eq", "compressor", "autofilter"};
};

// The farthest any clip, note or loop marker reaches, in beats, and the longest they last: far
// beyond a song (14 hours at 120 BPM), and a bound that keeps every end and sum finite.
constexpr double kFarthestBeat = 100000;

struct Note {
    int pitch = 60;
    double start = 0;     // beats from the clip's start
    double duration = 1;  // beats
    double velocity = 1;  // 0 to 1

    bool operator==(const Note&) const = default;
};

// A clip may hold a hundred thousand notes: they are shared in chunks, so that an undo step of a
// one-note edit costs a chunk and not the clip.
using NoteList = ChunkedList<Note>;

struct Clip {
    std::string id;
    std::string name;
    double start = 0;   // beats on the timeline
    double length = 0;  // beats
    NoteList notes;

    double end() const { return start + length; }
    bool operator==(const Clip&) const = default;
};

// Parameters a slot does not hold take the catalog's defaults, so a slot may carry only what
// differs and the catalog can grow without invalidating old files.
struct EffectSlot {
    std::string id;
    EffectKind kind = EffectKind::drive;
    bool enabled = true;
    std::map<std::string, double> params;

    bool operator==(const EffectSlot&) const = default;
};

// The device is kept by display name, not by endpoint, so a project opens on a machine where the
// device is absent.
struct MIDIRoute {
    std::string device;
    int channel = 1;
    bool playInternal = false;

    bool operator==(const MIDIRoute&) const = default;
};

struct Track {
    std::string id;
    std::string name;
    int colorIndex = 0;
    SynthPatch patch;
    double volumeDb = -6;
    double pan = 0;
    bool mute = false;
    bool solo = false;
    CowVector<EffectSlot> effects;
    CowVector<Clip> clips;  // kept sorted by start by every Studio operation
    std::optional<MIDIRoute> midiOut;

    Track() = default;
    Track(std::string id, std::string name, int colorIndex, SynthPatch patch)
        : id(std::move(id)), name(std::move(name)), colorIndex(colorIndex), patch(std::move(patch)) {}

    bool operator==(const Track&) const = default;
};

struct ClipLocation {
    std::size_t track = 0;
    std::size_t clip = 0;

    bool operator==(const ClipLocation&) const = default;
};

struct Project {
    std::string name;
    double tempo = 120;  // beats per minute
    int beatsPerBar = 4;
    int beatUnit = 4;
    bool loopEnabled = true;
    double loopStart = 0;
    double loopEnd = 16;
    double masterVolumeDb = 0;
    CowVector<EffectSlot> masterEffects;
    CowVector<Track> tracks;
    int nextId = 1;  // one counter for tracks, clips and effects alike

    Project() = default;
    Project(std::string name, double tempo) : name(std::move(name)), tempo(tempo) {}

    // `prefix` + the counter, then advances the counter: t1, c2, fx3, ... A number is never
    // reused for another kind.
    std::string makeId(std::string_view prefix);

    // First track whose id is canonically equal to `id`.
    std::optional<std::size_t> trackIndex(std::string_view id) const;

    // First clip with that id, walking tracks and then their clips in list order.
    std::optional<ClipLocation> clipLocation(std::string_view id) const;

    // The largest clip end over all tracks, 0 without clips. Loop markers and notes running past
    // their clip do not count.
    double songEnd() const;

    // Makes every track, clip and effect id unique, and `nextId` larger than the number any id
    // ends in, so that makeId cannot repeat one: a hand-edited file may break both. The first
    // holder of an id (master chain first, then track by track) keeps it; later ones get new
    // ids. Returns how many ids changed.
    int repairIds();

    // Where a render without an end stops: the later of the song end and, if on, the loop end.
    double renderEnd() const { return std::max(songEnd(), loopEnabled ? loopEnd : 0.0); }

    bool operator==(const Project&) const = default;
};

} // namespace velmo
