#include "Studio/Studio.h"

#include "catalog/EffectCatalog.h"
#include "catalog/Presets.h"
#include "theory/Chords.h"

#include <array>

namespace velmo {

namespace {

constexpr std::array<double, 4> kBars{0, 4, 8, 12};

SynthPatch presetPatch(std::string_view name) {
    const Preset* preset = Presets::named(name);
    return preset ? preset->patch : SynthPatch();
}

EffectSlot demoSlot(Project& p, EffectKind kind, const nlohmann::json& params = nlohmann::json::object()) {
    std::string id = p.makeId("fx");
    return EffectCatalog::makeSlot(std::move(id), kind, true,
                                   EffectCatalog::merge(kind, EffectCatalog::defaults(kind), params));
}

Track demoTrack(Project& p, std::string name, std::string_view preset, int colorIndex, double volumeDb, double pan) {
    std::string id = p.makeId("t");
    Track t(std::move(id), std::move(name), colorIndex, presetPatch(preset));
    t.volumeDb = volumeDb;
    t.pan = pan;
    return t;
}

Clip demoClip(Project& p, std::string name, std::vector<Note> notes) {
    std::string id = p.makeId("c");
    NoteList sorted(std::move(notes));
    Studio::sortNotes(sorted);
    return Clip{std::move(id), std::move(name), 0, 16, std::move(sorted)};
}

std::vector<Note> groove() {
    std::vector<Note> notes;
    for (double b : kBars) {
        for (double at : {0.0, 1.75, 2.5}) notes.push_back({36, b + at, 0.25, 0.95});
        for (double at : {1.0, 3.0}) notes.push_back({39, b + at, 0.25, 0.8});
        for (int i = 0; i <= 6; ++i) notes.push_back({42, b + 0.5 * i, 0.25, i % 2 == 0 ? 0.6 : 0.4});
        notes.push_back({46, b + 3.5, 0.5, 0.5});
    }
    return notes;
}

std::vector<Note> bassLine() {
    constexpr std::array<int, 4> roots{33, 29, 36, 31};
    std::vector<Note> notes;
    for (std::size_t bar = 0; bar < 4; ++bar) {
        const double b = kBars[bar];
        const int root = roots[bar];
        notes.push_back({root, b, 0.4, 0.9});
        notes.push_back({root, b + 0.75, 0.25, 0.8});
        notes.push_back({root + 12, b + 1.5, 0.4, 0.8});
        notes.push_back({root, b + 2, 0.4, 0.7});
        notes.push_back({root + 7, b + 2.75, 0.25, 0.8});
        notes.push_back({root + 12, b + 3.5, 0.4, 0.85});
    }
    return notes;
}

std::vector<Note> chords() {
    constexpr std::array<std::string_view, 4> symbols{"Am7", "Fmaj7", "C", "G"};
    std::vector<Note> notes;
    for (std::size_t bar = 0; bar < 4; ++bar) {
        const int inversion = bar % 2 == 0 ? 0 : 1;
        for (int pitch : MusicTheory::chordPitches(symbols[bar], 3, inversion)) notes.push_back({pitch, kBars[bar], 4.0, 0.6});
    }
    return notes;
}

std::vector<Note> arpeggio() {
    constexpr std::array<std::array<int, 4>, 4> pitches{{{69, 72, 76, 79}, {65, 69, 72, 76}, {67, 72, 76, 79}, {67, 71, 74, 79}}};
    constexpr std::array<std::size_t, 8> walk{0, 1, 2, 3, 2, 1, 3, 2};
    std::vector<Note> notes;
    for (std::size_t bar = 0; bar < 4; ++bar)
        for (std::size_t i = 0; i < walk.size(); ++i)
            notes.push_back({pitches[bar][walk[i]], kBars[bar] + 0.5 * static_cast<double>(i), 0.4, i % 2 == 0 ? 0.75 : 0.55});
    return notes;
}

} // namespace

Project Studio::demoProject() {
    using json = nlohmann::json;
    Project p("Demo", 112);

    Track drums = demoTrack(p, "Drums", "808 Kit", 0, -8, 0);
    drums.clips.push_back(demoClip(p, "Groove", groove()));

    Track bass = demoTrack(p, "Bass", "Acid Bass", 1, -14, 0);
    bass.clips.push_back(demoClip(p, "Line", bassLine()));
    bass.effects.push_back(demoSlot(p, EffectKind::drive, json{{"drive", 0.2}, {"mix", 0.5}}));

    Track pad = demoTrack(p, "Pad", "Vowel Pad", 4, -11, 0);
    pad.clips.push_back(demoClip(p, "Chords", chords()));
    pad.effects.push_back(demoSlot(p, EffectKind::chorus));
    pad.effects.push_back(demoSlot(p, EffectKind::reverb, json{{"size", 0.85}, {"mix", 0.35}}));

    Track bells = demoTrack(p, "Bells", "Marimba", 6, -9, 0.25);
    bells.clips.push_back(demoClip(p, "Arp", arpeggio()));
    bells.effects.push_back(demoSlot(p, EffectKind::delay, json{{"time", 0.75}, {"mix", 0.25}}));
    bells.effects.push_back(demoSlot(p, EffectKind::reverb, json{{"mix", 0.25}}));

    p.tracks = CowVector<Track>{drums, bass, pad, bells};
    p.masterEffects.push_back(demoSlot(p, EffectKind::compressor, json{{"threshold", -14}, {"ratio", 2.5}, {"makeup", 2}}));
    return p;
}

} // namespace velmo
