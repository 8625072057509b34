// SPDX-License-Identifier: GPL-3.0-or-later
// Against recursions of their own in double precision; resets and faults: ModulePromisesTest.
#include "dsp/meters/InputDetector.h"
#include "dsp/meters/VuMeter.h"
#include "rigs/ModuleRig.h"

#include <tuple>

using namespace orphia::test;
using namespace Velmora::dsp;

TEST(InputDetectorTest, FollowsTheMeanOfItsChannelsAsDefined) {
    for (const auto& [rate, hold, holdFrames] :
         {std::tuple(48000.0F, 0.001F, 48U), {192000.0F, 0.002F, 384U}, {44100.0F, 0.0121F, 533U}}) {
        // Bursts near the hold time: often the gate turns in the frame before the level turns back.
        std::mt19937 random(5);
        Signal bursts;
        for (std::size_t i = 0; i < 400; ++i) {
            constexpr float heights[] = {1.0F, 0.0F, -1.0F, 0.0F};
            bursts.resize(bursts.size() + holdFrames / 2 + random() % (holdFrames * 5 / 4), heights[i % 4]);
        }
        InputDetector gate;
        gate.Initialize(rate, 256);
        gate.SetParameterValue(InputDetector::Threshold, -6.0F);
        gate.SetParameterValue(InputDetector::Hold, hold);
        double level = 0.0;
        bool open = false;
        std::size_t against = 0;
        Signal left;
        Signal right;
        for (std::size_t n = 0; n < bursts.size(); ++n) {
            left.push_back(1.75F * bursts[n]);
            right.push_back(-0.25F * bursts[n]);
            level += (std::abs(static_cast<double>(bursts[n])) - level) *
                     -std::expm1(-1000.0 / static_cast<double>(rate));
            const bool wants = level > std::pow(10.0, -6.0 / 20.0);
            against = wants == open ? 0 : against + 1;
            open = against > holdFrames ? wants : open;
            if (n % 4 == 3) {
                Render(gate, {&left, &right}, 0, BlockSplit::Of(4));
                ASSERT_EQ(gate.IsOpen(), open) << rate << ", frame " << n;
                left.clear();
                right.clear();
            }
        }
    }
}

TEST(VuMeterTest, ReadsThePowerOverThreeTenthsOfASecondWithinItsScale) {
    constexpr double references[] = {-18.0, -14.0, -8.0};
    // A burst in the last frames weighs each frame of a quad differently.
    for (std::size_t place = 0; place < 16; ++place) {
        const float rate = place % 2 == 0 ? 48000.0F : 192000.0F;
        Signal signal = Noise(2400, place == 13 ? 0.003F : 0.15F, 9);
        signal[signal.size() - 1 - place] = place == 13 ? 0.0F : place == 14 ? 160.0F : 5.0F;
        // 99 % of the way in 0.3 s, by the bilinear transform.
        const double k = 2.0 * static_cast<double>(rate) * 0.3 / std::log(100.0);
        double y = 0.0;
        double lastSquare = 0.0;
        for (const float x : signal) {
            const double square = static_cast<double>(x) * static_cast<double>(x);
            y = ((k - 1.0) * y + square + lastSquare) / (k + 1.0);
            lastSquare = square;
        }
        VuMeter meter;
        meter.Initialize(rate, 256);
        meter.SetParameterValue(VuMeter::Calibration, static_cast<float>(place % 3));
        Render(meter, {&signal}, 0, BlockSplit::Random(256, 30, 1));
        // A steady level has twice the power of a sine of that amplitude.
        const double expected = 10.0 * std::log10(2.0 * y) - references[place % 3];
        EXPECT_NEAR(meter.FindParameter(VuMeter::Output)->GetValue(), std::clamp(expected, -20.0, 3.0), 1e-4);
        EXPECT_EQ(expected > 3.0 || expected < -20.0, place == 13 || place == 14) << expected;
    }
}
