// What an undoable edit costs on a long clip: one track holding one clip of 64,000 notes, and 300
// edits that each change one note's velocity, as a tool or the piano roll makes them (through
// Studio::editNotes, which also keeps the notes in order). Prints the median and 99th-percentile
// time of one edit, compilation for the engine included, and the memory that the 300 undo steps
// hold on top of the song. Targets: under 0.2 ms and under 10 MB. Times are given twice: as the
// clock on the wall sees them, and as CPU time of this thread, which leaves out the waits for a
// core that a loaded machine adds (they make up its p99 there). Between edits one block is
// rendered, as the audio thread would, so that the engine takes up each compiled song and the
// one it replaces is freed: otherwise all 300 would wait in its queue and count as history.
#include "Studio/Studio.h"

#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

namespace {
std::atomic<long long> liveBytes{0};

double threadMicros() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e6 + now.tv_nsec / 1e3;
}

void report(const char* what, std::vector<double> micros) {
    std::sort(micros.begin(), micros.end());
    std::printf("one-note edit of a 64,000-note clip, %s: median %.1f us, p99 %.1f us (target < 200 us)\n", what,
                micros[micros.size() / 2], micros[micros.size() * 99 / 100]);
}
} // namespace

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
    constexpr int kNotes = 64000;
    constexpr int kEdits = 300;
    Project song("Long", 120);
    Track track(song.makeId("t"), "Track", 0, SynthPatch());
    std::vector<Note> notes;
    for (int n = 0; n < kNotes; ++n) notes.push_back({36 + n % 48, n * 0.0625, 0.25, 0.8});
    const std::string clipId = song.makeId("c");
    track.clips.push_back(Clip{clipId, "Clip", 0, kNotes * 0.0625, NoteList(std::move(notes))});
    song.tracks.push_back(track);

    Studio studio(std::move(song));
    std::vector<float> left(kBlockFrames), right(kBlockFrames);
    auto renderBlock = [&] {
        studio.core().render(kBlockFrames, left.data(), right.data(), 0);
        studio.poll();
    };
    renderBlock();
    const long long before = liveBytes.load();
    std::vector<double> wall, cpu;
    for (int i = 0; i < kEdits; ++i) {
        const std::size_t n = static_cast<std::size_t>(i) * 211 % kNotes;
        const double cpuStart = threadMicros();
        const auto start = std::chrono::steady_clock::now();
        studio.editNotes(clipId, std::nullopt, [&](NoteList& list, double) { list.mut(n).velocity = 0.5 + (i % 50) * 0.01; });
        wall.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
        cpu.push_back(threadMicros() - cpuStart);
        renderBlock();
    }
    const long long held = liveBytes.load() - before;

    report("wall clock", wall);
    report("CPU time", cpu);
    std::printf("%d undo steps hold %.2f MB on top of the song (target < 10 MB)\n", kEdits, held / 1e6);
    return 0;
}
