// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/CephesExpLog.h"

#include "basictools/math/mapping/CephesPower.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmora::MappingTools {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

TEST(CephesExpLogTest, ExpIsWithinThreeUnitsOfTheLastPlaceOfTheDoubleOne) {
    constexpr double tolerance = 3.0 * std::numeric_limits<float>::epsilon() / 2.0;
    for (int i = -87000; i <= 88000; i += 13) {
        const float x = static_cast<float>(i) * 0.001F;
        const double expected = std::exp(static_cast<double>(x));
        ASSERT_NEAR(CephesExp(x), expected, tolerance * expected) << "x = " << x;
    }
    EXPECT_EQ(CephesExp(0.0F), 1.0F);
}

TEST(CephesExpLogTest, ExpSaturatesToFiniteValues) {
    const float top = CephesExp(88.376259F);
    for (const float x : {88.4F, 1e3F, 1e30F, infinity}) {
        EXPECT_EQ(CephesExp(x), top) << "x = " << x;
        EXPECT_LT(CephesExp(-x), std::numeric_limits<float>::min()) << "x = " << -x;
        EXPECT_GE(CephesExp(-x), 0.0F) << "x = " << -x;
    }
    EXPECT_TRUE(std::isfinite(top)) << top;
    EXPECT_NEAR(std::log(top), 88.376F, 0.001F);
    EXPECT_TRUE(std::isfinite(CephesExp(notANumber)));
}

TEST(CephesExpLogTest, LogIsAccurateOverAllNormalNumbers) {
    for (int i = 0; i <= 12000; ++i) {
        const auto x = static_cast<float>(std::exp(-87.0 + 0.0146 * i));
        const double expected = std::log(static_cast<double>(x));
        ASSERT_NEAR(CephesLog(x), expected, 1.2e-7 * std::max(std::abs(expected), 0.5)) << "x = " << x;
    }
    EXPECT_EQ(CephesLog(1.0F), 0.0F);
    EXPECT_EQ(CephesLog(-3.0F), CephesLog(std::numeric_limits<float>::min()));
}

TEST(CephesExpLogTest, PowerFollowsStdPowAtZeroAndForNegativeBases) {
    for (const float exponent :
         {0.25F, 0.5F, 1.0F, 2.0F, 2.5F, 3.0F, 4.0F, 7.0F, 0.0F, -1.0F, -2.0F, -3.0F}) {
        const auto power = [exponent](float base) {
            CephesPower(exponent).MapBlock(
                &base, 1, [](float x) { return x; }, [](float, float result) { return result; });
            return base;
        };
        EXPECT_EQ(power(0.0F), std::pow(0.0F, exponent)) << "exponent " << exponent;
        EXPECT_EQ(power(1.0F), 1.0F) << "exponent " << exponent;
        for (const float base : {-3.0F, -1.0F, -0.7F, -0.001F, 0.001F, 0.3F, 2.0F}) {
            const double expected = std::pow(static_cast<double>(base), static_cast<double>(exponent));
            const float got = power(base);
            if (std::isnan(expected)) {
                EXPECT_TRUE(std::isnan(got)) << base << " to the " << exponent << " is " << got;
            } else {
                EXPECT_NEAR(got, expected, 4e-6 * std::abs(expected)) << base << " to the " << exponent;
            }
        }
    }
}

} // namespace
} // namespace Velmora::MappingTools
