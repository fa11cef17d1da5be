#include "server/MixAnalysisJSON.h"

#include "base/NumberText.h"
#include "engine/Limiter.h"
#include "server/MixCulprits.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace velmo {

namespace {

constexpr double silentTrackDb = -90; // a track below this RMS counts as silent
// Codecs (MP3, AAC, Opus) rebuild peaks between samples and overshoot; -1 dBTP is the usual
// ceiling that survives them.
constexpr double truePeakLimitDbtp = -1;
constexpr double targetToleranceLu = 2; // closer than this to the target is close enough
constexpr double masterVolumeMostDb = 6; // set_song's range for master_volume_db
constexpr double masterVolumeLeastDb = -60;

// Halves away from zero.
double round1(double x) { return std::round(x * 10) / 10; }
double round4(double x) { return std::round(x * 10000) / 10000; }
std::string text1(double x) { return shortestText(round1(x)); }

// The master volume that moves the integrated loudness by `change` dB, within set_song's range.
double masterFor(const Project& project, double change) {
    return std::clamp(round1(project.masterVolumeDb + change), masterVolumeLeastDb, masterVolumeMostDb);
}

std::vector<std::string> loudnessWarnings(const MixAnalysis& a, const Project& project, double targetLufs) {
    std::vector<std::string> notes;
    const Loudness& l = a.loudness;
    if (l.truePeakDbtp > truePeakLimitDbtp) {
        // The limiter took some of the peaks' height already: the master must come down by that too
        // before the peaks themselves go below the line.
        const double change = std::ceil((l.truePeakDbtp - truePeakLimitDbtp + a.maxLimiterReductionDb) * 10) / 10;
        notes.push_back("True peak is " + text1(l.truePeakDbtp) + " dBTP, above -1 dBTP: the mix may distort after "
                        "encoding (MP3, AAC, streaming). Lower master_volume_db (`set_song`) by " + text1(change) + " dB (to " +
                        text1(masterFor(project, -change)) + ").");
    }
    const double off = l.integratedLufs - targetLufs;
    if (l.integratedLufs > kSilenceDb && std::fabs(off) > targetToleranceLu) {
        const bool low = off < 0;
        std::string note = "Integrated loudness is " + text1(l.integratedLufs) + " LUFS, " + text1(std::fabs(off)) +
                           " LU " + (low ? "below" : "above") + " the " + text1(targetLufs) + " LUFS target: " +
                           (low ? "raise" : "lower") + " master_volume_db (`set_song`) by " + text1(std::fabs(off)) + " dB (to " +
                           text1(masterFor(project, -off)) + ").";
        if (low && project.masterVolumeDb - off > masterVolumeMostDb)
            note += " That is past +6 dB, the master's top: raise the tracks too.";
        if (low && a.peakBeforeLimiterDb - off > gainToDb(Limiter::ceiling))
            note += " Peaks would then press on the limiter; a compressor on the master (`add_effect` target master, "
                    "kind compressor) holds them first.";
        notes.push_back(note);
    }
    return notes;
}

nlohmann::json loudnessJSON(const Loudness& l) {
    return {{"integrated_lufs", round1(l.integratedLufs)},
            {"range_lu", round1(l.rangeLu)},
            {"max_short_term_lufs", round1(l.maxShortTermLufs)},
            {"max_momentary_lufs", round1(l.maxMomentaryLufs)},
            {"true_peak_dbtp", round1(l.truePeakDbtp)}};
}

std::vector<std::string> warnings(const MixAnalysis& a, const Project& project, double targetLufs) {
    std::vector<std::string> notes;
    // Computed from unrounded values. The loud and the quiet rule look only at the master.
    if (a.hitsLimiter())
        notes.push_back("Master is hitting the safety limiter (" + text1(a.maxLimiterReductionDb) + " dB reduction, " +
                        std::to_string(a.clippedSamples) +
                        " samples over 0 dBFS before limiting). Lower track volumes or master_volume_db.");
    else if (a.peakDb < -12)
        notes.push_back("Mix is quiet (peak " + text1(a.peakDb) + " dBFS); there is headroom to raise levels.");
    if (a.lowEndHeavy())
        notes.push_back("Low end dominates the mids by " + text1(a.lowRmsDb - a.midRmsDb) +
                        " dB; consider lowering bass/kick or EQ.");
    if (a.muddy())
        notes.push_back("Low mids (200-500 Hz) carry " + std::to_string(std::lround(100 * a.lowMidEnergyShare())) +
                        "% of the mix's energy; mix may sound muddy. Consider an EQ cut near 300 Hz.");
    if (a.dull())
        notes.push_back("Very little high-frequency energy; mix may sound dull.");
    else if (a.harsh())
        notes.push_back("High band is louder than mids; mix may sound harsh.");
    std::string silent;
    for (const auto& t : a.tracks) {
        if (!(t.rmsDb < silentTrackDb)) continue;
        if (!silent.empty()) silent += ", ";
        auto index = project.trackIndex(t.id);
        silent += index ? project.tracks[*index].name : t.id;
    }
    if (!silent.empty()) notes.push_back("Silent tracks in this range: " + silent + ".");
    for (std::string& note : loudnessWarnings(a, project, targetLufs)) notes.push_back(std::move(note));
    return notes;
}

} // namespace

nlohmann::json analysisJSON(const MixAnalysis& a, const Project& project, double targetLufs) {
    nlohmann::json tracks = nlohmann::json::array();
    for (const auto& t : a.tracks) {
        auto index = project.trackIndex(t.id);
        tracks.push_back({{"id", t.id},
                          {"name", index ? project.tracks[*index].name : std::string()},
                          {"peak_dbfs", round1(t.peakDb)},
                          {"rms_dbfs", round1(t.rmsDb)},
                          {"loudness", loudnessJSON(t.loudness)}});
    }
    return {
        {"seconds", round4(a.seconds)},
        {"peak_dbfs", round1(a.peakDb)},
        {"rms_dbfs", round1(a.rmsDb)},
        {"clipped_samples_before_limiter", a.clippedSamples},
        {"limiter_max_reduction_db", round1(a.maxLimiterReductionDb)},
        {"bands_rms_db",
         {{"low_below_250Hz", round1(a.lowRmsDb)}, {"mid_250Hz_4kHz", round1(a.midRmsDb)}, {"high_above_4kHz", round1(a.highRmsDb)},
          {"low_mid_200_500Hz", round1(a.lowMidRmsDb)}}},
        {"tracks", tracks},
        {"notes", warnings(a, project, targetLufs)},
        {"loudness", loudnessJSON(a.loudness)},
        {"culprits", culpritsJSON(a, project)},
    };
}

} // namespace velmo
