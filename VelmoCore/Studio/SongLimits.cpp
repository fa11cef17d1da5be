#include "Studio/SongLimits.h"

#include "Studio/Studio.h"
#include "catalog/EffectCatalog.h"
#include "catalog/JSONPath.h"
#include "catalog/ParamCoercion.h"
#include "catalog/SongRanges.h"
#include "catalog/SynthCatalog.h"
#include "catalog/SynthPatchPaths.h"

#include <algorithm>
#include <map>
#include <string>

namespace velmo {

namespace {

// Counts what it changes, so that the reader of the file can be told.
struct Keeper {
    int changed = 0;

    template <class T>
    void keep(T& value, T low, T high) {
        const T kept = std::clamp(value, low, high);
        changed += kept != value;
        value = kept;
    }
    void keep(double& value, const SettingRange& range) { keep(value, range.min, range.max); }

    void effects(CowVector<EffectSlot>& slots) {
        for (std::size_t i = 0; i < slots.size(); ++i) {
            std::map<std::string, double> params = slots[i].params;
            for (auto& [name, value] : params)
                if (const EffectParamInfo* spec = EffectCatalog::spec(slots[i].kind, name)) keep(value, spec->min, spec->max);
            if (params != slots[i].params) slots.mut(i).params = std::move(params);
        }
    }

    // Through the catalog's own coercion, which also rounds whole-numbered rows.
    void patch(SynthPatch& patch) {
        const nlohmann::json tree = jsonObject(patch);
        nlohmann::json corrections = nlohmann::json::object();
        for (const ParamInfo& row : SynthCatalog::params()) {
            const nlohmann::json* value = JSONPath::get(JSONPath::components(row.path), tree);
            if (!row.number() || !value || !value->is_number()) continue;
            const nlohmann::json coerced = coerce(*value, row);
            if (coerced != *value) corrections[row.path] = coerced;
        }
        if (corrections.empty()) return;
        changed += static_cast<int>(corrections.size());
        patch = applying(patch, corrections);
    }

    void clip(Clip& clip) {
        keep(clip.start, 0.0, kFarthestBeat);
        keep(clip.length, Studio::shortestSpan, kFarthestBeat);
        const bool outside = std::any_of(clip.notes.begin(), clip.notes.end(), [](const Note& n) {
            return n.pitch < 0 || n.pitch > 127 || !(n.start >= 0 && n.start <= kFarthestBeat) ||
                   !(n.duration >= 0 && n.duration <= kFarthestBeat) || !(n.velocity >= 0 && n.velocity <= 1);
        });
        if (outside) {
            for (std::size_t i = 0; i < clip.notes.size(); ++i) {
                Note note = clip.notes[i];
                keep(note.pitch, 0, 127);
                keep(note.start, 0.0, kFarthestBeat);
                keep(note.duration, 0.0, kFarthestBeat);
                keep(note.velocity, 0.0, 1.0);
                if (!(note == clip.notes[i])) clip.notes.mut(i) = note;
            }
        }
        Studio::sortNotes(clip.notes);
    }
};

} // namespace

void keepWithinLimits(ProjectFile& file) {
    Project& song = file.project;
    Keeper limit;
    limit.keep(song.tempo, kTempoRange);
    limit.keep(song.masterVolumeDb, kVolumeDbRange);
    limit.keep(song.beatsPerBar, 1, 16);
    if (song.beatUnit != 2 && song.beatUnit != 4 && song.beatUnit != 8 && song.beatUnit != 16) {
        song.beatUnit = 4;
        ++limit.changed;
    }
    limit.keep(song.loopStart, 0.0, kFarthestBeat - Studio::shortestSpan);
    limit.keep(song.loopEnd, song.loopStart + Studio::shortestSpan, kFarthestBeat);
    limit.effects(song.masterEffects);
    for (std::size_t t = 0; t < song.tracks.size(); ++t) {
        Track& track = song.tracks.mut(t);
        limit.keep(track.volumeDb, kVolumeDbRange);
        limit.keep(track.pan, kPanRange);
        if (track.midiOut) limit.keep(track.midiOut->channel, 1, 16);
        limit.patch(track.patch);
        limit.effects(track.effects);
        for (std::size_t c = 0; c < track.clips.size(); ++c) limit.clip(track.clips.mut(c));
        Studio::sortClips(track);
    }
    if (const int n = limit.changed; n > 0)
        file.warnings.push_back(std::to_string(n) + (n == 1 ? " value was" : " values were") +
                                " outside the range the tools allow and " + (n == 1 ? "was" : "were") +
                                " brought within it (positions and lengths within " +
                                std::to_string(static_cast<int>(kFarthestBeat)) + " beats).");
}

} // namespace velmo
