// Drum lanes written from step strings: every step character, tiling, swing across tiles, lanes
// longer than their span, and the limit on absurd counts.
#include "theory/StepPattern.h"

#include "base/UserError.h"
#include "support/NoteText.h"

#include <gtest/gtest.h>

namespace velmo::MusicTheory {
namespace {

using velmo::testing::show;

std::vector<Note> lane(std::string_view text, const StepGrid& grid, std::optional<std::size_t> hits = std::nullopt) {
    std::vector<Note> notes;
    const auto written = writeLane(40, text, grid, "snare", notes);
    if (hits) {
        EXPECT_EQ(written, hits) << text;
    }
    return notes;
}

TEST(StepPattern, StepCharactersAndTiling) {
    // Every step character, at 8ths from beat 1 with a base of 0.9: accents stop at 1.
    StepGrid eighths{1, 0.5, 0, 0.9, false, 0};
    std::vector<Note> marks;
    const double velocities[] = {1, 1, 1, 0.9, 0.9, 0.9, 0.45, 0.45};
    for (int i = 0; i < 8; ++i) marks.push_back({40, 1 + 0.5 * i, 0.45, velocities[i]});
    EXPECT_EQ(show(lane("XA!x1*og-.?", eighths, 8)), show(marks));

    // Bars are separated by blanks and "|"; a non-ASCII character is one rest; a short lane
    // tiles its span, and without repeat it is written once.
    StepGrid bar{0, 0.25, 0, 0.8, true, 4};
    std::vector<Note> tiled;
    for (int i = 0; i < 4; ++i) tiled.push_back({40, 1.0 * i + 0.5, 0.225, 0.8});
    EXPECT_EQ(show(lane("é.x.", bar, 4)), show(tiled));
    bar.repeat = false;
    EXPECT_EQ(lane("é.x.", bar, 1).size(), 1u);
    std::vector<Note> triplets;
    for (int i = 0; i < 6; ++i) triplets.push_back({40, i / 3.0, 0.3, 0.8});
    EXPECT_EQ(show(lane("x x x | x x x", {0, 1.0 / 3, 0, 0.8, false, 4}, 6)), show(triplets));

    // A lane longer than its span is written whole; only blanks is no lane at all.
    EXPECT_EQ(show(lane(std::string(20, '.') + "x" + std::string(11, '.'), {0, 0.25, 0, 0.8, true, 4}, 1)),
              show({{40, 5, 0.225, 0.8}}));
    std::vector<Note> none;
    EXPECT_EQ(writeLane(40, " | \n\t", {}, "kick", none), std::nullopt);
}

TEST(StepPattern, SwingCountsAcrossTiles) {
    // A three-step tile puts hits on 0, 3, 6, 9...: odd steps come late by 15 % of a step.
    std::vector<Note> swung;
    for (int i = 0; i < 16; i += 3) swung.push_back({40, 0.25 * i + (i % 2 ? 0.0375 : 0), 0.225, 0.8});
    EXPECT_EQ(show(lane("x..", {0, 0.25, 0.15, 0.8, true, 4}, 6)), show(swung));
}

TEST(StepPattern, AbsurdCountsAreRefusedBeforeWriting) {
    std::vector<Note> notes;
    try {
        writeLane(42, "x", {0, 0.25, 0, 0.8, true, 1e6}, "hat", notes);
        ADD_FAILURE() << "no limit";
    } catch (const UserError& error) {
        EXPECT_EQ(error.message(), "The lane 'hat' would take 4000000 steps; the limit is 100000. Use repeat=false or a shorter clip.");
    }
    EXPECT_TRUE(notes.empty());
}

} // namespace
} // namespace velmo::MusicTheory
