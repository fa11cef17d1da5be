#include "theory/DrumMap.h"

#include <string>
#include <unordered_map>

namespace velmo::MusicTheory {

const std::vector<DrumWord>& drumWords() {
    static const std::vector<DrumWord> words{
        {"kick", 36},      {"bd", 36},       {"bass_drum", 36}, {"rim", 37},        {"rimshot", 37},
        {"sidestick", 37}, {"snare", 38},    {"sd", 38},        {"clap", 39},       {"cp", 39},
        {"snare2", 40},    {"tom_low", 41},  {"lt", 41},        {"hat", 42},        {"hh", 42},
        {"closed_hat", 42}, {"chh", 42},     {"ch", 42},        {"hihat", 42},      {"tom_low2", 43},
        {"pedal_hat", 44}, {"tom_mid", 45},  {"mt", 45},        {"open_hat", 46},   {"ohh", 46},
        {"oh", 46},        {"tom_mid2", 47}, {"tom_hi", 48},    {"tom_high", 48},   {"ht", 48},
        {"crash", 49},     {"cy", 49},       {"tom_hi2", 50},   {"ride", 51},       {"rd", 51},
        {"cowbell", 56},   {"cb", 56},
    };
    return words;
}

std::optional<int> drumNote(std::string_view word) {
    static const std::unordered_map<std::string, int> notes = [] {
        std::unordered_map<std::string, int> map;
        for (const auto& entry : drumWords()) map.emplace(std::string(entry.word), entry.note);
        return map;
    }();
    auto found = notes.find(std::string(word));
    if (found == notes.end()) return std::nullopt;
    return found->second;
}

const std::vector<DrumLabel>& drumLabels() {
    static const std::vector<DrumLabel> labels{
        {35, "Kick 2"},   {36, "Kick"},      {37, "Rim"},       {38, "Snare"},     {39, "Clap"},
        {40, "Snare 2"},  {41, "Tom Lo"},    {42, "Hat"},       {43, "Tom Lo 2"},  {44, "Pedal Hat"},
        {45, "Tom Mid"},  {46, "Open Hat"},  {47, "Tom Mid 2"}, {48, "Tom Hi"},    {49, "Crash"},
        {50, "Tom Hi 2"}, {51, "Ride"},      {52, "China"},     {53, "Ride Bell"}, {55, "Splash"},
        {56, "Cowbell"},  {57, "Crash 2"},   {59, "Ride 2"},
    };
    return labels;
}

std::optional<std::string_view> drumDisplayName(int note) {
    for (const auto& entry : drumLabels())
        if (entry.note == note) return entry.label;
    return std::nullopt;
}

} // namespace velmo::MusicTheory
