// Cost of a voice of each engine on one core: sixteen voices of the first factory preset of each
// engine, at 48 kHz in 32-frame blocks, in nanoseconds per sounding voice per sample. A voice whose
// note has ended (a drum hit, a decayed pluck) is struck again, so every engine is measured busy.
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
    for (int b = 0; b < 100; ++b)
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

} // namespace

// With an engine's name as argument, only that engine runs (handy under a profiler).
int main(int argc, char** argv) {
    const std::string only = argc > 1 ? argv[1] : "";
    std::printf("One voice per engine (its first factory preset), %d at a time, %.0f Hz, %d-frame blocks, "
                "%.0f s of audio x %d runs\n", kVoices, kSampleRate, kBlock, kSecondsPerRun, kRepetitions);
    for (EngineKind engine : allCases<EngineKind>()) {
        if (!only.empty() && only != toString(engine)) continue;
        const Preset* preset = Presets::firstFor(engine);
        if (!preset) continue;
        std::vector<double> runs;
        float sink = 0.0f;
        for (int r = 0; r < kRepetitions; ++r) {
            Result result = measure(preset->patch);
            runs.push_back(result.nsPerVoiceSample);
            sink += result.checksum;
        }
        std::sort(runs.begin(), runs.end());
        const double best = runs.front(), median = runs[runs.size() / 2];
        std::printf("%-10s %-16s best %6.2f ns/voice/sample, median %6.2f (%5.0f voices per core)\n",
                    std::string(toString(engine)).c_str(), preset->name.c_str(), best, median, 1e9 / (median * kSampleRate));
        if (sink == 12345.678f) std::printf("%f\n", sink); // keeps the rendering observable
    }
    return 0;
}
