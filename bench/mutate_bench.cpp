// How much an undoable edit costs on a large song: 16 tracks x 8 clips x 500 notes, 300 edits
// that each change one note's velocity. Prints the median time of one `mutate` and the memory the
// 300 undo steps hold on top of the project itself. Targets: under 0.2 ms and under 10 MB.
#include "Studio/Studio.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

namespace {
std::atomic<long long> liveBytes{0};
}

void* operator new(std::size_t size) {
    void* p = std::malloc(size ? size : 1);
    if (!p) throw std::bad_alloc();
    liveBytes += static_cast<long long>(malloc_usable_size(p));
    return p;
}
void operator delete(void* p) noexcept {
    if (!p) return;
    liveBytes -= static_cast<long long>(malloc_usable_size(p));
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept { operator delete(p); }

using namespace velmo;

int main() {
    Project song("Large", 120);
    for (int t = 0; t < 16; ++t) {
        Track track(song.makeId("t"), "Track", t % 8, SynthPatch());
        for (int c = 0; c < 8; ++c) {
            std::vector<Note> notes;
            for (int n = 0; n < 500; ++n) notes.push_back({36 + n % 48, n * 0.0625, 0.25, 0.8});
            track.clips.push_back(Clip{song.makeId("c"), "Clip", c * 32.0, 32, CowVector<Note>(std::move(notes))});
        }
        song.tracks.push_back(track);
    }

    Studio studio(std::move(song));
    const long long before = liveBytes.load();
    std::vector<double> micros;
    for (int i = 0; i < 300; ++i) {
        const std::size_t t = i % 16, c = (i / 16) % 8, n = (i * 37) % 500;
        auto start = std::chrono::steady_clock::now();
        studio.mutate([&](Project& p) { p.tracks.mut(t).clips.mut(c).notes.mut(n).velocity = 0.5 + (i % 50) * 0.01; });
        micros.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    const long long held = liveBytes.load() - before;

    std::sort(micros.begin(), micros.end());
    std::printf("mutate on 64,000 notes: median %.1f us, p99 %.1f us (target < 200 us)\n", micros[150], micros[296]);
    std::printf("undo stack of 300 steps holds %.2f MB extra (target < 10 MB)\n", held / 1e6);
    return 0;
}
