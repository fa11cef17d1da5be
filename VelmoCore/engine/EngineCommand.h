// The commands by which the control side steers the audio core. They travel through the core's
// command queue and are carried out at the start of a later render callback, in order.
#pragma once

#include "engine/CompiledProject.h"

#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace velmo {

class MIDISender;

// Made on the control side, carried out on the audio thread, and destroyed on the control side
// again with whatever it carries back (the project a load replaced, the writer `attachMIDI`
// replaced).
struct EngineCommand {
    struct Load {
        std::shared_ptr<const CompiledProject> project;
    };
    struct Seek {
        double beat;
    };
    struct NoteOn {
        std::string track;
        int pitch;
        double velocity;
    };
    struct NoteOff {
        std::string track;
        int pitch;
    };
    struct AuditionNote {
        double offset;   // seconds from now
        int pitch;
        double velocity;
        double duration; // seconds
    };
    struct Audition {
        std::string track;
        std::vector<AuditionNote> notes;
    };
    struct AttachMIDI {
        std::shared_ptr<MIDISender> sender;
        double latency; // seconds from render to speaker
    };
    struct Play {};
    struct Stop {};
    struct Panic {};

    std::variant<Load, Seek, NoteOn, NoteOff, Audition, AttachMIDI, Play, Stop, Panic> payload;

    static EngineCommand load(std::shared_ptr<const CompiledProject> project) { return {Load{std::move(project)}}; }
    static EngineCommand load(CompiledProject project) {
        return load(std::make_shared<const CompiledProject>(std::move(project)));
    }
    static EngineCommand seek(double beat) { return {Seek{beat}}; }
    static EngineCommand noteOn(std::string track, int pitch, double velocity) {
        return {NoteOn{std::move(track), pitch, velocity}};
    }
    static EngineCommand noteOff(std::string track, int pitch) { return {NoteOff{std::move(track), pitch}}; }
    static EngineCommand audition(std::string track, std::vector<AuditionNote> notes) {
        return {Audition{std::move(track), std::move(notes)}};
    }
    static EngineCommand attachMIDI(std::shared_ptr<MIDISender> sender, double latency) {
        return {AttachMIDI{std::move(sender), latency}};
    }
    static EngineCommand play() { return {Play{}}; }
    static EngineCommand stop() { return {Stop{}}; }
    static EngineCommand panic() { return {Panic{}}; }
};

} // namespace velmo
