#include "engine/MixAnalysisJSON.h"

#include "base/NumberText.h"

#include <cmath>
#include <string>

namespace velmo {

namespace {

constexpr double silentTrackDb = -90; // a track below this RMS counts as silent

// Halves away from zero.
double round1(double x) { return std::round(x * 10) / 10; }
double round4(double x) { return std::round(x * 10000) / 10000; }
std::string text1(double x) { return shortestText(round1(x)); }

std::vector<std::string> warnings(const MixAnalysis& a, const Project& project) {
    std::vector<std::string> notes;
    // Computed from unrounded values. The loud and the quiet rule look only at the master.
    if (a.clippedSamples >= 1 || a.maxLimiterReductionDb > 1)
        notes.push_back("Master is hitting the safety limiter (" + text1(a.maxLimiterReductionDb) + " dB reduction, " +
                        std::to_string(a.clippedSamples) +
                        " samples over 0 dBFS before limiting). Lower track volumes or master_volume_db.");
    else if (a.peakDb < -12)
        notes.push_back("Mix is quiet (peak " + text1(a.peakDb) + " dBFS); there is headroom to raise levels.");
    if (a.lowRmsDb > a.midRmsDb + 6)
        notes.push_back("Low end dominates the mids by " + text1(a.lowRmsDb - a.midRmsDb) +
                        " dB; consider lowering bass/kick or EQ.");
    if (a.highRmsDb < a.midRmsDb - 24)
        notes.push_back("Very little high-frequency energy; mix may sound dull.");
    else if (a.highRmsDb > a.midRmsDb)
        notes.push_back("High band is louder than mids; mix may sound harsh.");
    std::string silent;
    for (const auto& t : a.tracks) {
        if (!(t.rmsDb < silentTrackDb)) continue;
        if (!silent.empty()) silent += ", ";
        auto index = project.trackIndex(t.id);
        silent += index ? project.tracks[*index].name : t.id;
    }
    if (!silent.empty()) notes.push_back("Silent tracks in this range: " + silent + ".");
    return notes;
}

} // namespace

nlohmann::json analysisJSON(const MixAnalysis& a, const Project& project) {
    nlohmann::json tracks = nlohmann::json::array();
    for (const auto& t : a.tracks) {
        auto index = project.trackIndex(t.id);
        tracks.push_back({{"id", t.id},
                          {"name", index ? project.tracks[*index].name : std::string()},
                          {"peak_dbfs", round1(t.peakDb)},
                          {"rms_dbfs", round1(t.rmsDb)}});
    }
    return {
        {"seconds", round4(a.seconds)},
        {"peak_dbfs", round1(a.peakDb)},
        {"rms_dbfs", round1(a.rmsDb)},
        {"clipped_samples_before_limiter", a.clippedSamples},
        {"limiter_max_reduction_db", round1(a.maxLimiterReductionDb)},
        {"bands_rms_db",
         {{"low_below_250Hz", round1(a.lowRmsDb)}, {"mid_250Hz_4kHz", round1(a.midRmsDb)}, {"high_above_4kHz", round1(a.highRmsDb)}}},
        {"tracks", tracks},
        {"notes", warnings(a, project)},
    };
}

} // namespace velmo
