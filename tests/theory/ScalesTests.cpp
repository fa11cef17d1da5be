#include "theory/Scales.h"

#include "ErrorText.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace velmo::MusicTheory {
namespace {

using velmo::testing::paramErrorOf;

TEST(Scales, ParsesRootAndNameInAnyCase) {
    struct Case { const char* text; int root; std::vector<int> intervals; };
    for (const Case& c : std::vector<Case>{{"F# Dorian", 6, {0, 2, 3, 5, 7, 9, 10}},
                                           {"  A   minor pentatonic ", 9, {0, 3, 5, 7, 10}},
                                           {"Bb MAJOR_PENTATONIC", 10, {0, 2, 4, 7, 9}},
                                           {"c whole tone", 0, {0, 2, 4, 6, 8, 10}},
                                           {"E♭ harmonic_minor", 3, {0, 2, 3, 5, 7, 8, 11}}}) {
        const auto scale = parseScale(c.text);
        EXPECT_EQ(scale.root, c.root) << c.text;
        EXPECT_EQ(scale.intervals, c.intervals) << c.text;
    }
    EXPECT_EQ(scales().size(), 17u);
    EXPECT_EQ(scales().at("aeolian"), scales().at("minor"));
    EXPECT_EQ(scales().at("ionian"), scales().at("major"));
}

TEST(Scales, FailuresShowTheShapeOrTheKnownNames) {
    const std::string shape = "Scale must look like \"C minor\" or \"F# dorian\".";
    for (const char* text : {"F#dorian", "H minor", "C", "", "   ", "C4 major", "Cm minor"})
        EXPECT_EQ(paramErrorOf([&] { parseScale(text); }), shape) << "'" << text << "'";

    EXPECT_EQ(paramErrorOf([] { parseScale("C Mixolidian"); }),
              "Unknown scale 'Mixolidian'. Known: aeolian, blues, chromatic, dorian, harmonic_minor, ionian, "
              "locrian, lydian, major, major_pentatonic, melodic_minor, minor, minor_pentatonic, mixolydian, "
              "natural_minor, phrygian, whole_tone.");
}

TEST(Scales, SnapGoesToTheNearestScaleNoteAndLowerOnATie) {
    const auto major = scales().at("major");
    for (auto [pitch, snapped] : {std::pair{61, 60}, {66, 65}, {64, 64}, {-1, -1}})  // -1 is a B: a true modulus
        EXPECT_EQ(snap(pitch, 0, major), snapped) << pitch;
    EXPECT_EQ(snap(60, 0, {}), 60);
    EXPECT_EQ(snap(60, 6, {0}), 54);    // a tritone away both ways: the lower wins

    // For every scale, root and pitch: the result is in the scale, no scale note is nearer, and
    // an equally near lower note is never passed over. (A snap below 0 is the caller's to clamp.)
    for (const auto& [name, intervals] : scales()) {
        for (int root = 0; root < 12; ++root) {
            std::vector<bool> allowed(12, false);
            for (int offset : intervals) allowed[(offset + root) % 12] = true;
            for (int pitch = 0; pitch <= 127; ++pitch) {
                const int snapped = snap(pitch, root, intervals);
                ASSERT_TRUE(allowed[(snapped + 12) % 12]) << name << " root " << root << " pitch " << pitch;
                const int distance = std::abs(snapped - pitch);
                for (int d = 0; d < distance; ++d)
                    ASSERT_FALSE(allowed[(pitch + d) % 12] || allowed[(pitch - d + 120) % 12]) << name << pitch;
                if (snapped > pitch) {
                    ASSERT_FALSE(allowed[(pitch - distance + 120) % 12]) << name << pitch;
                }
            }
        }
    }
}

} // namespace
} // namespace velmo::MusicTheory
