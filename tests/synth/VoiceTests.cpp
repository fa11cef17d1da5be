// One voice end to end: a note from start to idle, the gain and filter tracking of key and
// velocity, unison sides, every modulation source and destination, glide and drive.
#include "support/SignalMeasure.h"

#include "synth/Voice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace velmo;
using namespace velmo::test;
using Stage = ADSR::Stage;

namespace {

const RenderContext kCtx{kSr, 120.0};

Stereo play(Voice& voice, const SynthPatch& patch, int frames) {
    return renderStereo(frames, [&](int n, float* l, float* r) { voice.render(n, patch, kCtx, l, r); });
}

// A fresh voice playing `pitch`, `frames` frames into the note.
Voice started(const SynthPatch& patch, int pitch, int frames = 0, double velocity = 1.0) {
    Voice v;
    v.start(pitch, velocity, 1, 1, patch, kSr);
    play(v, patch, frames);
    return v;
}

// `frames` frames of a note from 100 ms in, when any attack has settled.
Stereo steady(const SynthPatch& patch, int pitch, int frames = 48000, double velocity = 1.0) {
    Voice v = started(patch, pitch, 4800, velocity);
    return play(v, patch, frames);
}

double steadyAmplitude(const SynthPatch& patch, int pitch, double freq, double velocity = 1.0) {
    return amplitudeAt(steady(patch, pitch, 48000, velocity).left, freq, kSr);
}

// One sine at unit level, no filter, an instant organ envelope and no velocity sensitivity:
// the output is the oscillator itself, so each test changes the one thing it looks at.
SynthPatch sinePatch() {
    SynthPatch p;
    p.analog.osc1.wave = OscWave::sine;
    p.analog.osc2.level = 0.0;
    p.filter.type = FilterType::off;
    p.filter.keyTrack = 0.0;
    p.ampEnv = EnvelopeParams{0.0, 0.0, 1.0, 0.3};
    p.voice.level = 1.0;
    p.voice.velocitySens = 0.0;
    return p;
}

ModSlot slot(ModSource s, ModDestination d, double amount) { return ModSlot{s, d, amount}; }

} // namespace

TEST(Voice, NoteStartsSustainsAndReleasesToIdle) {
    SynthPatch patch; // one saw through lowpass24
    Voice v;
    float l[32] = {}, r[32] = {};
    v.render(32, patch, kCtx, l, r);
    for (float x : l) ASSERT_EQ(x, 0.0f) << "an idle voice renders nothing";

    v.start(57, 0.9, 7, 42, patch, kSr);
    EXPECT_TRUE(v.active && !v.released);
    Stereo held = play(v, patch, 48000);
    auto rms = [&](size_t from, size_t length) { return std::sqrt(meanSquare(slice(held.left, from, length))); };
    const double early = rms(0, 96), sustain1 = rms(24000, 12000), sustain2 = rms(36000, 12000);
    EXPECT_GT(sustain1, 0.05) << "a note sounds";
    EXPECT_LT(early, sustain1 * 2.0);
    EXPECT_NEAR(sustain1, sustain2, 0.02 * sustain1) << "steady in sustain";

    v.release(patch.engine);
    v.release(patch.engine); // a second note-off changes nothing
    EXPECT_TRUE(v.released);
    EXPECT_EQ(v.modEnv.stage, Stage::release);
    // 0.3 s to -60 dB, from the sustain level of 0.8 down to the 1e-5 floor.
    const double expectedFrames = 0.3 * kSr * std::log(0.8 / 0.00001) / std::log(1000.0);
    int frames = 0;
    for (; v.active && frames < 200000; frames += 32) v.render(32, patch, kCtx, l, r);
    EXPECT_FALSE(v.active);
    EXPECT_NEAR(frames, expectedFrames, 40.0);
}

// Every pitched engine with its default sound, filter open, is within a cent of equal
// temperament from C1 to C7, measured by the phase advance of the fundamental.
TEST(Voice, EveryPitchedEngineIsInTuneFromC1ToC7) {
    for (EngineKind engine : allCases<EngineKind>()) {
        if (engine == EngineKind::drums) continue;
        SynthPatch p;
        p.engine = engine;
        p.filter.type = FilterType::off;
        for (int note = 24; note <= 96; note += 36) {
            const double f = hz(note);
            const size_t period = static_cast<size_t>(kSr / f);
            const std::vector<double> out = steady(p, note, static_cast<int>(period * 33)).left;
            EXPECT_NEAR(cents(frequencyNear(out, f, kSr, 0, period * 16, period * 16), f), 0.0, 1.0)
                << toString(engine) << " at note " << note;
        }
    }
}

// Seven unison copies make the two sides differ: the voice must keep them apart.
TEST(Voice, OutputIsGeneratorTimesEnvelopeTimesVelocityGain) {
    SynthPatch patch;
    patch.analog.unison = 7.0;
    patch.filter.type = FilterType::off;
    patch.voice.level = 0.7;
    patch.voice.velocitySens = 0.6;
    Voice v = started(patch, 64, 0, 0.5);
    AnalogGen gen = v.analog; // same phases and noise stream as the voice's own
    ADSR env;
    env.configure(patch.ampEnv, kSr);
    env.trigger();
    float l[32] = {}, r[32] = {}, gl[32], gr[32];
    v.render(32, patch, kCtx, l, r);
    gen.render(32, hz(64), ModValues{}, patch.analog, kSr, gl, gr);
    const double g = 0.7 * ((1.0 - 0.6) + 0.6 * 0.5);
    for (int i = 0; i < 32; ++i) {
        const float factor = static_cast<float>(g * env.tick());
        ASSERT_EQ(l[i], gl[i] * factor) << i;
        ASSERT_EQ(r[i], gr[i] * factor) << i;
    }
    EXPECT_FALSE(std::equal(gl, gl + 32, gr)) << "the copies spread across the sides";
}

TEST(Voice, FilterFollowsKeyVelocityAndModEnvelope) {
    struct Case { const char* what; double keyTrack, velocityOct, envAmount, velocity; int pitch; double cutoff; };
    const Case cases[] = {
        {"no tracking", 0.0, 0.0, 0.0, 1.0, 72, 1000.0},
        {"full key tracking, two octaves up", 1.0, 0.0, 0.0, 1.0, 84, 4000.0},
        {"half key tracking, one octave down", 0.5, 0.0, 0.0, 1.0, 36, 500.0},
        {"velocity: one octave at full velocity", 0.0, 1.0, 0.0, 1.0, 72, 2000.0},
        {"velocity: half an octave at half velocity", 0.0, 1.0, 0.0, 0.5, 72, 1000.0 * std::sqrt(2.0)},
        {"mod envelope held at 1, minus one octave", 0.0, 0.0, -1.0, 1.0, 72, 500.0}};
    for (const Case& c : cases) {
        SynthPatch p = sinePatch();
        p.filter.type = FilterType::lowpass12;
        p.filter.cutoff = 1000.0;
        p.filter.resonance = 0.0;
        p.filter.keyTrack = c.keyTrack;
        p.filter.velocity = c.velocityOct;
        p.filter.envAmount = c.envAmount;
        p.modEnv = EnvelopeParams{0.0, 0.0, 1.0, 0.3};
        const double f = hz(c.pitch);
        EXPECT_NEAR(steadyAmplitude(p, c.pitch, f, c.velocity), lowpass12Gain(f, c.cutoff, 0.0), 5e-3) << c.what;
    }
}

TEST(Voice, EachModulationDestinationActs) {
    // Velocity 1 is the source, so each slot's amount is the modulation itself.
    auto with = [](ModDestination d, double amount) {
        SynthPatch p = sinePatch();
        p.mod = {slot(ModSource::velocity, d, amount)};
        return p;
    };
    using D = ModDestination;
    struct Case { const char* what; SynthPatch patch; int pitch; double freq, expected, tolerance; };
    SynthPatch cutoff = with(D::cutoff, 1.0 / 8.0), resonance = with(D::resonance, 0.9), osc2 = with(D::osc2Pitch, 1.0 / 12.0);
    for (SynthPatch* p : {&cutoff, &resonance}) {
        p->filter.type = FilterType::lowpass12;
        p->filter.resonance = 0.0;
    }
    cutoff.filter.cutoff = 1000.0;
    resonance.filter.cutoff = hz(81);
    osc2.analog.osc1.level = 0.0;
    osc2.analog.osc2 = AnalogOsc{OscWave::sine, 0.0, 0.0, 0.0, 0.5, 1.0};
    for (const Case& c : std::vector<Case>{
             {"pitch: 12 semitones per unit", with(D::pitch, 1.0 / 12.0), 69, hz(70), 1.0, 5e-3},
             {"pitch leaves nothing at the old pitch", with(D::pitch, 1.0 / 12.0), 69, 440.0, 0.0, 0.02},
             {"cutoff: 8 octaves per unit", cutoff, 81, hz(81), lowpass12Gain(hz(81), 2000.0, 0.0), 5e-3},
             {"resonance: the peak at the cutoff is 1/k", resonance, 81, hz(81), 1.0 / (2.0 - 1.96 * 0.9), 0.02},
             {"volume +1 doubles", with(D::volume, 1.0), 69, 440.0, 2.0, 1e-2},
             {"volume -0.5 halves", with(D::volume, -0.5), 69, 440.0, 0.5, 5e-3},
             {"osc2Pitch: oscillator 2 only", osc2, 69, hz(70), 1.0, 5e-3}})
        EXPECT_NEAR(steadyAmplitude(c.patch, c.pitch, c.freq), c.expected, c.tolerance) << c.what;

    for (double x : steady(with(D::volume, -1.5), 69, 960).left) ASSERT_EQ(x, 0.0) << "volume at -1 or below is silence, never inverted";
    Stereo half = steady(with(D::pan, 0.5), 69);
    EXPECT_NEAR(amplitudeAt(half.left, 440.0, kSr), 0.5, 5e-3) << "pan: linear balance";
    EXPECT_NEAR(amplitudeAt(half.right, 440.0, kSr), 1.0, 5e-3);
    Stereo hardLeft = steady(with(D::pan, -3.0), 69);
    for (double x : hardLeft.right) ASSERT_EQ(x, 0.0);
    EXPECT_NEAR(amplitudeAt(hardLeft.left, 440.0, kSr), 1.0, 5e-3) << "beyond -1: full level on one side";

    SynthPatch pw = with(D::pulseWidth, 1.0);
    pw.analog.osc1.wave = OscWave::pulse;
    pw.analog.osc1.pulseWidth = 0.5;
    // The width is the fraction of samples above the midpoint between the pulse's two levels.
    const std::vector<double> pulse = steady(pw, 69).left;
    const auto [low, top] = std::minmax_element(pulse.begin(), pulse.end());
    const double mid = (*low + *top) / 2.0;
    const double high = static_cast<double>(std::count_if(pulse.begin(), pulse.end(), [&](double x) { return x > mid; }));
    EXPECT_NEAR(high / static_cast<double>(pulse.size()), 0.5 + 0.45, 5e-3) << "pulse width: 0.45 per unit";
    SynthPatch noise = with(D::noise, 0.5);
    noise.analog.osc1.level = 0.0;
    EXPECT_NEAR(std::sqrt(meanSquare(steady(noise, 69).left)), 0.5 / std::sqrt(3.0), 5e-3) << "noise: uniform white at the level";

    // The LFO rates act one block late, 4 octaves per unit; the rest are carried to the engines.
    SynthPatch p = sinePatch();
    p.mod = {slot(ModSource::velocity, D::lfo1Rate, 0.25), slot(ModSource::velocity, D::lfo2Rate, -0.25),
             slot(ModSource::velocity, D::wavetablePosition, 0.3), slot(ModSource::velocity, D::fmAmount, 0.6)};
    p.lfo1.rate = p.lfo2.rate = 3.0;
    Voice v = started(p, 69, 64);
    EXPECT_DOUBLE_EQ(v.lfo1.phase, 3.0 * 32 / kSr + 6.0 * 32 / kSr) << "lfo1Rate +0.25: one octave up";
    EXPECT_DOUBLE_EQ(v.lfo2.phase, 3.0 * 32 / kSr + 1.5 * 32 / kSr) << "lfo2Rate -0.25: one octave down";
    EXPECT_EQ(v.prevMods.wtPosition, 0.3);
    EXPECT_EQ(v.prevMods.fmAmount, 0.6);
}

TEST(Voice, ModulationSourcesAndSlotRules) {
    // Each source read through the resonance slot after one block, at note 60 or 108, velocity 0.8.
    SynthPatch p = sinePatch();
    p.lfo1 = LFOParams(LFOShape::saw, 2.0);         // -1 at the start of a retriggered cycle
    p.lfo2 = LFOParams(LFOShape::square, 2.0);      // +1 there
    p.modEnv = EnvelopeParams{0.01, 0.3, 0.5, 0.3}; // 480-sample linear attack
    using S = ModSource;
    const auto R = ModDestination::resonance;
    struct Case { const char* what; std::vector<ModSlot> slots; int pitch; double expected; };
    for (const Case& c : std::vector<Case>{{"lfo1", {slot(S::lfo1, R, 0.5)}, 60, -0.5},
                                           {"lfo2", {slot(S::lfo2, R, 0.5)}, 60, 0.5},
                                           {"modEnv at the block's last tick", {slot(S::modEnv, R, 1.0)}, 60, 32.0 / 480.0},
                                           {"velocity", {slot(S::velocity, R, 1.0)}, 60, 0.8},
                                           {"keytrack is exactly 0 at note 60", {slot(S::keytrack, R, 1.0)}, 60, 0.0},
                                           {"keytrack is 1 at note 108", {slot(S::keytrack, R, 1.0)}, 108, 1.0},
                                           {"slots add", {slot(S::velocity, R, 0.25), slot(S::lfo2, R, 0.5)}, 60, 0.7},
                                           {"source none does nothing", {slot(S::none, R, 1.0)}, 60, 0.0}}) {
        p.mod = c.slots;
        EXPECT_NEAR(started(p, c.pitch, 32, 0.8).prevMods.resonance, c.expected, 1e-12) << c.what;
    }
    for (ModSource source : {S::ampEnv, S::random}) {
        p.mod = {slot(source, R, 1.0)};
        Voice v = started(p, 60, 32, 0.8);
        EXPECT_EQ(v.prevMods.resonance, source == S::ampEnv ? v.ampEnv.value : v.randomValue) << toString(source);
    }
}

TEST(Voice, GlideFromThePreviousPitch) {
    SynthPatch p = sinePatch();
    p.voice.glide = 0.1;
    Voice v;
    v.start(60, 1.0, 1, 1, p, kSr);
    EXPECT_EQ(v.curPitch, 60.0) << "a note on an idle voice starts at its own pitch, glide or not";
    play(v, p, 64);
    v.start(72, 1.0, 2, 2, p, kSr);
    play(v, p, 32);
    EXPECT_DOUBLE_EQ(v.curPitch, 72.0 + (60.0 - 72.0) * std::exp(32.0 / (kSr * (0.1 * -0.35))));
    play(v, p, 48000);
    EXPECT_NEAR(v.curPitch, 72.0, 1e-6);
}

TEST(Voice, DriveOnlyWithAFilterAndAboveItsThreshold) {
    auto render = [](FilterType type, double drive) {
        SynthPatch p;
        p.filter.type = type;
        p.filter.drive = drive;
        globalSeed = 0x777u; // the same generator phases every time
        Voice v = started(p, 45);
        return play(v, p, 2048).left;
    };
    EXPECT_EQ(render(FilterType::off, 0.8), render(FilterType::off, 0.0)) << "filter off skips the drive";
    EXPECT_EQ(render(FilterType::ladder, 0.001), render(FilterType::ladder, 0.0)) << "0.001 is still off";
    EXPECT_NE(render(FilterType::ladder, 0.0011), render(FilterType::ladder, 0.0));
}

TEST(Voice, ZeroFramesAndAFreeRunningLFOOnRetrigger) {
    SynthPatch p = sinePatch();
    p.lfo1.retrigger = false;
    Voice v = started(p, 60, 320);
    float l[32], r[32];
    std::fill_n(l, 32, 0.25f);
    std::fill_n(r, 32, 0.25f);
    v.render(0, p, kCtx, l, r);
    for (int i = 0; i < 32; ++i) ASSERT_TRUE(l[i] == 0.25f && r[i] == 0.25f) << "n = 0 leaves the output alone";
    v.release(p.engine);
    play(v, p, 3200);
    const double lfoPhase = v.lfo1.phase;
    v.start(62, 1.0, 2, 2, p, kSr);
    EXPECT_EQ(v.lfo1.phase, lfoPhase) << "a free-running LFO keeps its phase";
    EXPECT_EQ(v.lfo2.phase, 0.0) << "a retriggered one restarts";
}
