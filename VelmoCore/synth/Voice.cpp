#include "synth/Voice.h"

#include "base/Precondition.h"
#include "synth/WavetableBank.h"

#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr double kFreshLevel = 0.001; // an envelope under this is silent enough to restart oscillators
constexpr double kMinGlide = 0.0005;  // seconds; at or under it the pitch jumps
constexpr double kMinDrive = 0.001;   // drive at or under it is off (strictly above turns it on)

double noteFrequency(double midiPitch) { return 440.0 * std::exp2((midiPitch - 69.0) / 12.0); }

double lfoRate(const LFOParams& p, double tempo, double rateMod) {
    // A synced cycle lasts `beats` beats, and never less than a sixteenth of a beat.
    double base = p.sync ? (tempo / 60.0) / std::max(p.beats, 0.0625) : p.rate;
    return base * std::exp2(rateMod * 4.0);
}

// The drive and filter over a block, type and drive fixed for the loop. Per frame the left
// channel goes first, then the right; the two state chains are independent, so running them in
// one loop lets the processor overlap them.
template <FilterType T, bool Drive>
void filterFrames(FilterState& left, FilterState& right, float* bufL, float* bufR, int n, const FilterCoefs& c,
                  double pre, double comp) {
    for (int i = 0; i < n; ++i) {
        double xl = bufL[i];
        double xr = bufR[i];
        if constexpr (Drive) {
            xl = comp * std::tanh(pre * xl);
            xr = comp * std::tanh(pre * xr);
        }
        bufL[i] = static_cast<float>(left.processAs<T>(xl, c));
        bufR[i] = static_cast<float>(right.processAs<T>(xr, c));
    }
}

template <FilterType T>
void filterStereo(FilterState& left, FilterState& right, float* bufL, float* bufR, int n, const FilterCoefs& c,
                  bool drive, double pre, double comp) {
    if (drive)
        filterFrames<T, true>(left, right, bufL, bufR, n, c, pre, comp);
    else
        filterFrames<T, false>(left, right, bufL, bufR, n, c, pre, comp);
}

} // namespace

Voice::Voice() { WavetableBank::prepare(); }

void Voice::start(int notePitch, double noteVelocity, std::int64_t noteTag, std::uint64_t order,
                  const SynthPatch& patch, double sampleRate) {
    const bool wasActive = active;
    pending_ = false;
    fadeLeft_ = 0;
    pitch = notePitch;
    velocity = noteVelocity;
    tag = noteTag;
    startOrder = order;
    targetPitch = static_cast<double>(notePitch);
    // A voice that was sounding (also a stolen one) glides in from where it was.
    if (!wasActive || patch.voice.glide <= 0.0) curPitch = targetPitch;
    active = true;
    released = false;
    randomValue = rng.bipolar();
    // A free-running LFO keeps its phase from the last note: it only advances while active.
    if (patch.lfo1.retrigger) lfo1.phase = 0.0;
    if (patch.lfo2.retrigger) lfo2.phase = 0.0;
    ampEnv.configure(patch.ampEnv, sampleRate);
    modEnv.configure(patch.modEnv, sampleRate);
    // A voice stolen while it sounds keeps its filter state, so the steal does not click.
    if (ampEnv.stage == ADSR::Stage::idle) {
        filterL.reset();
        filterR.reset();
    }
    ampEnv.trigger();
    modEnv.trigger();

    // A voice that takes a new note while still audible keeps its oscillator phases.
    const bool fresh = ampEnv.value < kFreshLevel;
    // A note from silence (and every drum hit) takes its level at once; a note taken over while
    // heard glides from the level it had.
    if (fresh || patch.engine == EngineKind::drums) level_.restart();
    const double freq = noteFrequency(targetPitch);
    switch (patch.engine) {
    case EngineKind::analog:
        if (fresh) analog.start();
        break;
    case EngineKind::wavetable:
        if (fresh) wavetable.start();
        break;
    case EngineKind::fm:
        fm.start(velocity, patch.fm, sampleRate, fresh); // always, keeping phases unless fresh
        break;
    case EngineKind::additive:
        if (fresh) additive.start();
        break;
    // Struck engines always start from scratch, even on a sounding voice.
    case EngineKind::pluck: pluck.start(freq, velocity, patch.pluck, sampleRate); break;
    case EngineKind::modal: modal.start(freq, velocity, patch.modal, sampleRate); break;
    case EngineKind::drums: drum.start(pitch, velocity, patch.drums, sampleRate); break;
    }
}

void Voice::steal(int notePitch, double noteVelocity, std::int64_t noteTag, std::uint64_t order,
                  const SynthPatch& patch, double sampleRate) {
    const bool heard = active && (patch.engine == EngineKind::drums ? !drum.done : ampEnv.value >= kFreshLevel);
    if (!heard) {
        start(notePitch, noteVelocity, noteTag, order, patch, sampleRate);
        return;
    }
    if (!pending_) { // a voice already fading goes on fading; only the waiting note changes
        fadeVelocity_ = velocity;
        fadePitch_ = pitch;
        fadeFrames_ = std::max(1, static_cast<int>(std::lround(kStealFadeSeconds * sampleRate)));
        fadeLeft_ = fadeFrames_;
        pending_ = true;
    }
    pitch = notePitch;
    velocity = noteVelocity;
    tag = noteTag;
    startOrder = order;
    released = false;
}

void Voice::startPending(const SynthPatch& patch, double sr) {
    const bool releasedWhileFading = released;
    // The stolen sound is gone, so the note starts from silence as on a free voice: envelopes,
    // operators, oscillators and filter from zero. Only the pitch glides on from where it was.
    ampEnv.silence();
    modEnv.silence();
    for (ADSR& e : fm.env) e.silence();
    start(pitch, velocity, tag, startOrder, patch, sr);
    if (releasedWhileFading) release(patch.engine);
}

void Voice::release(EngineKind engine) {
    if (!active || released) return;
    released = true;
    if (engine == EngineKind::drums) return; // a hit has no release: it plays to its end
    ampEnv.startRelease();
    modEnv.startRelease();
    fm.release(); // whatever the engine: an FM note's operators must not hang on a later switch
}

void Voice::hardStop() {
    active = false;
    released = true;
    ampEnv.silence();
    modEnv.silence();
    drum.done = true;
    pending_ = false;
    fadeLeft_ = 0;
    level_.restart();
}

void Voice::clear() {
    hardStop();
    curPitch = targetPitch = pitch;
    for (LFO* lfo : {&lfo1, &lfo2}) {
        lfo->phase = 0.0;
        lfo->held = 0.0;
    }
    prevMods = {};
    filterL.reset();
    filterR.reset();
    fm.clear();
    level_.left.jumpTo(0.0);
    level_.right.jumpTo(0.0);
}

ModValues Voice::modulation(const SynthPatch& patch, Heard note, double lfo1Value, double lfo2Value,
                            double modEnvValue) const {
    ModValues m;
    const double keytrack = (note.pitch - 60) / 48.0; // 0 at C4, 1 at note 108, -1 at note 12
    for (const ModSlot& slot : patch.mod) {
        if (slot.source == ModSource::none || slot.destination == ModDestination::none || slot.amount == 0.0)
            continue;
        double source = 0.0;
        switch (slot.source) {
        case ModSource::none: break;
        case ModSource::lfo1: source = lfo1Value; break;
        case ModSource::lfo2: source = lfo2Value; break;
        case ModSource::modEnv: source = modEnvValue; break;
        case ModSource::ampEnv: source = ampEnv.value; break; // as it stands after this block's ticks
        case ModSource::velocity: source = note.velocity; break;
        case ModSource::keytrack: source = keytrack; break;
        case ModSource::random: source = randomValue; break;
        }
        const double v = slot.amount * source;
        switch (slot.destination) {
        case ModDestination::none: break;
        case ModDestination::pitch: m.pitch += v * 12.0; break;   // semitones
        case ModDestination::cutoff: m.cutoff += v * 8.0; break;  // octaves
        case ModDestination::resonance: m.resonance += v; break;
        case ModDestination::volume: m.volume += v; break;
        case ModDestination::pan: m.pan += v; break;
        case ModDestination::pulseWidth: m.pulseWidth += v; break;
        case ModDestination::wavetablePosition: m.wtPosition += v; break;
        case ModDestination::fmAmount: m.fmAmount += v; break;
        case ModDestination::osc2Pitch: m.osc2Pitch += v; break;
        case ModDestination::noise: m.noise += v; break;
        case ModDestination::lfo1Rate: m.lfo1Rate += v; break;
        case ModDestination::lfo2Rate: m.lfo2Rate += v; break;
        }
    }
    return m;
}

void Voice::filter(const FilterParams& f, const ModValues& m, double noteVelocity, double modEnvValue, double sr,
                   int n) {
    // Key tracking follows the glided pitch and leaves out pitch modulation; envAmount and
    // velocity are in octaves.
    const double octaves =
        m.cutoff + (f.velocity * noteVelocity + (modEnvValue * f.envAmount + f.keyTrack * (curPitch - 60.0) / 12.0));
    const double cutoff = f.cutoff * std::exp2(octaves);
    const double resonance = f.resonance + m.resonance;
    const FilterCoefs c = FilterState::coefs(f.type, cutoff, resonance, sr);
    const double pre = f.drive * 8.0 + 1.0;
    const bool drive = f.drive > kMinDrive;
    const double comp = drive ? 1.0 / std::tanh(pre) : 1.0; // full scale in, full scale out, at any drive
    float* l = bufL.data();
    float* r = bufR.data();
    switch (f.type) {
    case FilterType::off: break;
    case FilterType::lowpass12: filterStereo<FilterType::lowpass12>(filterL, filterR, l, r, n, c, drive, pre, comp); break;
    case FilterType::lowpass24: filterStereo<FilterType::lowpass24>(filterL, filterR, l, r, n, c, drive, pre, comp); break;
    case FilterType::ladder: filterStereo<FilterType::ladder>(filterL, filterR, l, r, n, c, drive, pre, comp); break;
    case FilterType::highpass12: filterStereo<FilterType::highpass12>(filterL, filterR, l, r, n, c, drive, pre, comp); break;
    case FilterType::bandpass: filterStereo<FilterType::bandpass>(filterL, filterR, l, r, n, c, drive, pre, comp); break;
    case FilterType::notch: filterStereo<FilterType::notch>(filterL, filterR, l, r, n, c, drive, pre, comp); break;
    }
}

void Voice::glide(double seconds, int n, double sr) {
    // Exponential, time constant 0.35 × glide seconds, stepped per block.
    if (seconds > kMinGlide)
        curPitch = targetPitch + (curPitch - targetPitch) * std::exp(n / (sr * (seconds * -0.35)));
    else
        curPitch = targetPitch;
}

void Voice::amplitudeEnvelope(const SynthPatch& patch, int n, double sr) {
    if (patch.engine == EngineKind::drums) {
        std::fill_n(ampBuf.begin(), n, 1.0); // a drum shapes its own decay; ampEnv stands still
    } else {
        ampEnv.configure(patch.ampEnv, sr);
        ampEnv.tickInto(ampBuf.data(), n);
    }
    if (!pending_) return;
    // A straight fade of the stolen sound to silence, then silence until the block ends.
    for (int i = 0; i < n; ++i) {
        ampBuf[i] *= static_cast<double>(fadeLeft_) / fadeFrames_;
        if (fadeLeft_ > 0) --fadeLeft_;
    }
}

bool Voice::runGenerator(const SynthPatch& patch, const ModValues& m, int n, double sr) {
    const double freq = noteFrequency(curPitch + m.pitch);
    float* l = bufL.data();
    float* r = bufR.data();
    switch (patch.engine) {
    case EngineKind::analog: analog.render(n, freq, m, patch.analog, sr, l, r); break;
    case EngineKind::wavetable: wavetable.render(n, freq, m, patch.wavetable, sr, l, r); break;
    case EngineKind::fm: fm.render(n, freq, m, patch.fm, sr, l, r); break;
    case EngineKind::additive: additive.render(n, freq, m, patch.additive, sr, l, r); break;
    case EngineKind::pluck: pluck.render(n, freq, patch.pluck, sr, l, r); break;
    case EngineKind::modal: modal.render(n, freq, sr, l, r); break;
    case EngineKind::drums: return drum.render(n, patch.drums, sr, l, r); // false once the hit has ended
    }
    return true;
}

void Voice::mixOut(const VoiceParams& vp, const ModValues& m, double noteVelocity, int n, double sr, float* outL,
                   float* outR) {
    // Level and pan: velocity sensitivity, the volume offset (never below silence) and a linear
    // balance with no centre dip. The voice has no pan of its own; only modulation moves it.
    double g = vp.level * ((1.0 - vp.velocitySens) + vp.velocitySens * noteVelocity);
    const double v = 1.0 + m.volume;
    g = v >= 0.0 ? v * g : 0.0;
    double left, right;
    const double p = m.pan;
    if (p < -1.0) {
        left = g;
        right = 0.0;
    } else if (p > 1.0) {
        left = 0.0;
        right = g;
    } else {
        left = g * std::min(1.0 - p, 1.0);
        right = g * std::min(1.0 + p, 1.0);
    }
    // A level, volume or pan that moves glides there, so neither an edit nor a modulation steps
    // once per block; a fresh note takes its level at once.
    level_.glideTo(left, right, static_cast<int>(kLevelGlideSeconds * sr));
    if (level_.moving()) {
        for (int i = 0; i < n; ++i) {
            const double gl = level_.left.next(), gr = level_.right.next();
            outL[i] += bufL[i] * static_cast<float>(gl * ampBuf[i]);
            outR[i] += bufR[i] * static_cast<float>(gr * ampBuf[i]);
        }
        return;
    }
    left = level_.left.value;
    right = level_.right.value;
    for (int i = 0; i < n; ++i) {
        outL[i] += bufL[i] * static_cast<float>(left * ampBuf[i]);
        outR[i] += bufR[i] * static_cast<float>(right * ampBuf[i]);
    }
}

void Voice::render(int n, const SynthPatch& patch, const RenderContext& ctx, float* outL, float* outR) {
    if (!active) return;
    // A caller's fault, never an input's: the engine cuts every call into blocks of at most 32.
    VELMO_PRECONDITION(n >= 0 && n <= kBlockFrames, "Voice::render");
    const double sr = ctx.sampleRate;
    const Heard note = heard();
    glide(patch.voice.glide, n, sr);

    // LFOs, rate-modulated one block late from prevMods; lfo1 first.
    const double lfo1Value = lfo1.tick(patch.lfo1.shape, lfoRate(patch.lfo1, ctx.tempo, prevMods.lfo1Rate), n, sr);
    const double lfo2Value = lfo2.tick(patch.lfo2.shape, lfoRate(patch.lfo2, ctx.tempo, prevMods.lfo2Rate), n, sr);

    // The modulation envelope runs at sample rate and is read at block rate.
    modEnv.configure(patch.modEnv, sr);
    const double modEnvValue = modEnv.tickTimes(n);
    amplitudeEnvelope(patch, n, sr);

    const ModValues m = modulation(patch, note, lfo1Value, lfo2Value, modEnvValue);
    prevMods = m;
    const bool hitAlive = runGenerator(patch, m, n, sr);
    if (patch.filter.type != FilterType::off) filter(patch.filter, m, note.velocity, modEnvValue, sr, n);
    mixOut(patch.voice, m, note.velocity, n, sr, outL, outR);

    // The end of a voice is the end of its amplitude envelope (or of a drum's hit); a generator
    // that still rings is cut there. A stolen sound that has faded, or ended, gives way to the
    // waiting note.
    const bool ended = patch.engine == EngineKind::drums ? !hitAlive : ampEnv.stage == ADSR::Stage::idle;
    if (pending_) {
        if (fadeLeft_ == 0 || ended) startPending(patch, sr);
    } else if (ended) {
        active = false;
    }
}

} // namespace velmo
