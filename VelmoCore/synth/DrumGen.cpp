#include "synth/DrumGen.h"

#include "dsp/SineTable.h"

#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr double kLn1000 = 6.907755;
constexpr double kChokeFactor = 0.996; // per sample once choked: about 36 ms to the end at 48 kHz
constexpr double kChokeEnd = 0.001;

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
    velocity = noteVelocity * 0.75 + 0.25;
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
        bq1.setCoefficients(Biquad::bandpass(f + 1500.0, 0.8, sr));
        bq2.setCoefficients(Biquad::highpass(f, 0.7, sr));
    };
    const double metalTone = p.hatTone * 3500.0 + 6500.0;
    switch (piece) {
    case DrumPiece::kick: decay = p.kickDecay; break;
    case DrumPiece::snare:
        decay = p.snareDecay;
        bq1.setCoefficients(Biquad::highpass(1200.0, 0.7, sr));
        break;
    case DrumPiece::clap:
        decay = p.clapDecay;
        bq1.setCoefficients(Biquad::bandpass(1150.0, 1.8, sr));
        break;
    case DrumPiece::rim:
        decay = 0.05;
        bq1.setCoefficients(Biquad::bandpass(3200.0, 2.0, sr));
        break;
    case DrumPiece::closedHat: decay = p.hatDecay * 0.12 + 0.035; metalFilters(metalTone); break;
    case DrumPiece::pedalHat: decay = p.hatDecay * 0.05 + 0.03; metalFilters(metalTone); break;
    case DrumPiece::openHat: decay = p.hatDecay * 0.9 + 0.15; metalFilters(metalTone); break;
    case DrumPiece::tomLow:
    case DrumPiece::tomMid:
    case DrumPiece::tomHigh: decay = p.tomDecay; break;
    case DrumPiece::crash: decay = p.cymbalDecay; metalFilters(metalTone); break;
    case DrumPiece::ride: decay = p.cymbalDecay * 0.9; metalFilters(p.hatTone * 2000.0 + 5000.0); break;
    case DrumPiece::cowbell:
        decay = 0.35;
        bq1.setCoefficients(Biquad::bandpass(2640.0, 3.0, sr));
        break;
    }
    // A margin over the decay: at 1.3 × decay the curve is at −78 dB.
    length = framesOf(decay * 1.3 * sr) + framesOf(sr * 0.01);
}

bool DrumGen::render(int n, const DrumParams& p, double sr, float* outL, float* outR) {
    if (done) {
        std::fill_n(outL, n, 0.0f);
        std::fill_n(outR, n, 0.0f);
        return false;
    }
    const double k = kLn1000 / std::max(decay, 0.005);
    const double pre = p.drive * 4.0 + 1.0; // never below 1: the saturation is always on
    const double comp = 1.0 / std::tanh(pre);
    const bool chokeNow = choking; // read once: a choke takes effect from the next block
    const float* sine = SineTable::ptr();
    auto sin1 = [&](double x) { return static_cast<double>(SineTable::lookup(sine, x)); };

    // Each piece's curve is a closed form of the time T since the hit, so it keeps no state but
    // the oscillator phases and the filters. The per-piece loop keeps the switch out of the frames.
    auto frames = [&](auto&& voice) {
        for (int i = 0; i < n; ++i) {
            const double T = static_cast<double>(t) / sr;
            const double s = voice(T);
            if (chokeNow) choke = choke * kChokeFactor;
            const double out = choke * (velocity * (comp * std::tanh(pre * s)));
            outL[i] = static_cast<float>(out);
            outR[i] = static_cast<float>(out);
            t += 1;
        }
    };
    auto metalSum = [&](double scale) {
        double sum = 0.0;
        for (std::size_t i = 0; i < metal.size(); ++i) {
            double m = metal[i] + scale * kMetalPartials[i] / sr;
            if (m >= 1.0) m -= 1.0;
            metal[i] = m;
            sum += m < 0.5 ? 1.0 : -1.0; // plain squares, not band-limited
        }
        return sum;
    };

    switch (piece) {
    case DrumPiece::kick:
        frames([&](double T) {
            const double f = p.kickTune * (1.0 + p.kickPunch * 7.0 * std::exp(T / -0.03));
            phase += f / sr;
            const double body = sin1(phase) * std::exp(-k * T);
            const double click = p.kickClick * rng.bipolar() * std::exp(T / -0.0015) * 0.6;
            return body + click;
        });
        break;
    case DrumPiece::snare:
        frames([&](double T) {
            const double f = p.snareTune * (1.0 + 0.4 * std::exp(T / -0.01));
            phase += f / sr;
            phase2 += f * 1.62 / sr;
            const double tone = (sin1(phase) * 0.65 + sin1(phase2) * 0.35) * std::exp(T * -6.9 / 0.12);
            const double hiss = bq1.process(rng.bipolar()) * std::exp(-k * T);
            return tone * (1.0 - p.snareSnappy * 0.55) + p.snareSnappy * hiss * 1.4;
        });
        break;
    case DrumPiece::clap:
        frames([&](double T) {
            const double y = bq1.process(rng.bipolar());
            // Three quick bursts, then the tail.
            const double e = T < 0.03 ? std::exp(std::fmod(T, 0.0105) / -0.0025) : std::exp(-(T - 0.03) * k);
            return y * e * 2.2;
        });
        break;
    case DrumPiece::rim:
        frames([&](double T) {
            phase += 1700.0 / sr;
            const double a = sin1(phase) * std::exp(T / -0.006) * 0.8;
            const double b = bq1.process(rng.bipolar()) * std::exp(T / -0.004) * 1.5;
            return a + b;
        });
        break;
    case DrumPiece::tomLow:
    case DrumPiece::tomMid:
    case DrumPiece::tomHigh: {
        const double base = piece == DrumPiece::tomLow ? 95.0 : piece == DrumPiece::tomMid ? 135.0 : 185.0;
        frames([&](double T) {
            const double f = base * p.tomTune * (1.0 + 0.6 * std::exp(T / -0.04)); // tomTune is a factor
            phase += f / sr;
            const double body = sin1(phase) * std::exp(-k * T);
            return body + rng.bipolar() * 0.08 * std::exp(T / -0.01);
        });
        break;
    }
    case DrumPiece::closedHat:
    case DrumPiece::pedalHat:
    case DrumPiece::openHat:
    case DrumPiece::crash:
    case DrumPiece::ride: {
        const bool cymbal = piece == DrumPiece::crash || piece == DrumPiece::ride;
        const double scale = cymbal ? 1.25 : p.hatTone * 0.4 + 0.85;
        const double mix = piece == DrumPiece::crash ? 0.6 : piece == DrumPiece::ride ? 0.15 : 0.35;
        const bool crash = piece == DrumPiece::crash;
        frames([&](double T) {
            const double sum = metalSum(scale);
            const double noise = rng.bipolar();
            double env = std::exp(-k * T);
            if (crash) env *= 1.0 - std::exp(T / -0.001); // rises over the first millisecond
            const double x = (1.0 - mix) * (sum / 6.0) + mix * noise;
            return env * bq2.process(bq1.process(x)) * 1.6;
        });
        break;
    }
    case DrumPiece::cowbell:
        frames([&](double T) {
            phase += 540.0 / sr;
            phase2 += 800.0 / sr;
            const double q = ((phase - std::floor(phase)) < 0.5 ? 1.0 : -1.0) + ((phase2 - std::floor(phase2)) < 0.5 ? 1.0 : -1.0);
            const double y = bq1.process(q * 0.5);
            const double e = T < 0.02 ? std::exp(T / -0.012) * 0.6 + 0.4 : std::exp(-(T - 0.02) * k) * 0.4;
            return e * y * 2.5;
        });
        break;
    }

    if (t >= length || choke < kChokeEnd) {
        done = true;
        return false;
    }
    return true;
}

} // namespace velmo
