#include "engine/LoudnessMeter.h"

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

namespace velmo {

namespace {

// Momentary (400 ms) and short-term (3 s) loudness are followed every 100 ms, the update rate EBU
// Tech 3341 asks of a meter; their maxima are the loudest windows at that resolution. Asking the
// library for a 3 s window every 100 ms would sum 3 s of samples each time, so it is asked only for
// each 100 ms block, and the windows are means of the blocks' energies.
constexpr double hopSeconds = 0.1;
constexpr unsigned long hopMs = 100;
constexpr std::size_t momentaryHops = 4;
// BS.1770: loudness = -0.691 + 10 log10(mean square of the weighted channels, summed).
constexpr double offsetLu = -0.691;

double energyOf(double lufs) { return std::isfinite(lufs) ? std::pow(10.0, (lufs - offsetLu) / 10) : 0.0; }
double lufsOf(double energy) {
    return energy > 0 ? offsetLu + 10 * std::log10(energy) : -std::numeric_limits<double>::infinity();
}
// The library's own true peak would take four times as long as the rest; TruePeakMeter does it.
constexpr int mode = EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_S | EBUR128_MODE_HISTOGRAM;

// The library reports silence as minus infinity; levels here read -180 for it.
double lufs(double value) { return std::isfinite(value) ? std::max(value, kSilenceDb) : kSilenceDb; }

} // namespace

struct LoudnessMeter::State {
    ebur128_state* library;
    explicit State(double sampleRate) : library(ebur128_init(2, static_cast<unsigned long>(sampleRate), mode)) {
        if (!library) throw std::bad_alloc();
    }
    ~State() { ebur128_destroy(&library); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
};

LoudnessMeter::LoudnessMeter(double sampleRate)
    : state_(std::make_unique<State>(sampleRate)),
      interleaved_(2 * static_cast<std::size_t>(std::max(1.0, sampleRate * hopSeconds))),
      maxMomentary_(-std::numeric_limits<double>::infinity()),
      maxShortTerm_(-std::numeric_limits<double>::infinity()) {}

LoudnessMeter::~LoudnessMeter() = default;
LoudnessMeter::LoudnessMeter(LoudnessMeter&&) noexcept = default;
LoudnessMeter& LoudnessMeter::operator=(LoudnessMeter&&) noexcept = default;

void LoudnessMeter::add(const float* left, const float* right, int n) {
    truePeak_.add(left, right, n);
    const std::size_t hop = interleaved_.size() / 2;
    // In runs up to the end of the hop, so the copy has no test per frame.
    for (std::size_t done = 0, count = static_cast<std::size_t>(std::max(n, 0)); done < count;) {
        const std::size_t run = std::min(count - done, hop - buffered_);
        float* out = interleaved_.data() + 2 * buffered_;
        for (std::size_t i = 0; i < run; ++i) {
            out[2 * i] = left[done + i];
            out[2 * i + 1] = right[done + i];
        }
        done += run;
        buffered_ += run;
        if (buffered_ == hop) flush();
    }
}

void LoudnessMeter::flush() {
    if (buffered_ == 0) return;
    ebur128_add_frames_float(state_->library, interleaved_.data(), buffered_);
    const bool wholeHop = buffered_ == interleaved_.size() / 2;
    buffered_ = 0;
    double value = 0;
    // A last, shorter block only counts for the integrated loudness, the range and the true peak.
    if (!wholeHop || ebur128_loudness_window(state_->library, hopMs, &value) != EBUR128_SUCCESS) return;
    // Windows reaching before the start hold silence there, as the library's own windows do.
    hopEnergy_[hops_ % hopEnergy_.size()] = energyOf(value);
    ++hops_;
    double sum = 0;
    for (std::size_t i = 0; i < hopEnergy_.size(); ++i) {
        sum += hopEnergy_[(hops_ - 1 - i) % hopEnergy_.size()];
        if (i + 1 == momentaryHops) maxMomentary_ = std::max(maxMomentary_, lufsOf(sum / momentaryHops));
    }
    maxShortTerm_ = std::max(maxShortTerm_, lufsOf(sum / hopEnergy_.size()));
}

Loudness LoudnessMeter::result() {
    flush();
    Loudness l;
    double value = 0;
    if (ebur128_loudness_global(state_->library, &value) == EBUR128_SUCCESS) l.integratedLufs = lufs(value);
    if (ebur128_loudness_range(state_->library, &value) == EBUR128_SUCCESS && std::isfinite(value)) l.rangeLu = value;
    l.maxMomentaryLufs = lufs(maxMomentary_);
    l.maxShortTermLufs = lufs(maxShortTerm_);
    l.truePeakDbtp = gainToDb(truePeak_.peak());
    return l;
}

} // namespace velmo
