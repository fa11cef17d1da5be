// The live audio callback on the demo song, at 64, 128 and 256-frame buffers and 48 kHz: median
// and 99th-percentile callback time as a share of the buffer period, first while the song only
// plays, then while an agent changes a sound 100 times a second (each edit compiled on the
// control side between callbacks, as the main thread does, and applied by the next callback).
// Target: p99 under 30% at 128 frames. Times are the thread's CPU time, which a real-time
// callback thread gets without interruption; the wall-clock p99 beside it shows what a busy,
// unprivileged machine adds by preempting the thread.
#include "Studio/Studio.h"
#include "engine/AudioRenderer.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cstdio>
#include <vector>

namespace {

using namespace velmo;

constexpr double rate = 48000;
constexpr double seconds = 20; // of music per measurement

struct Shares {
    double median = 0;
    double p99 = 0;
    double wallP99 = 0;
};

double threadSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

double percentile(std::vector<double>& values, double p) {
    std::sort(values.begin(), values.end());
    return values[std::size_t(double(values.size() - 1) * p)];
}

Shares measure(int frames, bool edits) {
    Studio studio(Studio::demoProject());
    AudioRenderer renderer(std::shared_ptr<EngineCore>(&studio.core(), [](EngineCore*) {}));
    studio.play(0.0);
    std::vector<float> left(static_cast<std::size_t>(frames)), right(static_cast<std::size_t>(frames));
    float* channels[2] = {left.data(), right.data()};
    const int callbacks = int(seconds * rate / frames);
    int editsMade = 0;
    std::vector<double> cpu, wall;
    cpu.reserve(std::size_t(callbacks));
    wall.reserve(std::size_t(callbacks));
    std::uint64_t hostTime = 1'000'000'000;
    for (int i = 0; i < callbacks; ++i) {
        // One edit per 10 ms of music, before the callback that follows that moment.
        if (edits && editsMade * rate / 100 <= double(i) * frames) {
            studio.setSynth(std::size_t(editsMade) % studio.project().tracks.size(), std::nullopt, std::nullopt,
                            {{"filter.cutoff", 400 + editsMade % 100 * 40}});
            studio.core().releaseRetired();
            ++editsMade;
        }
        const double c0 = threadSeconds();
        const auto t0 = std::chrono::steady_clock::now();
        renderer.render(frames, channels, 2, hostTime);
        wall.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
        cpu.push_back(threadSeconds() - c0);
        hostTime += std::uint64_t(frames / rate * 1e9);
    }
    const double period = frames / rate;
    return {percentile(cpu, 0.5) / period, percentile(cpu, 0.99) / period, percentile(wall, 0.99) / period};
}

} // namespace

int main() {
    std::printf("demo song, 48 kHz, %g s per row; callback time as a share of the buffer period\n", seconds);
    std::printf("%-7s %-8s %8s %8s %10s\n", "frames", "edits/s", "median", "p99", "wall p99");
    for (int frames : {64, 128, 256}) {
        for (bool edits : {false, true}) {
            const Shares s = measure(frames, edits);
            std::printf("%-7d %-8s %7.1f%% %7.1f%% %9.1f%%%s\n", frames, edits ? "100" : "0", 100 * s.median, 100 * s.p99,
                        100 * s.wallP99, frames == 128 ? "  (target: p99 < 30%)" : "");
        }
    }
    return 0;
}
