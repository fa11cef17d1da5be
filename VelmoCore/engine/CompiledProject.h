// The render form of a project: an immutable, self-contained value in which dB have become
// gains, solo and mute are resolved, clips have dissolved into one beat-sorted event list per
// track and MIDI routes have become endpoints. The audio core never reads a Project; this is
// built on the control side on every edit and handed over whole.
#pragma once

#include "midi/MIDITarget.h"
#include "model/Project.h"

#include <optional>
#include <string>
#include <vector>

namespace velmo {

class MIDIHub;

// One scheduled note; times in beats from the start of the song.
struct CompiledEvent {
    double beat = 0;     // clip start + note start
    int pitch = 60;      // unchanged, not clamped
    double velocity = 1; // unchanged, not clamped
    double duration = 1; // cut at the clip's end, then at least 0.01

    bool operator==(const CompiledEvent&) const = default;
};

// A track's events, in chunks that successive compilations share where the notes did not change.
using EventList = ChunkedList<CompiledEvent>;

// What a compilation keeps to be quicker the next time: each chunk of a clip's notes with the
// clip's start and length, and the events made from them. No part of the compiled value: two
// caches always compare equal.
struct EventCache {
    struct Source {
        std::shared_ptr<const NoteList::Chunk> notes;
        double clipStart = 0;
        double clipLength = 0;
        std::shared_ptr<EventList::Chunk> events; // sorted by beat when `sorted`; never written
        bool sorted = true;
        // The beats of the first and last of `events`, when there are any: the order of the
        // chunks is checked without visiting each one.
        bool empty = true;
        double firstBeat = 0;
        double lastBeat = 0;
    };
    std::vector<Source> sources; // in clip order, then note order

    bool operator==(const EventCache&) const { return true; }
};

struct CompiledTrack {
    std::string id;
    SynthPatch patch;
    CowVector<EffectSlot> effects; // disabled slots included: bypass is the chain's business
    double gain = 0;               // linear; exactly 0 when not audible
    double pan = 0;
    EventList events;              // sorted by beat; muted tracks keep theirs
    EventCache cache;
    bool audible = true;
    std::optional<MIDITarget> midi; // present when the route resolved to an output
    bool playInternal = true;

    bool operator==(const CompiledTrack&) const = default;
};

// Immutable once built. Safe to read from any thread.
struct CompiledProject {
    static constexpr double minEventDuration = 0.01; // beats: a zero-length note still sounds and ends
    static constexpr double minTempo = 1.0;

    double tempo = 120;       // beats per minute, at least 1
    bool loopEnabled = false; // only with a positive span
    double loopStart = 0;
    double loopEnd = 0;
    double songEnd = 0; // greatest clip end, 0 without clips
    double masterGain = 1;
    CowVector<EffectSlot> masterEffects;
    std::vector<CompiledTrack> tracks; // in project order

    CompiledProject() = default;

    // Compiles `project`. Routes resolve through `midi` when there is one; without a hub (headless
    // use, offline render) no route resolves and every track plays its synth. Events of notes
    // that `previous` (the compilation of an earlier version) already made are taken from it, so
    // an edit of one note costs one chunk of events. Never fails.
    explicit CompiledProject(const Project& project, const MIDIHub* midi = nullptr,
                             const CompiledProject* previous = nullptr);

    bool operator==(const CompiledProject&) const = default;
};

} // namespace velmo
