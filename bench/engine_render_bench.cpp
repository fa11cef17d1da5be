// Offline render speed, one core: 8 analog tracks with 8 notes sounding on each, 60 s of music
// at 48 kHz, through the same render path as live playback. Prints the real-time factor for the
// default patch and for a heavy one (two saws with 7-voice unison each, lowpass24, two LFOs,
// four modulation slots). Targets: at least 10x and 3x.
#include "engine/OfflineRenderer.h"

#include <chrono>
#include <cstdio>
#include <string>

namespace {

using namespace velmo;

// Ids built by appending, which keeps g++ 12's -Wrestrict false alarm on operator+ quiet.
std::string numbered(const char* prefix, int n) {
    std::string id = prefix;
    id += std::to_string(n);
    return id;
}

Project song(const SynthPatch& patch) {
    Project project("Bench", 120);
    project.loopEnabled = false;
    for (int t = 0; t < 8; ++t) {
        Track track(numbered("t", t + 1), "Track", t, patch);
        Clip clip;
        clip.id = numbered("c", t + 1);
        clip.length = 120;
        // Eight notes held for the whole minute (120 beats at 120 BPM).
        for (int n = 0; n < 8; ++n) clip.notes.push_back({36 + t * 3 + n * 4, 0, 120, 0.8});
        track.clips.push_back(clip);
        project.tracks.push_back(track);
    }
    return project;
}

SynthPatch heavyPatch() {
    SynthPatch p;
    p.analog.osc1 = {OscWave::saw, 0, 0, 0, 0.5, 1};
    p.analog.osc2 = {OscWave::saw, 0, 0, 7, 0.5, 1};
    p.analog.unison = 7;
    p.filter.type = FilterType::lowpass24;
    p.filter.resonance = 0.4;
    p.lfo1 = LFOParams(LFOShape::sine, 3);
    p.lfo2 = LFOParams(LFOShape::triangle, 0.4);
    p.mod[0] = {ModSource::lfo1, ModDestination::cutoff, 0.2};
    p.mod[1] = {ModSource::lfo2, ModDestination::pitch, 0.01};
    p.mod[2] = {ModSource::modEnv, ModDestination::cutoff, 0.5};
    p.mod[3] = {ModSource::velocity, ModDestination::pulseWidth, 0.2};
    p.voice.polyphony = 8;
    return p;
}

void run(const char* name, const SynthPatch& patch, double target) {
    Project project = song(patch);
    auto t0 = std::chrono::steady_clock::now();
    MixAnalysis a = OfflineRenderer::render(project, 0, 120, 0, 48000);
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    std::printf("%-8s 60 s of 8 tracks x 8 voices rendered in %.2f s: %.1fx real time (target >= %.0fx), peak %.1f dB\n",
                name, seconds, a.seconds / seconds, target, a.peakDb);
}

} // namespace

int main() {
    const SynthPatch defaults;
    run("default", defaults, 10);
    run("heavy", heavyPatch(), 3);
    return 0;
}
