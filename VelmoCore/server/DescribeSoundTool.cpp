// `describe_sound`: an agent cannot hear the sound it designs with set_synth, so this renders one
// note of a track's current patch offline and tells what a listener would: the pitch it actually
// sounds at, its envelope, level, colour, noise and clicks.
#include "Studio/Studio.h"
#include "server/JSONViews.h"
#include "server/MCPTools.h"
#include "server/NoteTools.h"
#include "server/ToolGroups.h"
#include "server/ToolSchema.h"
#include "theory/NoteNames.h"

#include <algorithm>
#include <cmath>

namespace velmo {

using namespace schema;
using nlohmann::json;

namespace {

constexpr int defaultPitch = 60;    // C4, the middle of most instruments' range
constexpr double defaultVelocity = 0.8;
constexpr double defaultSeconds = 1;

json orNull(const std::optional<double>& value, double scale, int places) {
    return value ? json(roundTo(*value * scale, places)) : json(nullptr);
}

json portraitJSON(const SoundPortrait& p, const Track& track, int pitch, double velocity, bool effects) {
    const double noteHz = 440.0 * std::exp2((pitch - 69) / 12.0);
    const json cents = p.pitchHz ? json(roundTo(1200 * std::log2(*p.pitchHz / noteHz), 1)) : json(nullptr);
    return {
        {"track", track.name},
        {"engine", std::string(toString(track.patch.engine))},
        {"note", MusicTheory::noteName(pitch)},
        {"pitch", pitch},
        {"velocity", roundTo(velocity, 4)},
        {"effects", effects},
        {"held_seconds", roundTo(p.heldSeconds, 4)},
        {"rendered_seconds", roundTo(p.renderedSeconds, 4)},
        {"pitch_hz", orNull(p.pitchHz, 1, 2)},
        {"cents_from_note", cents},
        {"attack_ms", roundTo(p.attackSeconds * 1000, 1)},
        {"decay_20db_ms", orNull(p.decaySeconds, 1000, 1)},
        {"level_at_release_db", roundTo(p.levelAtReleaseDb, 1) + 0.0}, // + 0.0: a level a hair under the top reads 0.0, not -0.0
        {"release_20db_ms", orNull(p.release20Seconds, 1000, 1)},
        {"release_60db_ms", orNull(p.release60Seconds, 1000, 1)},
        {"peak_dbfs", roundTo(p.peakDb, 1)},
        {"rms_dbfs", roundTo(p.rmsDb, 1)},
        {"centroid_hz", roundTo(p.centroidHz, 0)},
        {"brightness", roundTo(p.brightness, 4)},
        {"bands",
         {{"low_below_250Hz", roundTo(p.lowShare, 4)},
          {"mid_250Hz_4kHz", roundTo(p.midShare, 4)},
          {"high_above_4kHz", roundTo(p.highShare, 4)}}},
        {"noisiness", roundTo(p.noisiness, 4)},
        {"click_at_start", p.clickAtStart},
        {"click_at_end", p.clickAtEnd},
    };
}

} // namespace

ToolDef describeSoundTool(MCPTools& tools) {
    return {
        "describe_sound",
        "Render one note of a track's current sound offline and describe what a listener would hear, since you "
        "cannot hear: the pitch actually produced (Hz and cents from the note), attack time, decay while held, "
        "release to -20 and -60 dB, peak and RMS, spectral centroid and brightness, low/mid/high balance, "
        "noisiness, and clicks at the start or end. Use it to check a sound you shape with set_synth. Changes "
        "nothing.",
        O({{"track", trackRef()},
           {"pitch", pitchRef()},
           {"velocity", P("number", "0..1 (default 0.8)")},
           {"seconds", P("number", "How long the key is held, 0.01..10 seconds (default 1)")},
           {"effects", P("boolean", "Through the track's insert effects (default true)")}},
          {"track"}),
        true,
        [&tools = tools](const ToolArgs& arguments, ToolCompletion done) {
            Studio& studio = tools.studio();
            const std::size_t index = studio.trackIndex(arguments.value("track"));
            const int pitch = pitchArgument(arguments, "pitch").value_or(defaultPitch);
            const double velocity = std::clamp(arguments.num("velocity").value_or(defaultVelocity), 0.0, 1.0);
            const double seconds = arguments.num("seconds").value_or(defaultSeconds);
            const bool effects = arguments.boolean("effects").value_or(true);
            studio.describeSound(index, pitch, velocity, seconds, effects, tools.mainQueue(),
                                 [track = studio.project().tracks[index], pitch, velocity, effects,
                                  done = std::move(done)](Studio::PortraitOutcome outcome) {
                                     if (auto* failure = std::get_if<std::exception_ptr>(&outcome)) return done(*failure);
                                     done(ToolValue(portraitJSON(std::get<SoundPortrait>(outcome), track, pitch,
                                                                 velocity, effects)));
                                 });
        },
    };
}

} // namespace velmo
