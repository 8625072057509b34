// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/OverloadDetector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace Velmora;
using namespace Velmora::Processor;

TEST(OverloadDetectorTest, RisesAndFallsOncePerBlockWithASevenMillisecondSmoother) {
    OverloadDetector detector;
    detector.Initialize(48000.0F, 44);
    const double leftPerBlock = std::exp(-5.0 * 44.0 * 141.0 / 48000.0);
    for (const std::size_t position : {0U, 5U, 10U, 43U}) {
        detector.Reset();
        std::vector<float> block(44, 1.0F);
        block[position] = position % 2 == 0 ? -9.8125F : 9.8125F;
        double expected = 0.0;
        for (int n = 0; n < 20; ++n) {
            detector.Update(block.data(), 44);
            expected = 0.5 + (expected - 0.5) * leftPerBlock;
            EXPECT_NEAR(detector.overloadValue, expected, 1e-6) << "peak at " << position << ", block " << n;
        }
        block[position] = 9.3125F;
        for (int n = 0; n < 5; ++n) {
            detector.Update(block.data(), 44);
            expected *= leftPerBlock;
            EXPECT_NEAR(detector.overloadValue, expected, 1e-6) << "falling, block " << n;
        }
    }
}

TEST(OverloadDetectorTest, SaturatesAtOneVoltAndFallsInEmptyBlocks) {
    OverloadDetector detector;
    detector.Initialize(48000.0F, 44);
    const std::vector<float> block(44, -200.0F);
    detector.Update(block.data(), 44);
    EXPECT_EQ(detector.overloadValue, 1.0F);
    for (int n = 0; n < 200; ++n) {
        detector.Update(block.data(), 0);
    }
    EXPECT_LT(detector.overloadValue, 1e-6F);
}
