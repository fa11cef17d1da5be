#include "engine/SoundPortrait.h"

#include "dsp/Biquad.h"
#include "dsp/ScopedFlushToZero.h"
#include "engine/Periodicity.h"
#include "engine/TrackProcessor.h"
#include "synth/WavetableBank.h"

#include <fftw3.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

namespace velmo {

namespace {

constexpr double shortestHold = 0.01, longestHold = 10; // seconds
constexpr double longestTail = 10;       // seconds after note-off, for the longest releases and reverbs
constexpr double quietDb = -70;          // under the top: the tail has died away
constexpr double quietMarginDb = -66;    // under the level at note-off, so -60 is seen first
constexpr double quietSpan = 0.05;       // seconds the tail must stay quiet
constexpr double topMarginDb = -0.05;    // the envelope's top is where it first comes this close to it
constexpr double envelopeHop = 0.0005;   // seconds per envelope block
constexpr double pitchSpan = 8192;       // frames looked at for the pitch
constexpr int fftSize = 4096;            // about 93 ms at 44.1 kHz: 11 Hz per bin
constexpr double maxSpectrumSeconds = 2; // enough held sound to know its colour
constexpr double brightAboveHz = 1500;
constexpr double lowBelowHz = 250, highAboveHz = 4000; // the mix report's bands
constexpr double clickHighpassHz = 2000; // above most tones' fundamentals, where a step's energy shows
constexpr double clickSpan = 0.005, clickAfterRelease = 0.01; // seconds
constexpr double clickOverTone = 4;      // 12 dB over the tone's own high-frequency content
constexpr double clickAudibleDb = -40;   // and no more than 40 dB under the top
constexpr double releaseHighpassHz = 30; // under every note's fundamental, over the DC blocker's swing
constexpr double releaseMargin = 0.1;    // seconds before note-off that the release reading looks at


struct Render {
    std::vector<float> left, right;
    std::size_t held = 0; // frames before note-off
};

Render render(const Track& track, int pitch, double velocity, double holdSeconds, bool withEffects, double tempo,
              double sampleRate) {
    WavetableBank::prepare(); // wavetable voices read it; building it once also ends its FFT planning
    ScopedFlushToZero denormalGuard;
    const RenderContext ctx{sampleRate, tempo};
    auto compiled = std::make_shared<CompiledTrack>();
    compiled->id = track.id;
    compiled->patch = track.patch;
    if (withEffects) compiled->effects = track.effects;
    compiled->gain = 1;
    TrackProcessor processor(track.id, track.patch);
    processor.load(compiled, ctx, 0);

    Render out;
    std::array<float, kBlockFrames> l{}, r{};
    auto block = [&](int n, bool keep) {
        l.fill(0);
        r.fill(0);
        processor.renderBlock(n, ctx, l.data(), r.data(), false);
        if (!keep) return;
        out.left.insert(out.left.end(), l.begin(), l.begin() + n);
        out.right.insert(out.right.end(), r.begin(), r.begin() + n);
    };
    block(kBlockFrames, false); // the track's gain ramps up from 0 over its first block

    out.held = static_cast<std::size_t>(std::lround(std::clamp(holdSeconds, shortestHold, longestHold) * sampleRate));
    const std::size_t tailLimit = static_cast<std::size_t>(longestTail * sampleRate);
    out.left.reserve(out.held + tailLimit / 4);
    out.right.reserve(out.held + tailLimit / 4);
    const std::int64_t tag = processor.noteOn(pitch, velocity, ctx);
    for (std::size_t done = 0; done < out.held; done += kBlockFrames)
        block(static_cast<int>(std::min<std::size_t>(kBlockFrames, out.held - done)), true);
    processor.noteOff(tag);

    float top = 0, atRelease = 0;
    for (std::size_t i = 0; i < out.held; ++i) top = std::max({top, std::fabs(out.left[i]), std::fabs(out.right[i])});
    const std::size_t lastPeriod = std::min<std::size_t>(out.held, static_cast<std::size_t>(quietSpan * sampleRate));
    for (std::size_t i = out.held - lastPeriod; i < out.held; ++i)
        atRelease = std::max({atRelease, std::fabs(out.left[i]), std::fabs(out.right[i])});
    const double quiet = std::max(1e-7, std::min(top * dbToGain(quietDb), atRelease * dbToGain(quietMarginDb)));
    const auto quietFrames = static_cast<std::size_t>(quietSpan * sampleRate);
    std::size_t quietSince = 0;
    for (std::size_t tail = 0; tail < tailLimit && quietSince < quietFrames; tail += kBlockFrames) {
        block(kBlockFrames, true);
        const float loudest = *std::max_element(l.begin(), l.end()), softest = *std::min_element(l.begin(), l.end());
        const float loudestR = *std::max_element(r.begin(), r.end()), softestR = *std::min_element(r.begin(), r.end());
        const double level = std::max({double(loudest), -double(softest), double(loudestR), -double(softestR)});
        quietSince = level < quiet ? quietSince + kBlockFrames : 0;
    }
    return out;
}

// The level of the sound over time, in blocks of envelopeHop: the loudest sample of either channel
// in each block. A window of blocks at least a period long always holds a crest of the wave.
struct Envelope {
    std::vector<double> blocks;
    std::size_t hop = 1;    // frames per block
    std::size_t window = 1; // blocks per reading

    // The loudest block among the `window` blocks ending before `b`: right for a rising sound.
    double before(std::size_t b) const {
        const std::size_t from = b > window ? b - window : 0;
        return from < b ? *std::max_element(blocks.begin() + static_cast<long>(from), blocks.begin() + static_cast<long>(b)) : 0.0;
    }
    // The loudest block among the `window` blocks from `b` on: right for a falling sound.
    double from(std::size_t b) const {
        const std::size_t to = std::min(blocks.size(), b + window);
        return b < to ? *std::max_element(blocks.begin() + static_cast<long>(b), blocks.begin() + static_cast<long>(to)) : 0.0;
    }
    // The first block from `start` whose reading ahead falls to `level`, if any before `end`.
    std::optional<std::size_t> fallsTo(double level, std::size_t start, std::size_t end) const {
        for (std::size_t b = start; b < std::min(end, blocks.size()); ++b)
            if (from(b) <= level) return b;
        return std::nullopt;
    }
};

Envelope envelopeOf(const Render& r, double sampleRate, std::optional<double> period) {
    Envelope e;
    e.hop = std::max<std::size_t>(1, static_cast<std::size_t>(envelopeHop * sampleRate));
    const double windowFrames = period ? std::max(1.25 * *period, 0.001 * sampleRate) : 0.005 * sampleRate;
    e.window = std::max<std::size_t>(1, static_cast<std::size_t>(std::ceil(windowFrames / static_cast<double>(e.hop))));
    for (std::size_t i = 0; i < r.left.size(); i += e.hop) {
        double m = 0;
        for (std::size_t j = i; j < std::min(i + e.hop, r.left.size()); ++j)
            m = std::max({m, double(std::fabs(r.left[j])), double(std::fabs(r.right[j]))});
        e.blocks.push_back(m);
    }
    return e;
}

// The track's DC blocker answers a note cut off mid-cycle with a slow swing of a few hertz that
// no one hears, but that would hold a release above -60 dB for up to a tenth of a second. The
// release is read without it: from note-off (less a margin) on, both channels pass an
// eighth-order Butterworth high-pass run backwards, so that the filter's own ringing falls
// before what it answers, where the note still sounds, and never into the tail being timed.
// Its backward reach blends in the quieter sound ahead: a release at C2 reads about 3% short, at
// C1 about 10%.
Render withoutSubAudio(const Render& r, double sampleRate) {
    Render out = r;
    const auto from = r.held - std::min(r.held, static_cast<std::size_t>(releaseMargin * sampleRate));
    for (std::vector<float>* channel : {&out.left, &out.right}) {
        auto sections = butterworthHighpass<4>(releaseHighpassHz, sampleRate);
        for (std::size_t i = channel->size(); i-- > from;) {
            double y = (*channel)[i];
            for (Biquad& b : sections) y = b.process(y);
            (*channel)[i] = static_cast<float>(y);
        }
    }
    return out;
}

// Plans are made once: FFTW's planner may not run on two threads at once. Executing a plan on
// other arrays of the same alignment may.
const fftw_plan& spectrumPlan() {
    static const fftw_plan plan = [] {
        double* in = fftw_alloc_real(fftSize);
        fftw_complex* out = fftw_alloc_complex(fftSize / 2 + 1);
        fftw_plan made = fftw_plan_dft_r2c_1d(fftSize, in, out, FFTW_ESTIMATE);
        fftw_free(in);
        fftw_free(out);
        return made;
    }();
    return plan;
}

// Centroid, brightness and band shares of the held part, from Hann-windowed spectra half a frame
// apart, their magnitudes and energies summed.
void describeSpectrum(const std::vector<double>& mono, std::size_t held, double sampleRate, SoundPortrait& p) {
    const std::size_t span = std::min(held, static_cast<std::size_t>(maxSpectrumSeconds * sampleRate));
    std::unique_ptr<double, decltype(&fftw_free)> in(fftw_alloc_real(fftSize), &fftw_free);
    std::unique_ptr<fftw_complex, decltype(&fftw_free)> out(fftw_alloc_complex(fftSize / 2 + 1), &fftw_free);
    if (!in || !out || !spectrumPlan()) return;
    std::vector<double> magnitude(fftSize / 2 + 1), energy(fftSize / 2 + 1);
    for (std::size_t start = 0; start == 0 || start + fftSize <= span; start += fftSize / 2) {
        for (int i = 0; i < fftSize; ++i) {
            const std::size_t at = start + static_cast<std::size_t>(i);
            const double hann = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * i / fftSize);
            in.get()[i] = at < span ? mono[at] * hann : 0.0;
        }
        fftw_execute_dft_r2c(spectrumPlan(), in.get(), out.get());
        for (int k = 0; k <= fftSize / 2; ++k) {
            const double power = out.get()[k][0] * out.get()[k][0] + out.get()[k][1] * out.get()[k][1];
            magnitude[static_cast<std::size_t>(k)] += std::sqrt(power);
            energy[static_cast<std::size_t>(k)] += power;
        }
    }
    double weighted = 0, magnitudes = 0, total = 0, bright = 0, low = 0, high = 0;
    for (int k = 1; k <= fftSize / 2; ++k) { // bin 0 is the offset, which no one hears
        const double hz = k * sampleRate / fftSize;
        const double m = magnitude[static_cast<std::size_t>(k)], e = energy[static_cast<std::size_t>(k)];
        weighted += hz * m;
        magnitudes += m;
        total += e;
        if (hz > brightAboveHz) bright += e;
        if (hz < lowBelowHz) low += e;
        if (hz >= highAboveHz) high += e;
    }
    if (!(total > 0)) return;
    p.centroidHz = weighted / magnitudes;
    p.brightness = bright / total;
    p.lowShare = low / total;
    p.highShare = high / total;
    p.midShare = 1 - p.lowShare - p.highShare;
}

// A click is a broadband jump: energy above 2 kHz right at note-on or note-off, far over what the
// held tone has there and loud enough to hear. A bright tone hides its own steps.
void findClicks(const std::vector<double>& mono, std::size_t held, double top, double sampleRate, SoundPortrait& p) {
    Biquad first = Biquad::highpass(clickHighpassHz, 0.7, sampleRate), second = first;
    std::vector<double> edge(mono.size());
    for (std::size_t i = 0; i < mono.size(); ++i) edge[i] = std::fabs(second.process(first.process(mono[i])));
    auto loudest = [&](std::size_t from, std::size_t to) {
        to = std::min(to, edge.size());
        return from < to ? *std::max_element(edge.begin() + static_cast<long>(from), edge.begin() + static_cast<long>(to)) : 0.0;
    };
    const auto span = static_cast<std::size_t>(clickSpan * sampleRate);
    // The tone's own edge: the median of its short stretches after the onset.
    std::vector<double> stretches;
    for (std::size_t at = 4 * span; at + span <= held; at += span) stretches.push_back(loudest(at, at + span));
    double tone = 0;
    if (!stretches.empty()) {
        std::nth_element(stretches.begin(), stretches.begin() + static_cast<long>(stretches.size() / 2), stretches.end());
        tone = stretches[stretches.size() / 2];
    }
    const double bar = std::max(clickOverTone * tone, top * dbToGain(clickAudibleDb));
    p.clickAtStart = loudest(0, span) > bar;
    p.clickAtEnd = loudest(held, held + static_cast<std::size_t>(clickAfterRelease * sampleRate)) > bar;
}

} // namespace

SoundPortrait portraitOf(const Track& track, int pitch, double velocity, double holdSeconds, bool withEffects,
                         double tempo, double sampleRate) {
    const Render r = render(track, pitch, velocity, holdSeconds, withEffects, tempo, sampleRate);
    SoundPortrait p;
    p.heldSeconds = static_cast<double>(r.held) / sampleRate;
    p.renderedSeconds = static_cast<double>(r.left.size()) / sampleRate;
    std::vector<double> mono(r.left.size());
    double top = 0, heldSquares = 0;
    for (std::size_t i = 0; i < mono.size(); ++i) {
        mono[i] = (double(r.left[i]) + double(r.right[i])) * 0.5;
        top = std::max({top, double(std::fabs(r.left[i])), double(std::fabs(r.right[i]))});
        if (i < r.held) heldSquares += (double(r.left[i]) * r.left[i] + double(r.right[i]) * r.right[i]) * 0.5;
    }
    p.peakDb = gainToDb(top);
    p.rmsDb = gainToDb(std::sqrt(heldSquares / static_cast<double>(std::max<std::size_t>(r.held, 1))));
    if (!(top > 1e-9)) return p; // silence: nothing more to tell

    // Pitch from where the sound has come within 6 dB of its top, mostly while the key is down.
    const Envelope coarse = envelopeOf(r, sampleRate, std::nullopt);
    std::size_t onset = 0;
    while (onset < coarse.blocks.size() && coarse.blocks[onset] < top * dbToGain(-6)) ++onset;
    const std::size_t start = std::min(onset * coarse.hop, mono.size());
    const std::size_t length = std::min(static_cast<std::size_t>(pitchSpan), mono.size() - start);
    const Periodicity periodicity = findPeriod(std::span(mono).subspan(start, length), sampleRate);
    p.noisiness = periodicity.aperiodicity;
    if (periodicity.periodFrames) p.pitchHz = sampleRate / *periodicity.periodFrames;

    const Envelope e = envelopeOf(r, sampleRate, periodicity.periodFrames);
    const double envelopeTop = *std::max_element(e.blocks.begin(), e.blocks.end());
    std::size_t topBlock = 0;
    while (topBlock < e.blocks.size() && e.before(topBlock) < envelopeTop * dbToGain(topMarginDb)) ++topBlock;
    p.attackSeconds = static_cast<double>(topBlock * e.hop) / sampleRate;
    const std::size_t releaseBlock = (r.held + e.hop - 1) / e.hop;
    auto seconds = [&](std::size_t block, std::size_t fromFrame) {
        return (static_cast<double>(block * e.hop) - static_cast<double>(fromFrame)) / sampleRate;
    };
    if (auto b = e.fallsTo(envelopeTop * dbToGain(-20), topBlock, releaseBlock))
        p.decaySeconds = seconds(*b, topBlock * e.hop);
    const double atRelease = e.before(r.held / e.hop);
    p.levelAtReleaseDb = gainToDb(atRelease / envelopeTop);
    if (atRelease > envelopeTop * dbToGain(-60)) { // a sound already gone at note-off has no release
        const Envelope heard = envelopeOf(withoutSubAudio(r, sampleRate), sampleRate, periodicity.periodFrames);
        const double heardAtRelease = heard.before(r.held / heard.hop);
        const std::size_t end = heard.blocks.size();
        if (auto b = heard.fallsTo(heardAtRelease * dbToGain(-20), releaseBlock, end)) p.release20Seconds = seconds(*b, r.held);
        if (auto b = heard.fallsTo(heardAtRelease * dbToGain(-60), releaseBlock, end)) p.release60Seconds = seconds(*b, r.held);
    }

    describeSpectrum(mono, r.held, sampleRate, p);
    findClicks(mono, r.held, top, sampleRate, p);
    return p;
}

} // namespace velmo
