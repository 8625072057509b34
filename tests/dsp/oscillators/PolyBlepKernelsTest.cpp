// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/PolyBlepKernels.h"

#include <gtest/gtest.h>

namespace {

using namespace Velmora::dsp::polyblep;

TEST(PolyBlepKernels, TheBendIsTheIntegralOfTheStepAndBothEndAtTheirReach) {
    EXPECT_EQ(StepResidual(0.0F), -1.0F) << "meets the middle of the jump";
    EXPECT_NEAR(StepResidual(kernelReach), 0.0F, 1e-4F);
    EXPECT_NEAR(BendResidual(kernelReach), 0.0F, 1e-4F);
    constexpr double h = 1e-4;
    for (int i = 1; i < 40; ++i) {
        const double x = 0.05 * i;
        EXPECT_NEAR((BendResidual(x + h) - BendResidual(x - h)) / (2.0 * h), StepResidual(x), 1e-6) << x;
        EXPECT_GT(StepResidual(x), StepResidual(x - 0.05)) << "no overshoot at " << x;
        const auto single = static_cast<float>(x);
        EXPECT_EQ(StepWithinReach(Float4(single)).get(2), StepResidual(single));
        EXPECT_EQ(BendWithinReach(Float4(single)).get(1), BendResidual(single));
    }
    EXPECT_EQ(StepWithinReach(Float4(kernelReach)).get(0), 0.0F);
    EXPECT_EQ(BendWithinReach(Float4(3.0F)).get(3), 0.0F);
}

} // namespace
