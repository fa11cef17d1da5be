// Cost of a voice on one core, at 48 kHz in 32-frame blocks, in nanoseconds per sounding voice
// per sample: sixteen analog voices of the default and of a heavy patch against their targets,
// then sixteen voices of each engine's first factory preset. A voice whose note has ended (a
// drum hit, a decayed pluck) is struck again, so every engine is measured busy.
#include "catalog/Presets.h"
#include "synth/Voice.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

using namespace velmo;

namespace {

constexpr double kSampleRate = 48000.0;
constexpr int kBlock = 32;
constexpr int kVoices = 16;
constexpr double kSecondsPerRun = 2.0; // of audio, per repetition
constexpr int kRepetitions = 5;

SynthPatch heavyPatch() {
    SynthPatch p;
    p.analog.osc1 = AnalogOsc{OscWave::saw, 0.0, 0.0, 0.0, 0.5, 1.0};
    p.analog.osc2 = AnalogOsc{OscWave::saw, 0.0, 0.0, 7.0, 0.5, 0.8};
    p.analog.unison = 7.0;
    p.filter.type = FilterType::lowpass24;
    p.lfo1 = LFOParams(LFOShape::sine, 5.0);
    p.lfo2 = LFOParams(LFOShape::triangle, 0.3);
    p.mod = {ModSlot{ModSource::lfo1, ModDestination::pitch, 0.01}, ModSlot{ModSource::lfo2, ModDestination::cutoff, 0.2},
             ModSlot{ModSource::modEnv, ModDestination::cutoff, 0.3}, ModSlot{ModSource::velocity, ModDestination::pan, 0.2},
             ModSlot{}, ModSlot{}};
    return p;
}

// CPU time of this thread: on a shared machine wall time also counts other processes.
double threadCpuNanoseconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e9 + static_cast<double>(t.tv_nsec);
}

int pitchOf(const SynthPatch& patch, int i) {
    if (patch.engine == EngineKind::drums) {
        static const int kit[] = {36, 38, 42, 46, 39, 45, 49, 51};
        return kit[i % 8];
    }
    return 40 + i * 3;
}

struct Result {
    double nsPerVoiceSample;
    float checksum;
};

Result measure(const SynthPatch& patch) {
    const RenderContext ctx{kSampleRate, 120.0};
    std::vector<Voice> voices(kVoices);
    std::uint64_t order = 0;
    auto strike = [&](int i) {
        ++order;
        voices[static_cast<size_t>(i)].start(pitchOf(patch, i), 0.8, static_cast<std::int64_t>(order), order, patch, kSampleRate);
    };
    for (int i = 0; i < kVoices; ++i) strike(i);
    float mixL[kBlock], mixR[kBlock];
    const int blocks = static_cast<int>(kSecondsPerRun * kSampleRate / kBlock);
    float checksum = 0.0f;
    // Warm up into sustain, then time.
    for (int b = 0; b < 200; ++b)
        for (Voice& v : voices) v.render(kBlock, patch, ctx, mixL, mixR);

    double ns = 0.0;
    long voiceBlocks = 0;
    for (int b = 0; b < blocks; ++b) {
        for (int i = 0; i < kVoices; ++i)
            if (!voices[static_cast<size_t>(i)].active) strike(i); // outside the timed span below
        std::fill_n(mixL, kBlock, 0.0f);
        std::fill_n(mixR, kBlock, 0.0f);
        const double begin = threadCpuNanoseconds();
        for (Voice& v : voices) v.render(kBlock, patch, ctx, mixL, mixR);
        ns += threadCpuNanoseconds() - begin;
        voiceBlocks += kVoices;
        checksum += mixL[b % kBlock] + mixR[0];
    }
    return {ns / (static_cast<double>(voiceBlocks) * kBlock), checksum};
}

// Prints the best and median of the repetitions; a target, when given, is in voices per core.
void report(const std::string& name, const SynthPatch& patch, double target = 0.0) {
    std::vector<double> runs;
    float sink = 0.0f;
    for (int r = 0; r < kRepetitions; ++r) {
        Result result = measure(patch);
        runs.push_back(result.nsPerVoiceSample);
        sink += result.checksum;
    }
    std::sort(runs.begin(), runs.end());
    const double best = runs.front(), median = runs[runs.size() / 2];
    const double voicesPerCore = 1e9 / (median * kSampleRate);
    std::printf("%-28s best %6.2f ns/voice/sample, median %6.2f (%5.0f voices per core)", name.c_str(), best, median,
                voicesPerCore);
    if (target > 0.0) std::printf("; target %4.0f%s", target, voicesPerCore >= target ? "" : "  BELOW TARGET");
    std::printf("\n");
    if (sink == 12345.678f) std::printf("%f\n", sink); // keeps the rendering observable
}

} // namespace

// With an argument ("default", "heavy" or an engine's name), only that one runs (handy under a
// profiler).
int main(int argc, char** argv) {
    const std::string only = argc > 1 ? argv[1] : "";
    std::printf("Voices, %d at a time, %.0f Hz, %d-frame blocks, %.0f s of audio x %d runs\n", kVoices, kSampleRate,
                kBlock, kSecondsPerRun, kRepetitions);
    if (only.empty() || only == "default") report("analog default patch", SynthPatch{}, 800.0);
    if (only.empty() || only == "heavy") report("analog heavy patch", heavyPatch(), 250.0);
    for (EngineKind engine : allCases<EngineKind>()) {
        if (!only.empty() && only != toString(engine)) continue;
        const Preset* preset = Presets::firstFor(engine);
        if (!preset) continue;
        char name[64];
        std::snprintf(name, sizeof name, "%s (%s)", std::string(toString(engine)).c_str(), preset->name.c_str());
        report(name, preset->patch);
    }
    return 0;
}
