// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/Standard.h"

#include "support/platform/Numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

TEST(StandardTest, TheSeriesOfTheBesselFunctionIsTheFunction) {
    for (double x = 0.0; x < 30.0; x += 0.37) {
        const double expected = Velmora::Platform::BesselI0(x);
        EXPECT_NEAR(Velmora::Platform::SeriesOfBesselI0(x), expected, 5e-15 * expected) << x;
    }
}

TEST(StandardTest, NumbersAreReadAndWrittenAlikeWithAndWithoutTheLibrary) {
    using namespace Velmora::Platform;
    std::mt19937 random(3);
    std::uniform_real_distribution<float> magnitude(-12.0F, 12.0F);
    for (int n = 0; n < 2000; ++n) {
        const float number = (n % 2 == 0 ? 1.0F : -1.0F) * std::pow(10.0F, magnitude(random));
        const std::string digits = FixedDigits(number);
        EXPECT_EQ(Plain::FixedDigits(number), digits);
        EXPECT_EQ(static_cast<float>(Plain::ParseNumber(digits).number), number) << digits;
    }
    for (const char* text : {"0",  "-12 dB", "5ms", "1e3Hz", "1e",  "2.5E-2 s", ".5", "1.2.3", "--1", "+1",
                             " 1", "dB",     "",    "0x10",  "inf", "nan",      "e5", "1e999", "-",   "."}) {
        const ParsedNumber expected = ParseNumber(text);
        const ParsedNumber found = Plain::ParseNumber(text);
        EXPECT_EQ(found.length, expected.length) << text;
        EXPECT_TRUE(found.length == 0 || found.number == expected.number) << text;
    }
}
