#include "base/NumberText.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>

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
        EXPECT_EQ(std::strtod(text.c_str(), nullptr), value) << text;
    }
    for (double value : {std::numeric_limits<double>::max(), std::numeric_limits<double>::denorm_min(),
                         std::numeric_limits<double>::min(), 9007199254740993.0, 123456.789e-9})
        EXPECT_EQ(std::strtod(shortestText(value).c_str(), nullptr), value) << shortestText(value);
}

} // namespace
} // namespace velmo
