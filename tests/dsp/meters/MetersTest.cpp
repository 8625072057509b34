// SPDX-License-Identifier: GPL-3.0-or-later
// Against recursions of their own in double precision; resets and faults: ModulePromisesTest.
#include "dsp/meters/InputDetector.h"
#include "dsp/meters/VuMeter.h"
#include "rigs/StageRig.h"

#include <limits>

using namespace orphia::test;
using namespace Velmora::dsp;

TEST(InputDetectorTest, FollowsTheOneChannelOrTheMeanOfBothAsDefinedWhateverTheBlocks) {
    struct Case {
        float rate, hold;
        std::size_t holdFrames;
    };
    for (const Case& c : {Case{48000.0F, 0.001F, 48}, {192000.0F, 0.002F, 384}, {44100.0F, 0.0121F, 533}}) {
        // Bursts near the hold time: often the gate turns in the frame before the level turns back.
        std::mt19937 random(5);
        Signal bursts;
        for (std::size_t i = 0; i < 400; ++i) {
            bursts.resize(bursts.size() + c.holdFrames / 2 + random() % (c.holdFrames * 5 / 4),
                          static_cast<float>(1 - static_cast<int>(i % 4)) * (i % 2 == 0 ? 1.0F : 0.0F));
        }
        bursts.resize(bursts.size() / 240 * 240);
        Signal high = bursts;
        Signal low = bursts;
        InputDetector fine;
        InputDetector coarse;
        for (InputDetector* gate : {&fine, &coarse}) {
            gate->Initialize(c.rate, 256);
            gate->SetParameterValue(InputDetector::Threshold, -6.0F);
            gate->SetParameterValue(InputDetector::Hold, c.hold);
        }
        double level = 0.0;
        bool open = false;
        std::size_t against = 0;
        int turns = 0;
        for (std::size_t n = 0; n < bursts.size(); ++n) {
            high[n] *= 1.75F;
            low[n] *= -0.25F;
            level += (std::abs(static_cast<double>(bursts[n])) - level) *
                     -std::expm1(-1000.0 / static_cast<double>(c.rate));
            const bool wants = level > std::pow(10.0, -6.0 / 20.0);
            against = wants == open ? 0 : against + 1;
            turns += against > c.holdFrames ? 1 : 0;
            open = against > c.holdFrames ? wants : open;
            const auto expectOpen = [&, n](InputDetector& gate, u32 inputs, u32 block) {
                const float* pointers[] = {(inputs == 1 ? bursts : high).data() + n + 1 - block,
                                           low.data() + n + 1 - block};
                ProcessContext context;
                context.inputs = pointers;
                context.numInputs = inputs;
                context.numFrames = block;
                RunChild(gate, context);
                ASSERT_EQ(gate.IsOpen(), open) << c.rate << ", frame " << n;
            };
            if (n % 4 == 3) {
                ASSERT_NO_FATAL_FAILURE(expectOpen(fine, 1, 4));
            }
            if (n % 240 == 239) {
                ASSERT_NO_FATAL_FAILURE(expectOpen(coarse, 2, 240));
            }
        }
        EXPECT_GT(turns, 50);
    }
}

namespace {

/// What a meter reads in dB after a signal.
double Reading(VuMeter& meter, const Signal& signal, const BlockSplit& split = BlockSplit::Of(44)) {
    Render(meter, {&signal}, 0, split);
    return static_cast<double>(meter.FindParameter(VuMeter::Output)->GetValue());
}

double Gain(double decibels) { return std::pow(10.0, decibels / 20.0); }

} // namespace

TEST(VuMeterTest, RisesToNinetyNinePercentOfThePowerInThreeTenthsOfASecondAndFallsAsFast) {
    for (const std::size_t rate : {44000U, 192000U}) {
        VuMeter meter;
        meter.Initialize(static_cast<float>(rate), 256);
        // A steady level has twice the power of a sine of that amplitude.
        const auto level = static_cast<float>(Gain(-18.0) * std::sqrt(0.5));
        EXPECT_NEAR(Reading(meter, Signal(rate * 3 / 10, level)), 10.0 * std::log10(0.99), 2e-3) << rate;
        EXPECT_NEAR(Reading(meter, Signal(rate * 2, level)), 0.0, 1e-3) << rate;
        // 20 dB in 300 ms.
        EXPECT_NEAR(Reading(meter, Signal(rate * 3 / 20, 0.0F)), -10.0, 0.02) << rate;
    }
}

TEST(VuMeterTest, TheReadingIsThatOfTheRecursionForAnyBlocksWithinTheScale) {
    constexpr double references[] = {-18.0, -14.0, -8.0};
    // A burst in the last frames weighs each frame of a quad differently.
    for (std::size_t place = 0; place < 16; ++place) {
        Signal signal = Noise(2400, place == 13 ? 0.003F : 0.15F, 9);
        signal[signal.size() - 1 - place] = place == 13 ? 0.0F : place == 14 ? 80.0F : 5.0F;
        const double k = 48000.0 * 0.13028835;
        double y = 0.0;
        double lastSquare = 0.0;
        for (const float x : signal) {
            const double square = static_cast<double>(x) * static_cast<double>(x);
            y = ((k - 1.0) * y + square + lastSquare) / (k + 1.0);
            lastSquare = square;
        }
        for (const BlockSplit& split : {BlockSplit::Of(4), BlockSplit::Random(256, 30, 1)}) {
            VuMeter meter;
            meter.Initialize(48000.0F, 256);
            meter.SetParameterValue(VuMeter::Calibration, static_cast<float>(place % 3));
            const double expected = 10.0 * std::log10(y) - references[place % 3] + 3.0103;
            EXPECT_NEAR(Reading(meter, signal, split), std::clamp(expected, -20.0, 3.0), 1e-4) << place;
            EXPECT_EQ(expected > 3.0 || expected < -20.0, place == 13 || place == 14) << expected;
        }
    }
}
