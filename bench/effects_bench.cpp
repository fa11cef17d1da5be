// Cost of the insert effects. First each kind at its defaults on noise, then the two tail
// effects while their tails decay into silence: a reverb and a delay are fed
// a loud noise burst and then silence for 30 s at 48 kHz, and the time per sample of each second
// is compared with that of the burst. Run bare, with the flush-to-zero guard that render sets,
// and through EngineCore::render itself (a master reverb and delay on a short chord). Without the
// guard the tail's denormals multiply the cost; with it the tail costs what the burst did. Each
// figure is the least of several runs, since the machine is shared and a run can be preempted.
#include "catalog/EffectCatalog.h"
#include "effects/MakeEffect.h"
#include "engine/EngineCore.h"
#include "dsp/ScopedFlushToZero.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

namespace {

using namespace velmo;
using Clock = std::chrono::steady_clock;

constexpr double kRate = 48000;
constexpr int kBlock = 32;
constexpr int kBurstSeconds = 1;
constexpr int kTailSeconds = 30;
constexpr int kRuns = 7;

struct Profile {
    double burst = 0;               // ns per sample during the burst
    std::vector<double> tail;       // ns per sample of each second of the tail
    double worstTail() const { return *std::max_element(tail.begin(), tail.end()); }
};

// The least time of each window over several profiles.
template <class Make>
Profile leastOf(Make makeProfile) {
    Profile best = makeProfile();
    for (int run = 1; run < kRuns; ++run) {
        const Profile p = makeProfile();
        best.burst = std::min(best.burst, p.burst);
        for (std::size_t s = 0; s < best.tail.size(); ++s) best.tail[s] = std::min(best.tail[s], p.tail[s]);
    }
    return best;
}

// Renders one second at a time with `renderSecond(loud)` and times each.
template <class Render>
Profile profile(Render renderSecond) {
    Profile p;
    auto timed = [&](bool loud) {
        const auto start = Clock::now();
        renderSecond(loud);
        return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / kRate;
    };
    for (int s = 0; s < kBurstSeconds; ++s) p.burst += timed(true) / kBurstSeconds;
    for (int s = 0; s < kTailSeconds; ++s) p.tail.push_back(timed(false));
    return p;
}

Profile bareEffect(EffectKind kind, EffectParams params, bool guard) {
    std::optional<ScopedFlushToZero> ftz;
    if (guard) ftz.emplace();
    std::unique_ptr<EffectProcessor> fx = makeEffect(kind, kRate);
    fx->update(EffectSlot{"fx1", kind, true, std::move(params)}, RenderContext{kRate, 120});
    std::vector<float> left(kBlock), right(kBlock);
    std::uint32_t noise = 1;
    return profile([&](bool loud) {
        for (int block = 0; block < static_cast<int>(kRate) / kBlock; ++block) {
            for (int i = 0; i < kBlock; ++i) {
                noise = noise * 1664525u + 1013904223u;
                left[i] = right[i] = loud ? float(noise >> 8) / float(1u << 23) - 1.0f : 0.0f;
            }
            fx->process(left.data(), right.data(), kBlock);
        }
    });
}

// A short loud chord under a master delay and reverb.
Project burstSong() {
    Project p("Bench", 120);
    p.loopEnabled = false;
    SynthPatch patch;
    Track t("t1", "Lead", 0, patch);
    t.volumeDb = 0;
    Clip clip;
    clip.id = "c1";
    clip.length = 2;
    for (int pitch : {48, 55, 60, 64}) clip.notes.push_back({pitch, 0, 1.5, 1.0});
    t.clips.push_back(clip);
    p.tracks.push_back(t);
    p.masterEffects.push_back({"fx1", EffectKind::delay, true, {{"time", 0.0625}, {"feedback", 0.4}, {"mix", 0.5}}});
    p.masterEffects.push_back({"fx2", EffectKind::reverb, true, {{"size", 0.2}, {"mix", 0.5}}});
    return p;
}

Profile engineMaster() {
    const CompiledProject song(burstSong());
    EngineCore core(kRate);
    core.handle(EngineCommand::load(song));
    core.handle(EngineCommand::play());
    std::vector<float> left(256), right(256);
    // The chord sounds through the first second; the rest is the effects' tail (the voices'
    // releases end within it too, so the tail windows hold little besides the effects).
    return profile([&](bool) {
        for (int callback = 0; callback < static_cast<int>(kRate) / 256; ++callback)
            core.render(256, left.data(), right.data(), 0);
    });
}

// ns per stereo frame of one kind at its catalog defaults on a steady noise, least of the runs.
double steadyCost(EffectKind kind) {
    ScopedFlushToZero ftz;
    std::unique_ptr<EffectProcessor> fx = makeEffect(kind, kRate);
    fx->update(EffectSlot{"fx1", kind, true, {}}, RenderContext{kRate, 120});
    std::vector<float> left(kBlock), right(kBlock);
    std::uint32_t noise = 1;
    double best = 1e9;
    for (int run = 0; run < kRuns; ++run) {
        const auto start = Clock::now();
        for (int block = 0; block < static_cast<int>(kRate) / kBlock; ++block) {
            for (int i = 0; i < kBlock; ++i) {
                noise = noise * 1664525u + 1013904223u;
                left[i] = float(noise >> 8) / float(1u << 23) - 1.0f;
                right[i] = -left[i];
            }
            fx->process(left.data(), right.data(), kBlock);
        }
        best = std::min(best, std::chrono::duration<double, std::nano>(Clock::now() - start).count() / kRate);
    }
    return best;
}

void report(const char* name, const Profile& p) {
    std::printf("%-34s burst %6.1f ns/sample   tail:", name, p.burst);
    for (std::size_t s = 0; s < p.tail.size(); s += 5) std::printf(" %3zus %6.1f", s, p.tail[s]);
    std::printf("   worst tail %6.1f (%.1fx the burst)\n", p.worstTail(), p.worstTail() / p.burst);
}

} // namespace

int main() {
    // A small room and a short, moderately fed delay reach the denormal range within seconds.
    const EffectParams reverb{{"size", 0.2}, {"damping", 0.5}, {"mix", 0.5}};
    const EffectParams delay{{"time", 0.0625}, {"feedback", 0.4}, {"tone", 0.6}, {"mix", 0.5}};
    std::printf("Steady cost at 48 kHz, catalog defaults (ns per stereo frame):");
    for (EffectKind kind : allCases<EffectKind>()) std::printf(" %s %.1f", toString(kind).data(), steadyCost(kind));
    std::printf("\n");
    std::printf("Tail cost at 48 kHz, %d s burst then %d s of silence (ns per stereo frame)\n", kBurstSeconds,
                kTailSeconds);
    report("reverb, no guard", leastOf([&] { return bareEffect(EffectKind::reverb, reverb, false); }));
    report("reverb, flush-to-zero", leastOf([&] { return bareEffect(EffectKind::reverb, reverb, true); }));
    report("delay, no guard", leastOf([&] { return bareEffect(EffectKind::delay, delay, false); }));
    report("delay, flush-to-zero", leastOf([&] { return bareEffect(EffectKind::delay, delay, true); }));
    report("EngineCore::render, master fx", leastOf(engineMaster));
    return 0;
}
