#include "SignalMeasure.h"

#include "synth/Voice.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

using namespace velmo;
using test::amplitudeAt;
using Stage = ADSR::Stage;

namespace {

constexpr double kSr = 48000.0;
const RenderContext kCtx{kSr, 120.0};

struct Stereo {
    std::vector<double> left, right;

    Stereo tail(size_t skip) const {
        return {{left.begin() + static_cast<long>(skip), left.end()}, {right.begin() + static_cast<long>(skip), right.end()}};
    }
};

Stereo play(Voice& voice, const SynthPatch& patch, int frames, int block = 32) {
    Stereo out;
    float l[32], r[32];
    for (int done = 0; done < frames; done += block) {
        int n = std::min(block, frames - done);
        std::fill_n(l, 32, 0.0f);
        std::fill_n(r, 32, 0.0f);
        voice.render(n, patch, kCtx, l, r);
        out.left.insert(out.left.end(), l, l + n);
        out.right.insert(out.right.end(), r, r + n);
    }
    return out;
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

double hz(double midi) { return 440.0 * std::exp2((midi - 69.0) / 12.0); }

// |H| of the state-variable lowpass12 (bilinear, prewarped at the cutoff).
double lowpass12Gain(double f, double fc, double res) {
    double k = res * -1.96 + 2.0;
    double w = std::tan(std::numbers::pi * f / kSr) / std::tan(std::numbers::pi * fc / kSr);
    return 1.0 / std::abs(std::complex<double>(1.0 - w * w, k * w));
}

// The amplitude of a steady sine voice at `freq` in the left channel, after the attack has settled.
double steadyAmplitude(const SynthPatch& patch, int pitch, double freq, double velocity = 1.0) {
    Voice v;
    v.start(pitch, velocity, 1, 1, patch, kSr);
    Stereo out = play(v, patch, 4800 + 48000).tail(4800);
    return amplitudeAt(out.left, freq, kSr);
}

ModSlot slot(ModSource s, ModDestination d, double amount) { return ModSlot{s, d, amount}; }

} // namespace

TEST(Voice, GeneratorsDrawTheirSeedsInAFixedOrder) {
    globalSeed = 0x12345678u;
    std::vector<uint32_t> steps;
    uint32_t s = 0x12345678u;
    for (int i = 0; i < 8; ++i) {
        s = s * 1664525u + 1013904223u;
        steps.push_back(s | 1u);
    }
    Voice v;
    EXPECT_EQ(v.lfo1.rng.state, steps[0]);
    EXPECT_EQ(v.lfo2.rng.state, steps[1]);
    EXPECT_EQ(v.analog.rng.state, steps[2]);
    EXPECT_EQ(v.rng.state, steps[7]) << "wavetable, pluck, modal and drum seeds come between";
    EXPECT_EQ(globalSeed.load(), s);
}

TEST(Voice, NoteStartsSustainsAndReleasesToIdle) {
    SynthPatch patch; // one saw through lowpass24
    Voice v;
    float l[32] = {}, r[32] = {};
    v.render(32, patch, kCtx, l, r);
    for (float x : l) ASSERT_EQ(x, 0.0f) << "an idle voice renders nothing";

    v.start(57, 0.9, 7, 42, patch, kSr);
    EXPECT_TRUE(v.active);
    EXPECT_FALSE(v.released);
    EXPECT_EQ(v.pitch, 57);
    EXPECT_EQ(v.tag, 7);
    EXPECT_EQ(v.startOrder, 42u);
    EXPECT_EQ(v.ampEnv.stage, Stage::attack);

    Stereo held = play(v, patch, 48000);
    auto rms = [](const std::vector<double>& x, size_t from, size_t to) {
        double sum = 0.0;
        for (size_t i = from; i < to; ++i) sum += x[i] * x[i];
        return std::sqrt(sum / static_cast<double>(to - from));
    };
    double early = rms(held.left, 0, 96), sustain1 = rms(held.left, 24000, 36000), sustain2 = rms(held.left, 36000, 48000);
    EXPECT_GT(sustain1, 0.05) << "a note sounds";
    EXPECT_LT(early, sustain1 * 2.0);
    EXPECT_NEAR(sustain1, sustain2, 0.02 * sustain1) << "steady in sustain";
    EXPECT_EQ(v.ampEnv.stage, Stage::sustain);

    v.release(patch.engine);
    EXPECT_TRUE(v.released);
    EXPECT_EQ(v.ampEnv.stage, Stage::release);
    EXPECT_EQ(v.modEnv.stage, Stage::release);
    v.release(patch.engine); // a second note-off changes nothing
    // 0.3 s to -60 dB, from the sustain level of 0.8 down to the 1e-5 floor.
    const double expectedFrames = 0.3 * kSr * std::log(0.8 / 0.00001) / std::log(1000.0);
    int frames = 0;
    while (v.active && frames < 200000) {
        std::fill_n(l, 32, 0.0f);
        v.render(32, patch, kCtx, l, r);
        frames += 32;
    }
    EXPECT_FALSE(v.active);
    EXPECT_EQ(v.ampEnv.stage, Stage::idle);
    EXPECT_NEAR(frames, expectedFrames, 40.0);
}

TEST(Voice, OutputIsGeneratorTimesEnvelopeTimesVelocityGain) {
    SynthPatch patch;
    patch.filter.type = FilterType::off;
    patch.voice.level = 0.7;
    patch.voice.velocitySens = 0.6;
    Voice v;
    v.start(64, 0.5, 1, 1, patch, kSr);
    AnalogGen gen = v.analog; // same phases and noise stream as the voice's own
    ADSR env;
    env.configure(patch.ampEnv, kSr);
    env.trigger();

    float l[32] = {}, r[32] = {}, gl[32], gr[32];
    v.render(32, patch, kCtx, l, r);
    gen.render(32, hz(64), ModValues{}, patch.analog, kSr, gl, gr);
    const double g = 0.7 * ((1.0 - 0.6) + 0.6 * 0.5);
    for (int i = 0; i < 32; ++i) {
        float factor = static_cast<float>(g * env.tick());
        ASSERT_EQ(l[i], gl[i] * factor) << i;
        ASSERT_EQ(r[i], gr[i] * factor) << i;
    }
}

TEST(Voice, FilterFollowsKeyVelocityAndModEnvelope) {
    SynthPatch patch = sinePatch();
    patch.filter.type = FilterType::lowpass12;
    patch.filter.cutoff = 1000.0;
    patch.filter.resonance = 0.0;

    struct Case {
        const char* what;
        double keyTrack, velocityOct, envAmount, velocity;
        int pitch;
        double cutoff;
    };
    const Case cases[] = {
        {"no tracking", 0.0, 0.0, 0.0, 1.0, 72, 1000.0},
        {"full key tracking, two octaves up", 1.0, 0.0, 0.0, 1.0, 84, 4000.0},
        {"half key tracking, one octave down", 0.5, 0.0, 0.0, 1.0, 36, 500.0},
        {"velocity: one octave at full velocity", 0.0, 1.0, 0.0, 1.0, 72, 2000.0},
        {"velocity: half an octave at half velocity", 0.0, 1.0, 0.0, 0.5, 72, 1000.0 * std::sqrt(2.0)},
        {"mod envelope held at 1, minus one octave", 0.0, 0.0, -1.0, 1.0, 72, 500.0},
    };
    for (const Case& c : cases) {
        SynthPatch p = patch;
        p.filter.keyTrack = c.keyTrack;
        p.filter.velocity = c.velocityOct;
        p.filter.envAmount = c.envAmount;
        p.modEnv = EnvelopeParams{0.0, 0.0, 1.0, 0.3};
        double f = hz(c.pitch);
        EXPECT_NEAR(steadyAmplitude(p, c.pitch, f, c.velocity), lowpass12Gain(f, c.cutoff, 0.0), 5e-3) << c.what;
    }
}

TEST(Voice, VelocityLevelAndUnisonSpread) {
    SynthPatch patch = sinePatch();
    patch.voice.level = 0.5;
    patch.voice.velocitySens = 1.0;
    EXPECT_NEAR(steadyAmplitude(patch, 69, 440.0, 0.25), 0.125, 2e-3);
    patch.voice.velocitySens = 0.0;
    EXPECT_NEAR(steadyAmplitude(patch, 69, 440.0, 0.25), 0.5, 2e-3);

    // A spread stack is wide: the two sides differ; a single copy is centred and identical.
    SynthPatch saw;
    auto sides = [&](double unison) {
        saw.analog.unison = unison;
        Voice v;
        v.start(48, 1.0, 1, 1, saw, kSr);
        return play(v, saw, 4800);
    };
    Stereo mono = sides(1.0);
    EXPECT_EQ(mono.left, mono.right);
    Stereo wide = sides(7.0);
    double difference = 0.0, level = 0.0;
    for (size_t i = 0; i < wide.left.size(); ++i) {
        difference += std::fabs(wide.left[i] - wide.right[i]);
        level += std::fabs(wide.left[i]);
    }
    EXPECT_GT(difference, 0.3 * level) << "seven copies spread 0.7";
}

TEST(Voice, EachModulationDestinationActs) {
    const double semitoneUp = hz(70);
    SynthPatch base = sinePatch();
    auto with = [&](std::vector<ModSlot> slots) {
        SynthPatch p = base;
        p.mod = std::move(slots);
        return p;
    };
    // Velocity 1 is the source: the amount is the modulation.
    {
        SynthPatch p = with({slot(ModSource::velocity, ModDestination::pitch, 1.0 / 12.0)});
        EXPECT_NEAR(steadyAmplitude(p, 69, semitoneUp), 1.0, 5e-3) << "pitch: 12 semitones per unit";
        EXPECT_LT(steadyAmplitude(p, 69, 440.0), 0.02) << "nothing left at the old pitch but leakage";
    }
    {
        SynthPatch p = with({slot(ModSource::velocity, ModDestination::cutoff, 1.0 / 8.0)});
        p.filter.type = FilterType::lowpass12;
        p.filter.cutoff = 1000.0;
        p.filter.resonance = 0.0;
        EXPECT_NEAR(steadyAmplitude(p, 81, hz(81)), lowpass12Gain(hz(81), 2000.0, 0.0), 5e-3) << "cutoff: 8 octaves per unit";
    }
    {
        SynthPatch p = with({slot(ModSource::velocity, ModDestination::resonance, 0.9)});
        p.filter.type = FilterType::lowpass12;
        p.filter.cutoff = hz(81);
        p.filter.resonance = 0.0;
        EXPECT_NEAR(steadyAmplitude(p, 81, hz(81)), 1.0 / (2.0 - 1.96 * 0.9), 0.02) << "resonance peak at the cutoff is 1/k";
    }
    {
        EXPECT_NEAR(steadyAmplitude(with({slot(ModSource::velocity, ModDestination::volume, 1.0)}), 69, 440.0), 2.0, 1e-2)
            << "volume +1 doubles";
        EXPECT_NEAR(steadyAmplitude(with({slot(ModSource::velocity, ModDestination::volume, -0.5)}), 69, 440.0), 0.5, 5e-3);
        Voice v;
        SynthPatch p = with({slot(ModSource::velocity, ModDestination::volume, -1.5)});
        v.start(69, 1.0, 1, 1, p, kSr);
        Stereo out = play(v, p, 960);
        for (double x : out.left) ASSERT_EQ(x, 0.0) << "volume at -1 or below is silence, never inverted";
    }
    {
        auto panned = [&](double amount) {
            Voice v;
            SynthPatch p = with({slot(ModSource::velocity, ModDestination::pan, amount)});
            v.start(69, 1.0, 1, 1, p, kSr);
            return play(v, p, 4800 + 48000).tail(4800);
        };
        Stereo half = panned(0.5);
        EXPECT_NEAR(amplitudeAt(half.left, 440.0, kSr), 0.5, 5e-3) << "linear balance";
        EXPECT_NEAR(amplitudeAt(half.right, 440.0, kSr), 1.0, 5e-3);
        Stereo hardRight = panned(1.5);
        for (double x : hardRight.left) ASSERT_EQ(x, 0.0);
        EXPECT_NEAR(amplitudeAt(hardRight.right, 440.0, kSr), 1.0, 5e-3) << "beyond +1: full level on one side";
        Stereo hardLeft = panned(-3.0);
        for (double x : hardLeft.right) ASSERT_EQ(x, 0.0);
        EXPECT_NEAR(amplitudeAt(hardLeft.left, 440.0, kSr), 1.0, 5e-3);
    }
    {
        SynthPatch p = with({slot(ModSource::velocity, ModDestination::pulseWidth, 1.0)});
        p.analog.osc1.wave = OscWave::pulse;
        p.analog.osc1.pulseWidth = 0.5;
        Voice v;
        v.start(67, 1.0, 1, 1, p, kSr);
        Stereo out = play(v, p, 48000).tail(4800);
        double mean = 0.0;
        for (double x : out.left) mean += x / static_cast<double>(out.left.size());
        EXPECT_NEAR(mean, 2.0 * (0.5 + 0.45) - 1.0, 5e-3) << "pulse width: 0.45 per unit";
    }
    {
        SynthPatch p = with({slot(ModSource::velocity, ModDestination::osc2Pitch, 1.0 / 12.0)});
        p.analog.osc1.level = 0.0;
        p.analog.osc2 = AnalogOsc{OscWave::sine, 0.0, 0.0, 0.0, 0.5, 1.0};
        EXPECT_NEAR(steadyAmplitude(p, 69, semitoneUp), 1.0, 5e-3) << "osc2Pitch: 12 semitones per unit, oscillator 2 only";
    }
    {
        SynthPatch p = with({slot(ModSource::velocity, ModDestination::noise, 0.5)});
        p.analog.osc1.level = 0.0;
        Voice v;
        v.start(69, 1.0, 1, 1, p, kSr);
        Stereo out = play(v, p, 48000).tail(4800);
        double sum = 0.0;
        for (double x : out.left) sum += x * x;
        EXPECT_NEAR(std::sqrt(sum / static_cast<double>(out.left.size())), 0.5 / std::sqrt(3.0), 5e-3)
            << "noise: uniform white noise at the modulated level";
    }
    {
        // The LFO rates act one block late, 4 octaves per unit.
        SynthPatch p = with({slot(ModSource::velocity, ModDestination::lfo1Rate, 0.25),
                             slot(ModSource::velocity, ModDestination::lfo2Rate, -0.25),
                             slot(ModSource::velocity, ModDestination::wavetablePosition, 0.3),
                             slot(ModSource::velocity, ModDestination::fmAmount, 0.6)});
        p.lfo1.rate = 3.0;
        p.lfo2.rate = 3.0;
        Voice v;
        v.start(69, 1.0, 1, 1, p, kSr);
        play(v, p, 32);
        EXPECT_DOUBLE_EQ(v.lfo1.phase, 3.0 * 32 / kSr);
        EXPECT_DOUBLE_EQ(v.lfo2.phase, 3.0 * 32 / kSr);
        play(v, p, 32);
        EXPECT_DOUBLE_EQ(v.lfo1.phase, 3.0 * 32 / kSr + 6.0 * 32 / kSr) << "lfo1Rate +0.25: one octave up";
        EXPECT_DOUBLE_EQ(v.lfo2.phase, 3.0 * 32 / kSr + 1.5 * 32 / kSr) << "lfo2Rate -0.25: one octave down";
        EXPECT_EQ(v.prevMods.wtPosition, 0.3) << "carried for the wavetable and additive engines";
        EXPECT_EQ(v.prevMods.fmAmount, 0.6) << "carried for the FM engine";
    }
}

TEST(Voice, ModulationSourcesAndSlotRules) {
    auto resonanceFrom = [](std::vector<ModSlot> slots, int pitch = 60, double velocity = 0.8) {
        SynthPatch p = sinePatch();
        p.lfo1 = LFOParams(LFOShape::saw, 2.0);      // -1 at the start of a retriggered cycle
        p.lfo2 = LFOParams(LFOShape::square, 2.0);   // +1 there
        p.modEnv = EnvelopeParams{0.01, 0.3, 0.5, 0.3}; // 480-sample linear attack
        p.mod = std::move(slots);
        Voice v;
        v.start(pitch, velocity, 1, 1, p, kSr);
        play(v, p, 32);
        return std::pair{v.prevMods.resonance, v};
    };
    using S = ModSource;
    const auto R = ModDestination::resonance;
    EXPECT_EQ(resonanceFrom({slot(S::lfo1, R, 0.5)}).first, -0.5);
    EXPECT_EQ(resonanceFrom({slot(S::lfo2, R, 0.5)}).first, 0.5);
    EXPECT_NEAR(resonanceFrom({slot(S::modEnv, R, 1.0)}).first, 32.0 / 480.0, 1e-12) << "the last tick of the block";
    auto [ampValue, ampVoice] = resonanceFrom({slot(S::ampEnv, R, 1.0)});
    EXPECT_EQ(ampValue, ampVoice.ampEnv.value);
    EXPECT_EQ(resonanceFrom({slot(S::velocity, R, 1.0)}).first, 0.8);
    EXPECT_EQ(resonanceFrom({slot(S::keytrack, R, 1.0)}, 60).first, 0.0) << "keytrack is exactly 0 at note 60";
    EXPECT_EQ(resonanceFrom({slot(S::keytrack, R, 1.0)}, 108).first, 1.0);
    EXPECT_EQ(resonanceFrom({slot(S::keytrack, R, 1.0)}, 12).first, -1.0);
    auto [randomValue, randomVoice] = resonanceFrom({slot(S::random, R, 1.0)});
    EXPECT_EQ(randomValue, randomVoice.randomValue);
    EXPECT_TRUE(randomValue >= -1.0 && randomValue < 1.0);

    EXPECT_EQ(resonanceFrom({slot(S::velocity, R, 0.25), slot(S::lfo2, R, 0.5)}).first, 0.2 + 0.5) << "slots add";
    EXPECT_EQ(resonanceFrom({slot(S::none, R, 1.0)}).first, 0.0) << "source none does nothing";
    EXPECT_EQ(resonanceFrom({slot(S::velocity, R, 0.0)}).first, 0.0) << "amount 0 does nothing";
    auto [noneValue, noneVoice] = resonanceFrom({slot(S::velocity, ModDestination::none, 1.0)});
    EXPECT_EQ(noneVoice.prevMods, ModValues{}) << "destination none does nothing";
    EXPECT_EQ(resonanceFrom({}).first, 0.0) << "an empty matrix";
}

TEST(Voice, GlideFromThePreviousPitch) {
    SynthPatch p = sinePatch();
    p.voice.glide = 0.1;
    Voice v;
    v.start(60, 1.0, 1, 1, p, kSr);
    EXPECT_EQ(v.curPitch, 60.0) << "a note on an idle voice starts at its own pitch, glide or not";
    play(v, p, 64);
    v.start(72, 1.0, 2, 2, p, kSr);
    EXPECT_EQ(v.curPitch, 60.0);
    EXPECT_EQ(v.targetPitch, 72.0);
    play(v, p, 32);
    EXPECT_DOUBLE_EQ(v.curPitch, 72.0 + (60.0 - 72.0) * std::exp(32.0 / (kSr * (0.1 * -0.35))));
    play(v, p, 48000);
    EXPECT_NEAR(v.curPitch, 72.0, 1e-6);

    p.voice.glide = 0.0005; // at the floor: jumps in the first block
    v.start(48, 1.0, 3, 3, p, kSr);
    EXPECT_NEAR(v.curPitch, 72.0, 1e-6);
    play(v, p, 32);
    EXPECT_EQ(v.curPitch, 48.0);

    p.voice.glide = 0.0; // no glide: set at the start
    v.start(50, 1.0, 4, 4, p, kSr);
    EXPECT_EQ(v.curPitch, 50.0);
}

TEST(Voice, DriveOnlyWithAFilterAndAboveItsThreshold) {
    auto render = [](FilterType type, double drive) {
        SynthPatch p;
        p.filter.type = type;
        p.filter.drive = drive;
        globalSeed = 0x777u; // the same generator phases every time
        Voice v;
        v.start(45, 1.0, 1, 1, p, kSr);
        return play(v, p, 2048).left;
    };
    EXPECT_EQ(render(FilterType::off, 0.8), render(FilterType::off, 0.0)) << "filter off skips the drive";
    EXPECT_EQ(render(FilterType::ladder, 0.001), render(FilterType::ladder, 0.0)) << "0.001 is still off";
    EXPECT_NE(render(FilterType::ladder, 0.0011), render(FilterType::ladder, 0.0));

    // comp brings full scale back to full scale, and hard drive squares a sine off.
    SynthPatch p = sinePatch();
    p.filter.type = FilterType::lowpass12;
    p.filter.cutoff = 20000.0;
    p.filter.drive = 1.0;
    double fundamental = steadyAmplitude(p, 57, hz(57));
    EXPECT_GT(fundamental, 1.0) << "a driven sine gains fundamental as it squares";
    EXPECT_LT(fundamental, 4.0 / std::numbers::pi + 0.01);
    EXPECT_GT(steadyAmplitude(p, 57, 3.0 * hz(57)), 0.1) << "odd harmonics from tanh";
}

TEST(Voice, ZeroFramesRetriggerAndFreeRunningLFO) {
    SynthPatch p = sinePatch();
    p.mod = {slot(ModSource::modEnv, ModDestination::resonance, 1.0)};
    p.modEnv = EnvelopeParams{0.01, 0.3, 0.5, 0.3};
    p.lfo1.retrigger = false;
    Voice v;
    v.start(60, 1.0, 1, 1, p, kSr);
    play(v, p, 320);
    float l[32], r[32];
    std::fill_n(l, 32, 0.25f);
    std::fill_n(r, 32, 0.25f);
    v.render(0, p, kCtx, l, r);
    for (int i = 0; i < 32; ++i) ASSERT_TRUE(l[i] == 0.25f && r[i] == 0.25f) << "n = 0 leaves the output alone";
    EXPECT_EQ(v.prevMods.resonance, 0.0) << "modEnvValue is 0 for n = 0";

    // A retrigger during release rises from where the envelope stands.
    v.release(p.engine);
    play(v, p, 3200);
    double present = v.ampEnv.value;
    double lfoPhase = v.lfo1.phase;
    ASSERT_GT(present, 0.01);
    v.start(62, 1.0, 2, 2, p, kSr);
    EXPECT_EQ(v.ampEnv.value, present);
    EXPECT_EQ(v.ampEnv.stage, Stage::attack);
    EXPECT_EQ(v.lfo1.phase, lfoPhase) << "a free-running LFO keeps its phase";
    EXPECT_EQ(v.lfo2.phase, 0.0) << "a retriggered one restarts";
}

TEST(Voice, OtherEnginesAreSilentUntilTheirGeneratorsExist) {
    for (EngineKind engine : allCases<EngineKind>()) {
        if (engine == EngineKind::analog) continue;
        SynthPatch p;
        p.engine = engine;
        Voice v;
        v.start(60, 1.0, 1, 1, p, kSr);
        Stereo out = play(v, p, 320);
        for (double x : out.left) ASSERT_EQ(x, 0.0) << toString(engine);
        EXPECT_EQ(v.active, engine != EngineKind::drums) << toString(engine);
        if (engine == EngineKind::drums) {
            EXPECT_EQ(v.ampEnv.stage, Stage::attack) << "a drum never ticks the amplitude envelope";
        }
    }

    SynthPatch p;
    Voice v;
    v.start(60, 1.0, 1, 1, p, kSr);
    play(v, p, 320);
    v.hardStop();
    EXPECT_FALSE(v.active);
    EXPECT_TRUE(v.released);
    EXPECT_EQ(v.ampEnv.stage, Stage::idle);
    EXPECT_EQ(v.ampEnv.value, 0.0);
    EXPECT_EQ(v.modEnv.stage, Stage::idle);
}
