// What the agent's ears cost. (1) Loudness in the mix report of the demo song, played four times
// over (34 s at 44.1 kHz): the whole report against the same report without its loudness, which
// may cost at most 20% more. The loudness part is timed on its own, by feeding the meters the
// report uses (the mix and each track) signals of the same length and kind, and taken out of the
// whole report's time; a render with no measurement at all is shown beside it. (2) analyze_mix
// with `compare` against one analysis: at most twice. (3) describe_sound for a one-second note of
// several patches, through the tool: under 100 ms. Medians of several runs; CPU time of the
// rendering thread where it is one thread.
#include "Studio/HeadlessMainQueue.h"
#include "Studio/Studio.h"
#include "engine/CompiledProject.h"
#include "engine/EngineCore.h"
#include "engine/LoudnessMeter.h"
#include "engine/OfflineRenderer.h"
#include "server/MCPTools.h"

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using namespace velmo;

namespace {

constexpr int runs = 5;
constexpr double sampleRate = 44100;

double threadSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

double wallSeconds() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// The demo song with its four-bar clips copied to bars 5 to 16.
Project longDemo() {
    Project p = Studio::demoProject();
    p.loopEnabled = false;
    for (std::size_t t = 0; t < p.tracks.size(); ++t) {
        Track& track = p.tracks.mut(t);
        const Clip first = track.clips[0];
        for (int copy = 1; copy < 4; ++copy) {
            Clip c = first;
            c.id = first.id + "x" + std::to_string(copy);
            c.start = 16.0 * copy;
            track.clips.push_back(c);
        }
    }
    return p;
}

// The same frames through the same core, measuring nothing; with `out`, the output is kept there.
void renderOnly(const Project& project, double seconds, std::vector<float>* out = nullptr) {
    CompiledProject compiled(project);
    compiled.loopEnabled = false;
    EngineCore core(sampleRate);
    core.handle(EngineCommand::load(std::move(compiled)));
    core.handle(EngineCommand::play());
    std::vector<float> left(OfflineRenderer::chunkFrames), right(OfflineRenderer::chunkFrames);
    const auto frames = static_cast<long>(seconds * sampleRate);
    for (long done = 0; done < frames; done += OfflineRenderer::chunkFrames) {
        const auto n = static_cast<int>(std::min<long>(OfflineRenderer::chunkFrames, frames - done));
        core.render(n, left.data(), right.data(), 0);
        if (out) {
            out->insert(out->end(), left.begin(), left.begin() + n);
            out->insert(out->end(), right.begin(), right.begin() + n);
        }
    }
}

// Stereo signals as the report's loudness meters see them: the mix, and each track played alone.
// Each is kept chunk by chunk, left then right.
std::vector<std::vector<float>> meteredSignals(const Project& song, double seconds) {
    std::vector<std::vector<float>> signals(1);
    renderOnly(song, seconds, &signals[0]);
    for (const Track& track : song.tracks) {
        Project alone = song;
        alone.tracks = CowVector<Track>{track};
        renderOnly(alone, seconds, &signals.emplace_back());
    }
    return signals;
}

// CPU seconds of the loudness meters alone over `signals`, fed in engine blocks as the report feeds them.
double loudnessSeconds(const std::vector<std::vector<float>>& signals) {
    const double t0 = threadSeconds();
    for (const auto& signal : signals) {
        LoudnessMeter meter(sampleRate);
        for (std::size_t chunk = 0; chunk < signal.size(); chunk += 2 * OfflineRenderer::chunkFrames) {
            const std::size_t n = std::min<std::size_t>(OfflineRenderer::chunkFrames, (signal.size() - chunk) / 2);
            const float* left = signal.data() + chunk;
            for (std::size_t i = 0; i < n; i += kBlockFrames) {
                const int m = static_cast<int>(std::min<std::size_t>(kBlockFrames, n - i));
                meter.add(left + i, left + n + i, m);
            }
        }
        if (meter.result().integratedLufs > 0) std::printf("  (a signal reads above 0 LUFS)\n");
    }
    return threadSeconds() - t0;
}

void reportCost() {
    const Project song = longDemo();
    const double end = song.renderEnd();
    double seconds = 0;
    std::vector<double> plain, measured, loudness;
    std::vector<std::vector<float>> signals;
    for (int i = 0; i < runs; ++i) {
        double t0 = threadSeconds();
        seconds = OfflineRenderer::render(song, 0, end, 0.5, sampleRate).seconds;
        measured.push_back(threadSeconds() - t0);
        t0 = threadSeconds();
        renderOnly(song, seconds);
        plain.push_back(threadSeconds() - t0);
        if (signals.empty()) signals = meteredSignals(song, seconds);
        loudness.push_back(loudnessSeconds(signals));
    }
    const double without = median(measured) - median(loudness);
    std::printf("mix report: %.1f s of song; CPU: render alone %.3f s, report without loudness %.3f s, whole report "
                "%.3f s; loudness %.3f s: +%.0f%% (target <= +20%%)\n",
                seconds, median(plain), without, median(measured), median(loudness), median(loudness) / without * 100);
}

struct Tools {
    HeadlessMainQueue queue;
    Studio studio;
    MCPTools tools{studio, queue};
    explicit Tools(Project p) : studio(std::move(p)) {}

    // Wall seconds from the call to its reply, serving the main queue meanwhile.
    double time(const std::string& name, nlohmann::json arguments) {
        std::optional<nlohmann::json> reply;
        const double t0 = wallSeconds();
        tools.call(name, std::move(arguments), [&](nlohmann::json r) { reply = std::move(r); });
        while (!reply)
            if (queue.poll() == 0) std::this_thread::sleep_for(std::chrono::microseconds(200));
        const double elapsed = wallSeconds() - t0;
        if ((*reply)["isError"] == true) std::printf("  %s failed: %s\n", name.c_str(), (*reply)["content"][0]["text"].dump().c_str());
        return elapsed;
    }
};

void reportCompare() {
    Tools t(longDemo());
    t.time("update_track", {{"track", "Bass"}, {"volume_db", -20}});
    std::vector<double> one, both;
    for (int i = 0; i < runs; ++i) {
        one.push_back(t.time("analyze_mix", nlohmann::json::object()));
        both.push_back(t.time("analyze_mix", {{"compare", "last_edit"}}));
    }
    std::printf("compare: one analysis %.3f s, with compare %.3f s: %.2fx (target <= 2x; the two renders run at "
                "once, on %u cores)\n",
                median(one), median(both), median(both) / median(one), std::thread::hardware_concurrency());
}

void reportDescribe() {
    Tools t(Project("Sounds", 120));
    for (const char* preset : {"Init Saw", "Warm Pad", "FM E-Piano", "Marimba", "808 Kit"})
        t.time("add_track", {{"preset", preset}});
    t.time("add_track", {{"engine", "pluck"}, {"name", "Pluck"}});
    for (const auto& track : t.studio.project().tracks) {
        std::vector<double> times;
        for (int i = 0; i < 2 * runs; ++i) times.push_back(t.time("describe_sound", {{"track", track.id}, {"pitch", 57}, {"seconds", 1}}));
        std::printf("describe_sound %-10s one-second note: %5.1f ms (target < 100 ms)\n", track.name.c_str(), median(times) * 1000);
    }
}

} // namespace

int main() {
    reportCost();
    reportCompare();
    reportDescribe();
    return 0;
}
