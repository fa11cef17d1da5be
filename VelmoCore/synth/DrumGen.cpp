#include "synth/DrumGen.h"

#include "base/Decibels.h"
#include "dsp/SineTable.h"

#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr double kChokeFactor = 0.996; // per sample once choked: about 36 ms to the end at 48 kHz
constexpr double kChokeEnd = 0.001;
constexpr double kQuietest = 0.25;       // the level of a hit at velocity 0
constexpr double kShortestDecay = 0.005; // seconds: a decay of 0 still rings this long
constexpr double kDriveSpan = 4.0;       // drive 0 to 1 drives the saturation 1 to 5 times
constexpr double kLengthPerDecay = 1.3;  // a hit ends at 1.3 decays (-78 dB) ...
constexpr double kLengthMargin = 0.01;   // ... plus 10 ms

// The general MIDI drum notes 35 to 59 that the kit has; 54 and 58 fall back to their class.
DrumPiece generalMIDIPiece(int note, bool& found) {
    found = true;
    switch (note) {
    case 35: case 36: return DrumPiece::kick;
    case 37: return DrumPiece::rim;
    case 38: case 40: return DrumPiece::snare;
    case 39: return DrumPiece::clap;
    case 41: case 43: return DrumPiece::tomLow;
    case 42: return DrumPiece::closedHat;
    case 44: return DrumPiece::pedalHat;
    case 45: case 47: return DrumPiece::tomMid;
    case 46: return DrumPiece::openHat;
    case 48: case 50: return DrumPiece::tomHigh;
    case 49: case 52: case 55: case 57: return DrumPiece::crash;
    case 51: case 53: case 59: return DrumPiece::ride;
    case 56: return DrumPiece::cowbell;
    default: found = false; return DrumPiece::kick;
    }
}

constexpr DrumPiece kByClass[12] = {
    DrumPiece::kick,  DrumPiece::rim,    DrumPiece::snare,     DrumPiece::clap,   DrumPiece::snare,    DrumPiece::tomLow,
    DrumPiece::closedHat, DrumPiece::tomLow, DrumPiece::pedalHat, DrumPiece::tomMid, DrumPiece::openHat, DrumPiece::tomHigh,
};

std::int64_t framesOf(double frames) {
    // A hand-edited project file may hold any decay: saturate rather than leave the 64-bit range
    // (an enormous decay simply rings for as long as anyone listens).
    if (std::isnan(frames)) return 0;
    return static_cast<std::int64_t>(std::clamp(frames, -9.2e18, 9.2e18));
}


// Each piece's curve is a closed form of the time T (seconds) since the hit, so a hit keeps no
// state but the oscillator phases and the filters. Times below are time constants τ of
// exp(-T / τ); k is ln 1000 / decay, so exp(-k T) falls 60 dB over the piece's decay.
// A value that grows linearly with a parameter from 0 to 1.
struct Span {
    double low;
    double span;

    constexpr double at(double x) const { return x * span + low; }
};

struct Hit {
    const DrumParams& p;
    double sr;
    double k;
    const float* sine;

    double sin(double cycles) const { return static_cast<double>(SineTable::lookup(sine, cycles)); }
};

namespace kick {
constexpr double kSweepDepth = 7.0;    // × punch: the pitch starts this many tunes above the tune
constexpr double kSweepTime = 0.03;
constexpr double kClickTime = 0.0015;
constexpr double kClickLevel = 0.6;
} // namespace kick

double kickAt(DrumGen& g, const Hit& h, double T) {
    const double f = h.p.kickTune * (1.0 + h.p.kickPunch * kick::kSweepDepth * std::exp(T / -kick::kSweepTime));
    g.phase += f / h.sr;
    const double body = h.sin(g.phase) * std::exp(-h.k * T);
    const double click = h.p.kickClick * g.rng.bipolar() * std::exp(T / -kick::kClickTime) * kick::kClickLevel;
    return body + click;
}

namespace snare {
constexpr double kSweepDepth = 0.4;
constexpr double kSweepTime = 0.01;
constexpr double kSecondRatio = 1.62; // the second drum-head mode, above the tune
constexpr double kFirstLevel = 0.65;
constexpr double kSecondLevel = 0.35;
constexpr double kToneFall = 6.9;     // the tone falls about 60 dB ...
constexpr double kToneTime = 0.12;    // ... over this many seconds, whatever the decay
constexpr double kSnappyDuck = 0.55;  // × snappy: how much the wires take from the tone
constexpr double kWiresLevel = 1.4;
constexpr double kNoiseHighpass = 1200.0;
constexpr double kNoiseQ = 0.7;
} // namespace snare

double snareAt(DrumGen& g, const Hit& h, double T) {
    const double f = h.p.snareTune * (1.0 + snare::kSweepDepth * std::exp(T / -snare::kSweepTime));
    g.phase += f / h.sr;
    g.phase2 += f * snare::kSecondRatio / h.sr;
    const double tone = (h.sin(g.phase) * snare::kFirstLevel + h.sin(g.phase2) * snare::kSecondLevel) *
                        std::exp(T * -snare::kToneFall / snare::kToneTime);
    const double wires = g.bq1.process(g.rng.bipolar()) * std::exp(-h.k * T);
    return tone * (1.0 - h.p.snareSnappy * snare::kSnappyDuck) + h.p.snareSnappy * wires * snare::kWiresLevel;
}

namespace clap {
constexpr double kBurstsEnd = 0.03;    // three quick bursts, then the tail
constexpr double kBurstPeriod = 0.0105;
constexpr double kBurstTime = 0.0025;
constexpr double kLevel = 2.2;
constexpr double kBand = 1150.0;
constexpr double kBandQ = 1.8;
} // namespace clap

double clapAt(DrumGen& g, const Hit& h, double T) {
    const double y = g.bq1.process(g.rng.bipolar());
    const double e = T < clap::kBurstsEnd ? std::exp(std::fmod(T, clap::kBurstPeriod) / -clap::kBurstTime)
                                          : std::exp(-(T - clap::kBurstsEnd) * h.k);
    return y * e * clap::kLevel;
}

namespace rim {
constexpr double kTone = 1700.0;
constexpr double kToneTime = 0.006;
constexpr double kToneLevel = 0.8;
constexpr double kNoiseTime = 0.004;
constexpr double kNoiseLevel = 1.5;
constexpr double kDecay = 0.05;
constexpr double kBand = 3200.0;
constexpr double kBandQ = 2.0;
} // namespace rim

double rimAt(DrumGen& g, const Hit& h, double T) {
    g.phase += rim::kTone / h.sr;
    const double a = h.sin(g.phase) * std::exp(T / -rim::kToneTime) * rim::kToneLevel;
    const double b = g.bq1.process(g.rng.bipolar()) * std::exp(T / -rim::kNoiseTime) * rim::kNoiseLevel;
    return a + b;
}

namespace tom {
constexpr double kBase[3] = {95.0, 135.0, 185.0}; // Hz, low, mid and high, before the tune factor
constexpr double kSweepDepth = 0.6;
constexpr double kSweepTime = 0.04;
constexpr double kStickLevel = 0.08;  // the noise of the stick on the head
constexpr double kStickTime = 0.01;
} // namespace tom

double tomAt(DrumGen& g, const Hit& h, double base, double T) {
    const double f = base * h.p.tomTune * (1.0 + tom::kSweepDepth * std::exp(T / -tom::kSweepTime));
    g.phase += f / h.sr;
    const double body = h.sin(g.phase) * std::exp(-h.k * T);
    return body + g.rng.bipolar() * tom::kStickLevel * std::exp(T / -tom::kStickTime);
}

namespace metal {
constexpr double kHatToneLow = 6500.0;  // Hz, the hats' and crash's highpass at tone 0 ...
constexpr double kHatToneSpan = 3500.0; // ... rising by this much up to tone 1
constexpr double kRideToneLow = 5000.0;
constexpr double kRideToneSpan = 2000.0;
constexpr double kBandAbove = 1500.0;   // the bandpass sits this far above the highpass
constexpr double kBandQ = 0.8;
constexpr double kHighpassQ = 0.7;
constexpr double kRideDecay = 0.9;      // × the cymbal decay
constexpr Span kClosedDecay{0.035, 0.12}; // seconds, by the hat decay from 0 to 1
constexpr Span kPedalDecay{0.03, 0.05};
constexpr Span kOpenDecay{0.15, 0.9};
constexpr double kCrashNoise = 0.6;     // the share of noise in the mix, the rest is partials
constexpr double kRideNoise = 0.15;
constexpr double kHatNoise = 0.35;
constexpr double kCymbalScale = 1.25;   // the partials' frequency factor of the cymbals ...
constexpr double kHatScaleLow = 0.85;   // ... and of the hats, with tone from 0 to 1
constexpr double kHatScaleSpan = 0.4;
constexpr double kCrashAttack = 0.001;
constexpr double kLevel = 1.6;
} // namespace metal

// How the hats and cymbals mix their square partials with noise.
struct MetalMix {
    double scale; // frequency factor of the partials
    double noise; // share of noise, the rest is partials
    bool attack;  // rises over the first millisecond instead of starting at full level
};

MetalMix metalMixOf(DrumPiece piece, double hatTone) {
    switch (piece) {
    case DrumPiece::crash: return {metal::kCymbalScale, metal::kCrashNoise, true};
    case DrumPiece::ride: return {metal::kCymbalScale, metal::kRideNoise, false};
    default: return {hatTone * metal::kHatScaleSpan + metal::kHatScaleLow, metal::kHatNoise, false};
    }
}

// The sum of the six square partials, advanced by one frame.
double metalSquares(DrumGen& g, double scale, double sr) {
    double sum = 0.0;
    for (std::size_t i = 0; i < g.metal.size(); ++i) {
        double m = g.metal[i] + scale * DrumGen::kMetalPartials[i] / sr;
        if (m >= 1.0) m -= 1.0;
        g.metal[i] = m;
        sum += m < 0.5 ? 1.0 : -1.0; // plain squares, not band-limited
    }
    return sum;
}

double metalAt(DrumGen& g, const Hit& h, const MetalMix& mix, double T) {
    const double sum = metalSquares(g, mix.scale, h.sr);
    const double noise = g.rng.bipolar();
    double env = std::exp(-h.k * T);
    if (mix.attack) env *= 1.0 - std::exp(T / -metal::kCrashAttack);
    const double x = (1.0 - mix.noise) * (sum / static_cast<double>(g.metal.size())) + mix.noise * noise;
    return env * g.bq2.process(g.bq1.process(x)) * metal::kLevel;
}

namespace cowbell {
constexpr double kLow = 540.0;   // Hz: two square waves a fifth-ish apart
constexpr double kHigh = 800.0;
constexpr double kStrikeEnd = 0.02;   // the strike, then the ring at kRingLevel
constexpr double kStrikeTime = 0.012;
constexpr double kRingLevel = 0.4;
constexpr double kLevel = 2.5;
constexpr double kDecay = 0.35;
constexpr double kBand = 2640.0;
constexpr double kBandQ = 3.0;
} // namespace cowbell

double square(double cycles) { return (cycles - std::floor(cycles)) < 0.5 ? 1.0 : -1.0; }

double cowbellAt(DrumGen& g, const Hit& h, double T) {
    g.phase += cowbell::kLow / h.sr;
    g.phase2 += cowbell::kHigh / h.sr;
    const double y = g.bq1.process((square(g.phase) + square(g.phase2)) * 0.5);
    const double e = T < cowbell::kStrikeEnd
                         ? std::exp(T / -cowbell::kStrikeTime) * (1.0 - cowbell::kRingLevel) + cowbell::kRingLevel
                         : std::exp(-(T - cowbell::kStrikeEnd) * h.k) * cowbell::kRingLevel;
    return e * y * cowbell::kLevel;
}

} // namespace

DrumPiece drumPieceForNote(int note) {
    bool found = false;
    const DrumPiece gm = generalMIDIPiece(note, found);
    if (found) return gm;
    int pitchClass = note % 12;
    if (pitchClass < 0) pitchClass += 12;
    return kByClass[pitchClass];
}

void DrumGen::start(int note, double noteVelocity, const DrumParams& p, double sr) {
    piece = drumPieceForNote(note);
    velocity = noteVelocity * (1.0 - kQuietest) + kQuietest;
    t = 0;
    phase = 0.0;
    phase2 = 0.0;
    choke = 1.0;
    choking = false;
    done = false;
    for (double& m : metal) m = rng.unit(); // for every piece, so the stream does not depend on it
    bq1.z1 = bq1.z2 = 0.0;
    bq2.z1 = bq2.z2 = 0.0;
    // A filter the piece does not use keeps the coefficients it had.
    auto metalFilters = [&](double f) {
        bq1.setCoefficients(Biquad::bandpass(f + metal::kBandAbove, metal::kBandQ, sr));
        bq2.setCoefficients(Biquad::highpass(f, metal::kHighpassQ, sr));
    };
    const double metalTone = p.hatTone * metal::kHatToneSpan + metal::kHatToneLow;
    switch (piece) {
    case DrumPiece::kick: decay = p.kickDecay; break;
    case DrumPiece::snare:
        decay = p.snareDecay;
        bq1.setCoefficients(Biquad::highpass(snare::kNoiseHighpass, snare::kNoiseQ, sr));
        break;
    case DrumPiece::clap:
        decay = p.clapDecay;
        bq1.setCoefficients(Biquad::bandpass(clap::kBand, clap::kBandQ, sr));
        break;
    case DrumPiece::rim:
        decay = rim::kDecay;
        bq1.setCoefficients(Biquad::bandpass(rim::kBand, rim::kBandQ, sr));
        break;
    case DrumPiece::closedHat: decay = metal::kClosedDecay.at(p.hatDecay); metalFilters(metalTone); break;
    case DrumPiece::pedalHat: decay = metal::kPedalDecay.at(p.hatDecay); metalFilters(metalTone); break;
    case DrumPiece::openHat: decay = metal::kOpenDecay.at(p.hatDecay); metalFilters(metalTone); break;
    case DrumPiece::tomLow:
    case DrumPiece::tomMid:
    case DrumPiece::tomHigh: decay = p.tomDecay; break;
    case DrumPiece::crash: decay = p.cymbalDecay; metalFilters(metalTone); break;
    case DrumPiece::ride:
        decay = p.cymbalDecay * metal::kRideDecay;
        metalFilters(p.hatTone * metal::kRideToneSpan + metal::kRideToneLow);
        break;
    case DrumPiece::cowbell:
        decay = cowbell::kDecay;
        bq1.setCoefficients(Biquad::bandpass(cowbell::kBand, cowbell::kBandQ, sr));
        break;
    }
    length = framesOf(decay * kLengthPerDecay * sr) + framesOf(sr * kLengthMargin);
}

bool DrumGen::render(int n, const DrumParams& p, double sr, float* outL, float* outR) {
    if (done) {
        std::fill_n(outL, n, 0.0f);
        std::fill_n(outR, n, 0.0f);
        return false;
    }
    const Hit hit{p, sr, kLn1000 / std::max(decay, kShortestDecay), SineTable::ptr()};
    const double pre = p.drive * kDriveSpan + 1.0; // never below 1: the saturation is always on
    const double comp = 1.0 / std::tanh(pre);
    const bool chokeNow = choking; // read once: a choke takes effect from the next block

    // The per-piece loop keeps the switch out of the frames.
    auto frames = [&](auto&& curve) {
        for (int i = 0; i < n; ++i) {
            const double s = curve(static_cast<double>(t) / sr);
            if (chokeNow) choke = choke * kChokeFactor;
            const double out = choke * (velocity * (comp * std::tanh(pre * s)));
            outL[i] = static_cast<float>(out);
            outR[i] = static_cast<float>(out);
            t += 1;
        }
    };

    switch (piece) {
    case DrumPiece::kick: frames([&](double T) { return kickAt(*this, hit, T); }); break;
    case DrumPiece::snare: frames([&](double T) { return snareAt(*this, hit, T); }); break;
    case DrumPiece::clap: frames([&](double T) { return clapAt(*this, hit, T); }); break;
    case DrumPiece::rim: frames([&](double T) { return rimAt(*this, hit, T); }); break;
    case DrumPiece::tomLow:
    case DrumPiece::tomMid:
    case DrumPiece::tomHigh: {
        const double base = tom::kBase[static_cast<int>(piece) - static_cast<int>(DrumPiece::tomLow)];
        frames([&](double T) { return tomAt(*this, hit, base, T); });
        break;
    }
    case DrumPiece::closedHat:
    case DrumPiece::pedalHat:
    case DrumPiece::openHat:
    case DrumPiece::crash:
    case DrumPiece::ride: {
        const MetalMix mix = metalMixOf(piece, p.hatTone);
        frames([&](double T) { return metalAt(*this, hit, mix, T); });
        break;
    }
    case DrumPiece::cowbell: frames([&](double T) { return cowbellAt(*this, hit, T); }); break;
    }

    if (t >= length || choke < kChokeEnd) {
        done = true;
        return false;
    }
    return true;
}

} // namespace velmo
