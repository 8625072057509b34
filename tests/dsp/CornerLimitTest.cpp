// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/CornerLimit.h"

#include <gtest/gtest.h>

using Velmora::dsp::LimitCorner;

TEST(CornerLimitTest, HoldsCornersBelowNyquistAtLowRatesOnly) {
    EXPECT_EQ(LimitCorner(24000.0, 44100.0), 24000.0);
    EXPECT_DOUBLE_EQ(LimitCorner(24000.0, 32000.0), 15680.0);
    EXPECT_EQ(LimitCorner(15000.0, 32000.0), 15000.0);
    EXPECT_EQ(LimitCorner(1.0, 8000.0), 1.0);
}
