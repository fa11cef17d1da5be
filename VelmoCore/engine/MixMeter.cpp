#include "engine/MixMeter.h"

#include "engine/Limiter.h"
#include "engine/TrackProcessor.h"

#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr double tiny = 1e-9; // a sum of tracks this small explains no peak

} // namespace

// Q 1.05 puts the low-mid band's -3 dB points at 200 and 500 Hz, around their geometric mean.
std::array<Biquad, 4> analysisBands(double sr) {
    return {Biquad::lowpass(250, 0.7, sr), Biquad::bandpass(1000, 0.5, sr), Biquad::highpass(4000, 0.7, sr),
            Biquad::bandpass(316, 1.05, sr)};
}

MixMeter::MixMeter(double sampleRate, std::size_t trackCount) : master_(sampleRate) {
    tracks_.reserve(trackCount);
    const auto bands = analysisBands(sampleRate);
    for (std::size_t i = 0; i < trackCount; ++i) tracks_.push_back({LoudnessMeter(sampleRate), bands[0], bands[2], bands[3]});
}

void MixMeter::block(int n, const std::vector<std::unique_ptr<TrackProcessor>>& tracks, const float* preL,
                     const float* preR, const float* outL, const float* outR) {
    master_.add(outL, outR, n);
    const bool perTrack = tracks.size() == tracks_.size();
    if (perTrack) {
        for (std::size_t t = 0; t < tracks_.size(); ++t) {
            TrackMeter& m = tracks_[t];
            const float* l = tracks[t]->blockLeft();
            const float* r = tracks[t]->blockRight();
            m.loudness.add(l, r, n);
            for (int i = 0; i < n; ++i) {
                const double mono = (double(l[i]) + double(r[i])) * 0.5;
                const double low = m.low.process(mono), high = m.high.process(mono), lowMid = m.lowMid.process(mono);
                m.lowEnergy += low * low;
                m.highEnergy += high * high;
                m.lowMidEnergy += lowMid * lowMid;
            }
        }
    }
    for (int i = 0; i < n; ++i) {
        const double peak = std::max(std::fabs(preL[i]), std::fabs(preR[i]));
        peakBeforeLimiter_ = std::max(peakBeforeLimiter_, peak);
        if (!(peak > Limiter::ceiling)) continue;
        ++limitedFrames_;
        if (!perTrack) continue;
        if (std::fabs(preL[i]) > Limiter::ceiling) attributePeak(preL[i], 0, tracks, i);
        if (std::fabs(preR[i]) > Limiter::ceiling) attributePeak(preR[i], 1, tracks, i);
    }
}

// The master chain and gain sit between the tracks and the limiter. At one frame they are taken
// as the plain factor from the sum of the tracks to what reaches the limiter, so each track's part
// of the peak is its own sample times that factor, and the parts add up to the peak.
void MixMeter::attributePeak(float pre, std::size_t channel, const std::vector<std::unique_ptr<TrackProcessor>>& tracks,
                             int frame) {
    double sum = 0;
    for (const auto& t : tracks) sum += channel == 0 ? t->blockLeft()[frame] : t->blockRight()[frame];
    if (std::fabs(sum) < tiny) return; // a tail of the master chain alone: no track to name
    const double factor = pre / sum;
    const double magnitude = std::fabs(pre);
    const double direction = pre > 0 ? 1.0 : -1.0;
    peakTotal_ += magnitude;
    for (std::size_t t = 0; t < tracks.size(); ++t) {
        TrackMeter& m = tracks_[t];
        const double sample = channel == 0 ? tracks[t]->blockLeft()[frame] : tracks[t]->blockRight()[frame];
        const double part = sample * factor * direction; // positive where the track pushes the peak
        m.peakPart += part;
        // Bringing this track to gain g leaves magnitude - (1 - g) * part at this frame.
        const double gain = part > 0 ? 1.0 - (magnitude - Limiter::ceiling) / part : -1.0;
        if (gain <= 0) m.cannotAlone = true;
        else m.lowestGain = std::min(m.lowestGain, gain);
    }
}

void MixMeter::finish(MixAnalysis& analysis) {
    analysis.loudness = master_.result();
    analysis.peakBeforeLimiterDb = gainToDb(peakBeforeLimiter_);
    analysis.limitedFrames = limitedFrames_;
    if (analysis.tracks.size() != tracks_.size()) return;
    double lowTotal = 0, highTotal = 0, lowMidTotal = 0;
    for (const TrackMeter& m : tracks_) {
        lowTotal += m.lowEnergy;
        highTotal += m.highEnergy;
        lowMidTotal += m.lowMidEnergy;
    }
    for (std::size_t t = 0; t < tracks_.size(); ++t) {
        TrackMeter& m = tracks_[t];
        MixAnalysis::TrackStats& stats = analysis.tracks[t];
        stats.loudness = m.loudness.result();
        stats.peakShare = peakTotal_ > 0 ? m.peakPart / peakTotal_ : 0.0;
        if (!m.cannotAlone && peakTotal_ > 0) stats.cutForPeaksDb = -gainToDb(m.lowestGain);
        stats.lowShare = lowTotal > 0 ? m.lowEnergy / lowTotal : 0.0;
        stats.highShare = highTotal > 0 ? m.highEnergy / highTotal : 0.0;
        stats.lowMidShare = lowMidTotal > 0 ? m.lowMidEnergy / lowMidTotal : 0.0;
    }
}

} // namespace velmo
