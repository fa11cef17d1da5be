#include "theory/Scales.h"

#include "ErrorText.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace velmo::MusicTheory {
namespace {

using velmo::testing::paramErrorOf;

TEST(Scales, ParsesRootAndNameInAnyCase) {
    auto dorian = parseScale("F# Dorian");
    EXPECT_EQ(dorian.root, 6);
    EXPECT_EQ(dorian.intervals, (std::vector<int>{0, 2, 3, 5, 7, 9, 10}));

    auto pentatonic = parseScale("  A   minor pentatonic ");
    EXPECT_EQ(pentatonic.root, 9);
    EXPECT_EQ(pentatonic.intervals, (std::vector<int>{0, 3, 5, 7, 10}));

    EXPECT_EQ(parseScale("Bb MAJOR_PENTATONIC").root, 10);
    EXPECT_EQ(parseScale("c whole tone").intervals, (std::vector<int>{0, 2, 4, 6, 8, 10}));
    EXPECT_EQ(parseScale("E♭ harmonic_minor").intervals, (std::vector<int>{0, 2, 3, 5, 7, 8, 11}));
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
    EXPECT_EQ(snap(61, 0, major), 60);
    EXPECT_EQ(snap(66, 0, major), 65);
    EXPECT_EQ(snap(64, 0, major), 64);
    EXPECT_EQ(snap(-1, 0, major), -1);  // B is in C major; the class is the true modulus
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
