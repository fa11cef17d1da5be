// Small helpers for driving a private EngineCore in tests: projects of a few notes, and a render
// loop that keeps everything it produced.
#pragma once

#include "engine/EngineCore.h"
#include "model/Project.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace velmo::testing {

// At 32768 Hz and 120 BPM one frame is exactly 2^-14 beats and a block 2^-9 beats, so beat
// positions in the tests are exact binary fractions.
constexpr double kRate = 32768;
constexpr double kTempo = 120;
constexpr double kFramesPerBeat = kRate * 60 / kTempo; // 16384

inline Clip clipOf(std::string id, double start, double length, std::vector<Note> notes) {
    Clip c;
    c.id = std::move(id);
    c.start = start;
    c.length = length;
    for (auto& n : notes) c.notes.push_back(n);
    return c;
}

inline Track trackOf(std::string id, std::vector<Clip> clips, SynthPatch patch = {}) {
    Track t(id, "Track " + id, 0, std::move(patch));
    t.volumeDb = 0;
    for (auto& c : clips) t.clips.push_back(c);
    return t;
}

inline Project projectOf(std::vector<Track> tracks, double tempo = kTempo) {
    Project p("Test", tempo);
    p.loopEnabled = false;
    for (auto& t : tracks) p.tracks.push_back(t);
    return p;
}

// One track "t1" with one clip "c1" of `clipLength` beats from beat 0.
inline Project songOf(double clipLength, std::vector<Note> notes) {
    return projectOf({trackOf("t1", {clipOf("c1", 0, clipLength, std::move(notes))})});
}

struct Rig {
    explicit Rig(double rate = kRate) : core(rate) {}

    void load(const Project& p) { core.handle(EngineCommand::load(CompiledProject(p))); }
    void play(const Project& p) {
        load(p);
        core.handle(EngineCommand::play());
    }

    // Renders `frames` more frames in device callbacks of `callback` frames.
    void render(int frames, int callback = 32) {
        std::vector<float> l(static_cast<std::size_t>(callback)), r(static_cast<std::size_t>(callback));
        for (int done = 0; done < frames;) {
            int n = std::min(callback, frames - done);
            core.render(n, l.data(), r.data(), 0);
            left.insert(left.end(), l.begin(), l.begin() + n);
            right.insert(right.end(), r.begin(), r.begin() + n);
            done += n;
        }
    }

    // Largest magnitude in frames [from, to).
    float peak(std::size_t from, std::size_t to) const {
        float m = 0;
        for (std::size_t i = from; i < std::min(to, left.size()); ++i)
            m = std::max({m, std::fabs(left[i]), std::fabs(right[i])});
        return m;
    }

    int activeVoices(const std::string& track) const {
        const TrackProcessor* t = core.track(track);
        int n = 0;
        if (t)
            for (int i = 0; i < TrackProcessor::voiceCount; ++i) n += t->voice(i).active;
        return n;
    }

    EngineCore core;
    std::vector<float> left, right;
};

} // namespace velmo::testing
