// How long one compile of a large song takes on the control side, which runs it on every edit:
// 16 tracks x 8 clips x 500 notes (64,000 notes). Prints the median of 50 compiles.
// Target: under 5 ms.
#include "engine/CompiledProject.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace {

// Ids built by appending, which keeps g++ 12's -Wrestrict false alarm on operator+ quiet.
std::string numbered(const char* prefix, int n) {
    std::string id = prefix;
    id += std::to_string(n);
    return id;
}

} // namespace

int main() {
    using namespace velmo;
    Project project("Large", 120);
    for (int t = 0; t < 16; ++t) {
        Track track(numbered("t", t + 1), "Track", t, SynthPatch{});
        track.effects.push_back({numbered("fx", t + 100), EffectKind::delay, true, {}});
        for (int c = 0; c < 8; ++c) {
            Clip clip;
            clip.id = numbered("c", t * 8 + c + 1);
            clip.start = c * 64.0;
            clip.length = 64;
            // Notes in stored order (start, then pitch), some of them chords on one beat.
            for (int n = 0; n < 500; ++n) clip.notes.push_back({36 + (n * 5) % 48, (n / 2) * 0.25, 0.5, 0.8});
            track.clips.push_back(clip);
        }
        project.tracks.push_back(track);
    }

    std::vector<double> ms;
    std::size_t events = 0;
    for (int i = 0; i < 50; ++i) {
        auto t0 = std::chrono::steady_clock::now();
        CompiledProject compiled(project);
        auto t1 = std::chrono::steady_clock::now();
        events = 0;
        for (const auto& t : compiled.tracks) events += t.events.size();
        ms.push_back(std::chrono::duration<double, std::milli>(t1 - t0).count());
    }
    std::sort(ms.begin(), ms.end());
    std::printf("compile of %zu notes in 16 tracks: median %.3f ms, min %.3f ms, max %.3f ms (target < 5 ms)\n",
                events, ms[ms.size() / 2], ms.front(), ms.back());
    return 0;
}
