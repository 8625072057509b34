// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/math/DenormalGuard.h"

#include "support/platform/FloatMode.h"

#include <gtest/gtest.h>

#include <limits>

namespace Velmora::dsp {
namespace {

/// Half of the smallest normal number, computed now.
float HalveTheSmallest() {
    volatile float smallest = std::numeric_limits<float>::min();
    volatile float half = smallest * 0.5F;
    return half;
}

TEST(DenormalGuardTest, FlushesWhileItLivesAndGivesTheModeBack) {
    if (Platform::WithDenormalsFlushed(0) == 0) {
        GTEST_SKIP() << "this processor has no such mode";
    }
    ASSERT_GT(HalveTheSmallest(), 0.0F) << "denormals are on outside";
    {
        const DenormalGuard guard;
        { const DenormalGuard inner; }
        EXPECT_EQ(HalveTheSmallest(), 0.0F) << "the inner guard gave back the outer one's mode";
    }
    EXPECT_GT(HalveTheSmallest(), 0.0F);
}

} // namespace
} // namespace Velmora::dsp
