// The controls' maths, by the numbers that define them: mappings both ways, the knob's and the
// drag number's drag laws, the fader, the meter's scale and colours, and every unit's text.
#include "Theme.h"
#include "controls/BarFader.h"
#include "controls/DragNumber.h"
#include "controls/FormatValue.h"
#include "controls/Knob.h"
#include "controls/LevelMeter.h"
#include "transport/PositionDisplay.h"
#include "transport/TransportBar.h"

#include <QLocale>

#include <gtest/gtest.h>

#include <clocale>

namespace velmo {
namespace {

TEST(Controls, ValueMappingBothWays) {
    struct Case {
        ValueMapping mapping;
        double position, value;
    } cases[] = {
        {{0, 10, false}, 0.25, 2.5},
        {{20, 20000, true}, 0.5, std::sqrt(20.0 * 20000)},
        {{20, 20000, true}, 1.0 / 3, 200},
        {{0, 100, true}, 0.3, 30},  // a log mapping from 0 falls back to linear
        {{-60, 6, false}, 1, 6},
    };
    for (const Case& c : cases) {
        EXPECT_NEAR(c.mapping.value(c.position), c.value, 1e-9) << c.mapping.min << ".." << c.mapping.max;
        EXPECT_NEAR(c.mapping.position(c.value), c.position, 1e-9) << c.value;
    }
    EXPECT_EQ(ValueMapping({0, 10, false}).position(-3), 0) << "off the ends, placed at the ends";
    EXPECT_EQ(ValueMapping({20, 20000, true}).position(1e6), 1);
}

TEST(Controls, DragLaws) {
    // Knob: 180 pixels cover the range, a fifth of it with Alt; up is more; clamped.
    struct KnobCase {
        double start, dy;
        bool fine;
        double position;
    } knob[] = {{0.5, -90, false, 1.0}, {0.5, 90, false, 0.0}, {0.5, -180, true, 0.7},
                {0.2, 400, false, 0.0}, {0.9, -36, false, 1.0}, {0.4, 18, true, 0.38}};
    for (const KnobCase& c : knob)
        EXPECT_NEAR(knobDragPosition(c.start, c.dy, c.fine), c.position, 1e-12) << c.start << " " << c.dy << " " << c.fine;
    EXPECT_EQ(knobValue({0, 10, false}, 0.25, true), 3) << "2.5 rounds away from zero";
    EXPECT_EQ(knobValue({-10, 0, false}, 0.75, true), -3);

    // Fader: the position follows the pointer across the width.
    EXPECT_EQ(barFaderPosition(30, 120), 0.25);
    EXPECT_EQ(barFaderPosition(-5, 120), 0);
    EXPECT_EQ(barFaderPosition(500, 120), 1);

    // Drag number: four pixels right or up make one step, rounded, clamped.
    struct NumberCase {
        double start, dx, dy, value;
    } number[] = {{120, 4, 0, 121}, {120, 0, 8, 118}, {120, 3, -3, 122}, {120.5, 0, 0, 121},
                  {295, 400, 0, 300}, {22, -40, 0, 20}, {120, 1, 0, 120}};
    for (const NumberCase& c : number)
        EXPECT_EQ(dragNumberValue(c.start, c.dx, c.dy, 1, 20, 300), c.value) << c.start << " " << c.dx << " " << c.dy;
}

TEST(Controls, MeterScaleAndColours) {
    struct Case {
        float level;
        double fill;
        QColor color;
    } cases[] = {
        {0.0f, 0.0, Theme::green},                                // the floor lies below the scale
        {1.0f, 1.0, Theme::red},                                  // 0 dB
        {0.5f, (20 * std::log10(0.5) + 54) / 54, Theme::orange},  // -6 dB
        {0.3548f, (20 * std::log10(0.3548) + 54) / 54, Theme::green},  // -9.0 dB is still green
        {0.36f, (20 * std::log10(0.36) + 54) / 54, Theme::orange},
        {0.891f, (20 * std::log10(0.891f) + 54) / 54, Theme::orange},  // just below -1 dB
        {0.9f, (20 * std::log10(0.9) + 54) / 54, Theme::red},
        {2.0f, 1.0, Theme::red},
    };
    for (const Case& c : cases) {
        EXPECT_NEAR(meterFill(c.level), c.fill, 1e-6) << c.level;
        EXPECT_EQ(meterColor(c.level), c.color) << c.level;
    }
}

TEST(Controls, TextsReadTheSameInEveryLocale) {
    // Qt puts the C library's locale in force from the environment; the texts must not follow it.
    ASSERT_NE(std::setlocale(LC_NUMERIC, "de_DE.UTF-8"), nullptr) << "the de_DE locale is needed here";
    QLocale::setDefault(QLocale(QLocale::German));
    struct Case {
        double value;
        const char* unit;
        bool integer;
        const char* text;
    } cases[] = {
        {2.6, "", true, "3"},         {7, "voices", true, "7 voices"},  {1200, "Hz", false, "1.2 kHz"},
        {5, "Hz", false, "5.00 Hz"},  {440, "Hz", false, "440 Hz"},      {0.5, "s", false, "500 ms"},
        {1, "s", false, "1.00 s"},    {12.4, "ms", false, "12 ms"},      {3, "dB", false, "+3.0 dB"},
        {-0.26, "dB", false, "-0.3 dB"}, {-7, "ct", false, "-7.0 ct"},  {0.125, "beats", false, "0.125 beats"},
        {1.5, "x", false, "1.50"},    {-12.26, "", false, "-12.3"},
    };
    for (const Case& c : cases) EXPECT_EQ(formatValue(c.value, c.unit, c.integer), c.text) << c.value << " " << c.unit;

    EXPECT_EQ(tempoText(120.5), "120.5");
    EXPECT_EQ(tempoText(120), "120");
    EXPECT_EQ(musicalPosition(0, 4), "1.01.01");
    EXPECT_EQ(musicalPosition(13.75, 4), "4.02.04");
    EXPECT_EQ(musicalPosition(7.9999999999, 3), "3.03.01") << "rounding error below a beat reads as the beat";
    EXPECT_EQ(clockPosition(0, 120), "0:00.00");
    EXPECT_EQ(clockPosition(125, 120), "1:02.50");
    EXPECT_EQ(clockPosition(119.99999, 120), "1:00.00");
    std::setlocale(LC_NUMERIC, "C");
    QLocale::setDefault(QLocale::c());
}

} // namespace
} // namespace velmo
