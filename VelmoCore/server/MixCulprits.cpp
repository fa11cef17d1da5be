#include "server/MixCulprits.h"

#include "base/NumberText.h"
#include "catalog/EffectCatalog.h"
#include "engine/Limiter.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace velmo {

using nlohmann::json;

namespace {

constexpr std::size_t mostNamed = 3;
constexpr double minShare = 0.1;     // a smaller part is no cause worth naming
constexpr double safetyDb = 0.5;     // renders differ a little (noise, phases): cut a bit more
constexpr double volumeFloorDb = -60; // update_track's range
constexpr double eqRange = 18;        // the eq's gains run -18 to +18 dB
constexpr double smallestEqCut = 3;   // less is hard to hear
constexpr double largestEqCut = 12;
constexpr double darkestCutoff = 2000; // a filter brought lower stops sounding like the patch
constexpr double mudHz = 315;          // the middle of 200-500 Hz, on a log scale
constexpr double mudLowestHz = 200, mudHighestHz = 500;
// A bell is at its full depth only at its centre; across 200-500 Hz it takes about two thirds of it.
constexpr double bellDepthShare = 2.0 / 3;
constexpr double mostMudShare = 0.99; // the cut for a band that is all of the mix is the eq's deepest anyway

double round4(double x) { return std::round(x * 10000) / 10000; }
// Up to the next half decibel, so a suggested change reads as a value a person would pick.
double upToHalf(double db) { return std::ceil(db * 2) / 2; }
std::string number(double x) {
    std::string text = shortestText(x);
    return text.ends_with(".0") ? text.substr(0, text.size() - 2) : text;
}

struct Step {
    std::string text; // after the track's name
    json call;
};

// The tracks with the largest `share`, at least minShare of it, the largest first, at most three.
std::vector<std::size_t> ranked(const MixAnalysis& a, const std::function<double(const MixAnalysis::TrackStats&)>& share) {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < a.tracks.size(); ++i)
        if (share(a.tracks[i]) >= minShare) order.push_back(i);
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t x, std::size_t y) { return share(a.tracks[x]) > share(a.tracks[y]); });
    if (order.size() > mostNamed) order.resize(mostNamed);
    return order;
}

Step quieter(const Track& track, const MixAnalysis& a, const MixAnalysis::TrackStats& stats) {
    // Alone, the track needs its own cut; when it cannot clear the peaks alone, it takes the mix's
    // whole excess over the ceiling and the others must give too.
    const double ceilingDb = gainToDb(Limiter::ceiling);
    const double needed = stats.cutForPeaksDb.value_or(a.peakBeforeLimiterDb - ceilingDb);
    const double cut = upToHalf(std::max(needed, 0.0) + safetyDb);
    const double volume = std::max(volumeFloorDb, track.volumeDb - cut);
    std::string text = "`update_track` volume_db " + number(volume) + " (" + number(track.volumeDb - volume) + " dB lower";
    text += stats.cutForPeaksDb ? ")" : "; not enough alone: lower the other tracks or master_volume_db too)";
    return {text, {{"tool", "update_track"}, {"arguments", {{"track", track.id}, {"volume_db", volume}}}}};
}

// Sets `params` on the track's eq `slot`, or on a new eq when there is none.
Step eqStep(const Track& track, const EffectSlot* slot, std::initializer_list<std::pair<const char*, double>> params) {
    std::string settings;
    json values = json::object();
    for (const auto& [name, value] : params) {
        settings += std::string(" ") + name + " " + number(value);
        values[name] = value;
    }
    if (slot)
        return {"`update_effect` " + slot->id + settings,
                {{"tool", "update_effect"}, {"arguments", {{"target", track.id}, {"effect", slot->id}, {"params", values}}}}};
    return {"add an `eq` (`add_effect`) with" + settings,
            {{"tool", "add_effect"}, {"arguments", {{"target", track.id}, {"kind", "eq"}, {"params", values}}}}};
}

// A cut of `amount` dB in one shelf of the track's first working eq, or a new eq.
Step eqCut(const Track& track, const char* shelf, double amount) {
    for (const EffectSlot& slot : track.effects)
        if (slot.kind == EffectKind::eq && slot.enabled)
            return eqStep(track, &slot, {{shelf, std::max(-eqRange, EffectCatalog::value(slot, shelf) - amount)}});
    return eqStep(track, nullptr, {{shelf, -amount}});
}

double eqAmount(double excessDb) { return std::clamp(std::ceil(excessDb + 1), smallestEqCut, largestEqCut); }

Step lessLow(const Track& track, const MixAnalysis& a) { return eqCut(track, "low", eqAmount(a.lowRmsDb - a.midRmsDb - 6)); }

// The mid bell of the track's first working eq whose mid is free or already in the mud band, or a
// new eq, cut at 315 Hz.
Step lessLowMid(const Track& track, const MixAnalysis& a) {
    // The band is no longer muddy once it holds no more energy than the rest of the mix: a cut of
    // its share over the rest's, in dB.
    const double share = std::min(a.lowMidEnergyShare(), mostMudShare);
    const double amount = eqAmount(10 * std::log10(share / (1 - share)) / bellDepthShare);
    for (const EffectSlot& slot : track.effects) {
        if (slot.kind != EffectKind::eq || !slot.enabled) continue;
        const double mid = EffectCatalog::value(slot, "mid");
        const double freq = EffectCatalog::value(slot, "midFreq");
        const bool inBand = freq >= mudLowestHz && freq <= mudHighestHz;
        if (mid != 0 && !inBand) continue; // that bell is busy elsewhere
        return eqStep(track, &slot, {{"mid", std::max(-eqRange, mid - amount)}, {"midFreq", inBand ? freq : mudHz}});
    }
    return eqStep(track, nullptr, {{"mid", -amount}, {"midFreq", mudHz}});
}

Step lessHigh(const Track& track, const MixAnalysis& a) {
    // A bright synth is best darkened at its own filter; drums and filterless patches get an eq.
    const FilterParams& f = track.patch.filter;
    const bool lowpass = f.type == FilterType::lowpass12 || f.type == FilterType::lowpass24 || f.type == FilterType::ladder;
    if (track.patch.engine != EngineKind::drums && lowpass && f.cutoff > 2 * darkestCutoff) {
        const double cutoff = std::round(f.cutoff / 2);
        return {"`set_synth` filter.cutoff " + number(cutoff),
                {{"tool", "set_synth"}, {"arguments", {{"track", track.id}, {"params", {{"filter.cutoff", cutoff}}}}}}};
    }
    return eqCut(track, "high", eqAmount(a.highRmsDb - a.midRmsDb));
}

json problem(const char* name, const MixAnalysis& a, const Project& project,
             const std::function<double(const MixAnalysis::TrackStats&)>& share,
             const std::function<Step(const Track&, const MixAnalysis::TrackStats&)>& remedy) {
    json tracks = json::array();
    for (std::size_t i : ranked(a, share)) {
        const MixAnalysis::TrackStats& stats = a.tracks[i];
        const auto index = project.trackIndex(stats.id);
        if (!index) continue;
        const Track& track = project.tracks[*index];
        Step step = remedy(track, stats);
        tracks.push_back({{"id", track.id},
                          {"name", track.name},
                          {"share", round4(share(stats))},
                          {"next_step", track.name + ": " + step.text},
                          {"call", std::move(step.call)}});
    }
    return {{"problem", name}, {"tracks", std::move(tracks)}};
}

} // namespace

json culpritsJSON(const MixAnalysis& a, const Project& project) {
    json list = json::array();
    if (a.hitsLimiter())
        list.push_back(problem("limiter", a, project, [](const auto& t) { return t.peakShare; },
                               [&](const Track& track, const auto& stats) { return quieter(track, a, stats); }));
    if (a.lowEndHeavy())
        list.push_back(problem("low_end", a, project, [](const auto& t) { return t.lowShare; },
                               [&](const Track& track, const auto&) { return lessLow(track, a); }));
    if (a.muddy())
        list.push_back(problem("muddy", a, project, [](const auto& t) { return t.lowMidShare; },
                               [&](const Track& track, const auto&) { return lessLowMid(track, a); }));
    if (a.harsh())
        list.push_back(problem("harsh", a, project, [](const auto& t) { return t.highShare; },
                               [&](const Track& track, const auto&) { return lessHigh(track, a); }));
    return list;
}

} // namespace velmo
