#include "server/MixComparison.h"

#include "server/MixAnalysisJSON.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <string>

namespace velmo {

using nlohmann::json;

namespace {

// A level's change; from or to silence it is no number of decibels.
json change(double before, double now) {
    const bool wasSilent = before <= kSilenceDb, isSilent = now <= kSilenceDb;
    if (wasSilent && isSilent) return 0.0;
    if (wasSilent || isSilent) return nullptr;
    return std::round((now - before) * 10) / 10;
}

json loudnessChange(const Loudness& before, const Loudness& now) {
    return {{"integrated_lufs", change(before.integratedLufs, now.integratedLufs)},
            {"range_lu", std::round((now.rangeLu - before.rangeLu) * 10) / 10},
            {"max_short_term_lufs", change(before.maxShortTermLufs, now.maxShortTermLufs)},
            {"max_momentary_lufs", change(before.maxMomentaryLufs, now.maxMomentaryLufs)},
            {"true_peak_dbtp", change(before.truePeakDbtp, now.truePeakDbtp)}};
}

std::string trackName(const Project& project, const std::string& id) {
    const auto index = project.trackIndex(id);
    return index ? project.tracks[*index].name : std::string();
}

const MixAnalysis::TrackStats* find(const MixAnalysis& a, const std::string& id) {
    auto it = std::find_if(a.tracks.begin(), a.tracks.end(), [&](const auto& t) { return t.id == id; });
    return it == a.tracks.end() ? nullptr : &*it;
}

json trackChanges(const MixAnalysis& before, const Project& beforeProject, const MixAnalysis& now,
                  const Project& nowProject) {
    json list = json::array();
    for (const auto& t : now.tracks) {
        json entry{{"id", t.id}, {"name", trackName(nowProject, t.id)}};
        if (const auto* was = find(before, t.id)) {
            entry["peak_dbfs"] = change(was->peakDb, t.peakDb);
            entry["rms_dbfs"] = change(was->rmsDb, t.rmsDb);
            entry["integrated_lufs"] = change(was->loudness.integratedLufs, t.loudness.integratedLufs);
        } else {
            entry["change"] = "added";
        }
        list.push_back(std::move(entry));
    }
    for (const auto& t : before.tracks)
        if (!find(now, t.id)) list.push_back({{"id", t.id}, {"name", trackName(beforeProject, t.id)}, {"change", "removed"}});
    return list;
}

// What a warning is about: its text up to the first number, so that "Low end dominates the mids
// by 7.1 dB" and "... by 6.5 dB" are one warning that stayed, not one gone and one new.
std::string kind(const std::string& note) {
    for (std::size_t i = 0; i < note.size(); ++i) {
        const bool digit = std::isdigit(static_cast<unsigned char>(note[i]));
        const bool sign = note[i] == '-' && i + 1 < note.size() && std::isdigit(static_cast<unsigned char>(note[i + 1]));
        if (digit || sign) return note.substr(0, i);
    }
    return note;
}

// The notes of `from` whose kind `other` lacks.
json notesNotIn(const json& from, const json& other) {
    json list = json::array();
    for (const json& note : from) {
        const std::string k = kind(note.get<std::string>());
        const bool shared = std::any_of(other.begin(), other.end(), [&](const json& o) { return kind(o.get<std::string>()) == k; });
        if (!shared) list.push_back(note);
    }
    return list;
}

} // namespace

json comparisonJSON(const MixAnalysis& before, const Project& beforeProject, const MixAnalysis& now,
                    const Project& nowProject, double targetLufs) {
    json then = analysisJSON(before, beforeProject, targetLufs);
    const json notesNow = analysisJSON(now, nowProject, targetLufs)["notes"];
    json changes{
        {"peak_dbfs", change(before.peakDb, now.peakDb)},
        {"rms_dbfs", change(before.rmsDb, now.rmsDb)},
        {"clipped_samples_before_limiter", now.clippedSamples - before.clippedSamples},
        {"limiter_max_reduction_db", std::round((now.maxLimiterReductionDb - before.maxLimiterReductionDb) * 10) / 10},
        {"bands_rms_db",
         {{"low_below_250Hz", change(before.lowRmsDb, now.lowRmsDb)},
          {"mid_250Hz_4kHz", change(before.midRmsDb, now.midRmsDb)},
          {"high_above_4kHz", change(before.highRmsDb, now.highRmsDb)},
          {"low_mid_200_500Hz", change(before.lowMidRmsDb, now.lowMidRmsDb)}}},
        {"loudness", loudnessChange(before.loudness, now.loudness)},
        {"tracks", trackChanges(before, beforeProject, now, nowProject)},
        {"notes_appeared", notesNotIn(notesNow, then["notes"])},
        {"notes_gone", notesNotIn(then["notes"], notesNow)},
    };
    return {{"before", std::move(then)}, {"changes", std::move(changes)}};
}

} // namespace velmo
