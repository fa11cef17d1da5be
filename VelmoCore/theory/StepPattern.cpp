#include "theory/StepPattern.h"

#include "theory/Steps.h"

#include <algorithm>

namespace velmo::MusicTheory {

namespace {

// An accent is this much louder than a plain hit (at most 1); a ghost note this share of it.
constexpr double kAccentBoost = 0.2;
constexpr double kGhostShare = 0.5;

std::vector<char> stepsOf(std::string_view text) {
    std::vector<char> steps;
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == ' ' || c == '|' || c == '\n' || c == '\t') continue;
        if ((byte & 0xC0) == 0x80) continue;  // continuation of the previous character
        steps.push_back(byte < 0x80 ? c : '.');
    }
    return steps;
}

// The velocity of one step character, or nothing for a rest.
std::optional<double> stepVelocity(char c, double base) {
    switch (c) {
    case 'X': case 'A': case '!': return std::min(base + kAccentBoost, 1.0);
    case 'x': case '1': case '*': return base;
    case 'o': case 'g': return base * kGhostShare;
    default: return std::nullopt;
    }
}

} // namespace

std::optional<std::size_t> writeLane(int note, std::string_view text, const StepGrid& grid, const std::string& name,
                                     std::vector<Note>& notes) {
    const std::vector<char> steps = stepsOf(text);
    if (steps.empty()) return std::nullopt;

    double total = grid.step * static_cast<double>(steps.size());
    if (grid.repeat) total = std::max(total, grid.span);
    const std::int64_t count = stepCount(total, grid.step, "The lane '" + name + "'", "Use repeat=false or a shorter clip.");
    std::size_t hits = 0;
    for (std::int64_t i = 0; i < count; ++i) {
        const auto velocity = stepVelocity(steps[static_cast<std::size_t>(i) % steps.size()], grid.velocity);
        if (!velocity) continue;
        // Swing counts steps from the lane's start across tiles, not within one.
        const double late = i % 2 == 1 ? grid.step * grid.swing : 0.0;
        notes.push_back({note, grid.start + grid.step * static_cast<double>(i) + late, grid.step * kStepGate, *velocity});
        ++hits;
    }
    return hits;
}

} // namespace velmo::MusicTheory
