#include "base/NumberText.h"

#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <random>
#include <string>

namespace velmo {
namespace {

TEST(NumberText, PrintsShortestDecimalWithPointOnWholeNumbers) {
    const std::pair<double, const char*> cases[] = {
        {20.0, "20.0"},       {20000.0, "20000.0"}, {0.0, "0.0"},        {-0.0, "-0.0"},
        {-3.0, "-3.0"},       {0.1, "0.1"},         {0.05, "0.05"},      {0.0005, "0.0005"},
        {0.0625, "0.0625"},   {-100.5, "-100.5"},   {1e-4, "0.0001"},    {1e-5, "1e-05"},
        {1e15, "1000000000000000.0"}, {1e16, "1e+16"}, {1.0 / 3, "0.3333333333333333"},
        {std::numeric_limits<double>::infinity(), "inf"}, {-std::numeric_limits<double>::infinity(), "-inf"},
        {std::numeric_limits<double>::quiet_NaN(), "nan"},
    };
    for (auto [value, text] : cases) EXPECT_EQ(shortestText(value), text) << "for " << text;
}

TEST(NumberText, EveryFiniteDoubleReadsBackExactly) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 20000; ++i) {
        const double value = std::bit_cast<double>(random());
        if (!std::isfinite(value)) continue;
        const auto text = shortestText(value);
        EXPECT_EQ(parseNumber(text), value) << text;
    }
    for (double value : {std::numeric_limits<double>::max(), std::numeric_limits<double>::denorm_min(),
                         std::numeric_limits<double>::min(), 9007199254740993.0, 123456.789e-9})
        EXPECT_EQ(parseNumber(shortestText(value)), value) << shortestText(value);
}

TEST(NumberText, ReadsWholeNumbersOnly) {
    const double inf = std::numeric_limits<double>::infinity();
    const std::pair<const char*, std::optional<double>> cases[] = {
        {"1.5", 1.5},   {"+4", 4.0},       {"-2e3", -2000.0}, {".5", 0.5},      {"5.", 5.0},
        {"0x10", 16.0}, {"-0X1.8p1", -3.0}, {"inf", inf},     {"-Infinity", -inf},
        {"1e400", inf}, {"-1e400", -inf},  {"1e-400", 0.0},   {"0x1p-5000", 0.0}, {"0.000001e-330", 0.0},
        {"123456789e305", inf},
        {"", std::nullopt},    {" 1", std::nullopt},   {"1 ", std::nullopt},  {"1.5x", std::nullopt},
        {"+", std::nullopt},   {"+-1", std::nullopt},  {"--1", std::nullopt}, {"0x", std::nullopt},
        {"0x-1", std::nullopt}, {"0xinf", std::nullopt}, {"1,5", std::nullopt}, {"e5", std::nullopt},
    };
    for (auto [text, expected] : cases) EXPECT_EQ(parseNumber(text), expected) << "'" << text << "'";
    EXPECT_TRUE(std::isnan(parseNumber("nan").value_or(0)));
    EXPECT_TRUE(std::signbit(parseNumber("-1e-400").value_or(1))) << "an underflow keeps its sign";
}

// A desktop toolkit sets the C locale from the environment; under a German one the C library
// reads and writes "0,5". Our own reading and writing must not follow it.
TEST(NumberText, TheProcessLocaleChangesNothing) {
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    if (!std::setlocale(LC_ALL, "de_DE.UTF-8")) GTEST_SKIP() << "no de_DE.UTF-8 locale (scripts/install-deps.sh installs it)";
    const double cLibrary = std::strtod("0.5", nullptr);
    const std::optional<double> ours = parseNumber("0.5");
    const std::string printed = shortestText(0.5);
    std::setlocale(LC_ALL, previous.c_str());

    EXPECT_EQ(cLibrary, 0.0) << "the locale took effect: the C library stops at the point";
    EXPECT_EQ(ours, 0.5);
    EXPECT_EQ(printed, "0.5");
}

} // namespace
} // namespace velmo
