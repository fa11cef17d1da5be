#include "theory/Voicing.h"

#include "theory/Chords.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace velmo::MusicTheory {

namespace {

double mean(const std::vector<int>& pitches) {
    return std::accumulate(pitches.begin(), pitches.end(), 0.0) / static_cast<double>(pitches.size());
}

} // namespace

std::vector<int> voiceLead(std::string_view symbol, int octave, const std::vector<int>& previous) {
    auto base = chordPitches(symbol, octave, 0);

    std::vector<int> fixedBass;
    std::vector<int> candidate = base;
    if (hasSlashBass(symbol)) {
        fixedBass.push_back(base.front());
        candidate.erase(candidate.begin());
    }
    if (candidate.empty() || previous.empty()) return base;

    const double targetMean = mean(previous);
    const double targetLowest = *std::min_element(previous.begin(), previous.end());

    std::vector<int> best;
    double bestCost = std::numeric_limits<double>::infinity();
    const std::size_t count = candidate.size();  // rotations 0 to count - 1: each note once at the bottom
    for (std::size_t r = 0; r < count; ++r) {
        if (r > 0) {
            const int lowest = candidate.front();
            candidate.erase(candidate.begin());
            candidate.push_back(lowest + 12);
        }
        for (int shift : {-12, 0}) {
            std::vector<int> shifted = candidate;
            for (int& pitch : shifted) pitch += shift;
            const double cost = std::abs(mean(shifted) - targetMean) +
                                0.25 * std::abs(*std::min_element(shifted.begin(), shifted.end()) - targetLowest);
            if (cost < bestCost) {
                bestCost = cost;
                best = std::move(shifted);
            }
        }
    }

    std::sort(best.begin(), best.end());
    fixedBass.insert(fixedBass.end(), best.begin(), best.end());
    return fixedBass;
}

} // namespace velmo::MusicTheory
