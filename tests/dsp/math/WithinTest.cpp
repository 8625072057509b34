// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/math/Within.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/DenormalGuard.h"
#include "dsp/vectors/FrameLanes.h"
#include "dsp/vectors/SilenceFaults.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Velmora::dsp {
namespace {

constexpr float infinite = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

// What becomes of a number by the one rule, as a control between -2 and 3, as a control from 0 to 1, as an
// index below 4, as a sample, and whether it is a state that may stay.
struct Ruling {
    float number, between, ofUnit;
    u32 index;
    float sample;
    bool isIntact;
};
constexpr Ruling rulings[] = {
    {notANumber, -2.0F, 0.0F, 0, 0.0F, false}, {infinite, 3.0F, 1.0F, 3, 0.0F, false},
    {-1.01e12F, -2.0F, 0.0F, 0, 0.0F, false},  {0.99e12F, 3.0F, 1.0F, 3, 0.0F, true},
    {1.01e6F, 3.0F, 1.0F, 3, 0.0F, true},      {-1e6F, -2.0F, 0.0F, 0, -1e6F, true},
    {2.99F, 2.99F, 1.0F, 2, 2.99F, true},      {0.5F, 0.5F, 0.5F, 0, 0.5F, true},
};

TEST(WithinTest, OneRuleForWhatIsNotFiniteOrOutOfBounds) {
    const ModuleParam declared = Declare::Linear("Declared", -2.0F, 3.0F).Record();
    for (const Ruling& ruling : rulings) {
        SCOPED_TRACE(ruling.number);
        EXPECT_EQ(Within(ruling.number, -2.0F, 3.0F), ruling.between);
        EXPECT_EQ(declared.Hold(ruling.number), ruling.between);
        EXPECT_EQ(ClampToUnit(ruling.number), ruling.ofUnit);
        EXPECT_EQ(ToIndex(ruling.number, 4), ruling.index);
        EXPECT_EQ(SilenceFaults(ruling.number), ruling.sample);
        EXPECT_EQ(SilenceFaults(simd::Float4{0.0F, ruling.number, 0.0F, 0.0F}).get(1), ruling.sample);
        EXPECT_EQ(IsIntact(static_cast<double>(ruling.number)), ruling.isIntact);
        // A limit on a signal holds it, and lets a broken state through to its owner.
        const double number = static_cast<double>(ruling.number);
        for (const double clipped :
             {ClipLanes(number, -2.0, 3.0), ClipLanes(Double2{0.0, number}, -2.0, 3.0).get(1)}) {
            EXPECT_TRUE(std::isnan(number) ? std::isnan(clipped)
                                           : clipped == static_cast<double>(ruling.between));
        }
    }
}

TEST(DenormalGuardTest, FlushesWhatComesInAndGoesOutAndGivesTheModeBack) {
    volatile float smallest = std::numeric_limits<float>::min();
    volatile float denormal = smallest * 0.5F;
    {
        const DenormalGuard guard;
        { const DenormalGuard inner; }
        volatile float out = smallest * 0.5F;
        EXPECT_EQ(out, 0.0F) << "the inner guard gave back the outer one's mode";
        out = denormal * 1e30F;
        EXPECT_EQ(out, 0.0F);
    }
    EXPECT_GT(denormal * 1e30F, 0.0F);
}

} // namespace
} // namespace Velmora::dsp
