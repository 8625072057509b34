// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/DenormalGuard.h"

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
        EXPECT_EQ(HalveTheSmallest(), 0.0F);
        {
            const DenormalGuard inner;
            EXPECT_EQ(HalveTheSmallest(), 0.0F);
        }
        EXPECT_EQ(HalveTheSmallest(), 0.0F) << "the inner guard gave back the outer one's mode";
    }
    EXPECT_GT(HalveTheSmallest(), 0.0F);
}

TEST(DenormalGuardTest, ACallerThatFlushesAlreadyKeepsDoingSo) {
    const u64 before = Platform::FloatMode();
    const u64 flushed = Platform::WithDenormalsFlushed(before);
    Platform::SetFloatMode(flushed);
    { const DenormalGuard guard; }
    const u64 after = Platform::FloatMode();
    Platform::SetFloatMode(before);
    EXPECT_EQ(after, flushed);
}

} // namespace
} // namespace Velmora::dsp
