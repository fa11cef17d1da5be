#include "model/SynthPatch.h"

namespace velmo {

std::string_view label(EngineKind kind) {
    static constexpr std::array<std::string_view, 7> labels{"Analog", "Wavetable", "FM", "Additive", "Pluck", "Modal", "Drums"};
    return labels[static_cast<size_t>(kind)];
}

std::string_view summary(EngineKind kind) {
    static constexpr std::array<std::string_view, 7> summaries{
        "Virtual-analog subtractive: 2 band-limited oscillators (sine/triangle/saw/square/pulse/noise), sub osc, noise, up to 7-voice unison.",
        "Morphing band-limited wavetables (basic, pwm, vocal, sweep, digital, organ) with position modulation and unison.",
        "4-operator phase-modulation FM with 8 algorithms, per-operator envelopes and operator-4 feedback.",
        "16-partial additive synthesis with drawbar harmonics, brightness tilt, even/odd balance and inharmonic stretch.",
        "Karplus-Strong physical model of a plucked string (brightness, damping, decay, pick position).",
        "Modal resonator bank for struck objects: bar (marimba), bell, glass, membrane, string, tube.",
        "Synthesized drum kit mapped to General MIDI notes (36 kick, 38 snare, 39 clap, 42 closed hat, 46 open hat, toms, crash, ride, cowbell).",
    };
    return summaries[static_cast<size_t>(kind)];
}

} // namespace velmo
