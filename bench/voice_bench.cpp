// Cost of analog voices on one core: renders sustained voices at 48 kHz in 32-frame blocks and
// prints nanoseconds per voice per sample and how many voices one core could keep in real time.
#include "synth/Voice.h"

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <string>
#include <vector>

using namespace velmo;

namespace {

constexpr double kSampleRate = 48000.0;
constexpr int kBlock = 32;
constexpr int kVoices = 16;
constexpr double kSecondsPerRun = 4.0; // of audio, per repetition
constexpr int kRepetitions = 5;

SynthPatch defaultPatch() { return SynthPatch{}; } // one saw through lowpass24

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

// CPU time of this thread, not wall time: on a shared machine the wall clock also counts the
// time other processes held the core, which says nothing about the voices.
double threadCpuNanoseconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e9 + static_cast<double>(t.tv_nsec);
}

struct Result {
    double nsPerVoiceSample;
    float checksum;
};

Result measure(const SynthPatch& patch) {
    const RenderContext ctx{kSampleRate, 120.0};
    std::vector<Voice> voices(kVoices);
    for (int i = 0; i < kVoices; ++i)
        voices[static_cast<size_t>(i)].start(40 + i * 3, 0.8, i + 1, static_cast<uint64_t>(i + 1), patch, kSampleRate);
    float mixL[kBlock], mixR[kBlock];
    const int blocks = static_cast<int>(kSecondsPerRun * kSampleRate / kBlock);
    float checksum = 0.0f;

    // Warm up into sustain, then time.
    for (int b = 0; b < 200; ++b)
        for (Voice& v : voices) v.render(kBlock, patch, ctx, mixL, mixR);
    const double begin = threadCpuNanoseconds();
    for (int b = 0; b < blocks; ++b) {
        std::fill_n(mixL, kBlock, 0.0f);
        std::fill_n(mixR, kBlock, 0.0f);
        for (Voice& v : voices) v.render(kBlock, patch, ctx, mixL, mixR);
        checksum += mixL[b % kBlock] + mixR[0];
    }
    const double ns = threadCpuNanoseconds() - begin;
    return {ns / (static_cast<double>(blocks) * kBlock * kVoices), checksum};
}

void report(const char* name, const SynthPatch& patch, double target) {
    std::vector<double> runs;
    float sink = 0.0f;
    for (int r = 0; r < kRepetitions; ++r) {
        Result result = measure(patch);
        runs.push_back(result.nsPerVoiceSample);
        sink += result.checksum;
    }
    std::sort(runs.begin(), runs.end());
    double best = runs.front(), median = runs[runs.size() / 2];
    auto voicesPerCore = [](double ns) { return 1e9 / (ns * kSampleRate); };
    std::printf("%-8s best %6.2f ns/voice/sample (%5.0f voices per core), median %6.2f ns (%5.0f voices); target %4.0f voices%s\n",
                name, best, voicesPerCore(best), median, voicesPerCore(median), target,
                voicesPerCore(median) >= target ? "" : "  BELOW TARGET");
    if (sink == 12345.678f) std::printf("%f\n", sink); // keeps the rendering observable
}

} // namespace

// With an argument "default" or "heavy", only that patch runs (handy under a profiler).
int main(int argc, char** argv) {
    const std::string only = argc > 1 ? argv[1] : "";
    std::printf("Analog voices, %d at a time, %.0f Hz, %d-frame blocks, %.0f s of audio x %d runs\n", kVoices,
                kSampleRate, kBlock, kSecondsPerRun, kRepetitions);
    if (only.empty() || only == "default") report("default", defaultPatch(), 800.0);
    if (only.empty() || only == "heavy") report("heavy", heavyPatch(), 250.0);
    return 0;
}
