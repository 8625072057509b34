// SPDX-License-Identifier: GPL-3.0-or-later
// Against recursions of their own in double precision; resets and faults: ModulePromisesTest.
#include "dsp/meters/InputDetector.h"
#include "dsp/meters/VuMeter.h"
#include "reference/Sections.h"
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
    for (std::size_t place = 0; place < 12; ++place) {
        const double rate = place % 2 == 0 ? 48000.0 : 192000.0;
        Signal signal = Noise(2400, 0.15F, 9);
        signal[signal.size() - 1 - place] = 5.0F; // near the end each frame of a quad weighs differently
        // 99 % of the way in 0.3 s, by the bilinear transform.
        orphia_reference::OnePole smooth(orphia_reference::Shape::LowPass,
                                         std::atan(std::log(100.0) / (0.6 * rate)));
        double power = 0.0;
        for (const float x : signal) {
            power = smooth.Step(static_cast<double>(x) * static_cast<double>(x));
        }
        VuMeter meter;
        meter.Initialize(static_cast<float>(rate), 256);
        meter.SetParameterValue(VuMeter::Calibration, static_cast<float>(place % 3));
        Render(meter, {&signal}, 0, BlockSplit::Random(256, 30, 1));
        // A sine of amplitude 1 reads 0 dB.
        EXPECT_NEAR(meter.FindParameter(VuMeter::Output)->GetValue(),
                    std::clamp(10.0 * std::log10(2.0 * power) - references[place % 3], -20.0, 3.0), 1e-4);
    }
}
