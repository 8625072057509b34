// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/meters/VuMeter.h"

#include "rigs/StageRig.h"

#include <limits>

using namespace orphia::test;
using Velmora::dsp::VuMeter;

namespace {

struct Meter {
    VuMeter meter;

    explicit Meter(float sampleRate = 48000.0F) { meter.Initialize(sampleRate, 256); }

    double Reading() { return static_cast<double>(meter.FindParameter(VuMeter::output)->GetValue()); }

    double Hear(const Signal& signal, const BlockSplit& split = BlockSplit::Of(44)) {
        Render(meter, {&signal}, 0, split);
        return Reading();
    }

    double Hear(double level, std::size_t frames) { return Hear(Signal(frames, static_cast<float>(level))); }
};

Signal Sine(double amplitude) { return Velmora::Test::Tone(48000, 1000.0, 48000.0, amplitude); }

double Gain(double decibels) { return std::pow(10.0, decibels / 20.0); }

} // namespace

TEST(VuMeterTest, RisesToNinetyNinePercentOfThePowerInThreeTenthsOfASecondAndFallsAsFast) {
    for (const std::size_t sampleRate : {44000U, 192000U}) {
        Meter meter(static_cast<float>(sampleRate));
        // A steady level has twice the power of a sine of that amplitude.
        const double level = Gain(-18.0) * std::sqrt(0.5);
        EXPECT_NEAR(meter.Hear(level, sampleRate * 3 / 10), 10.0 * std::log10(0.99), 2e-3) << sampleRate;
        EXPECT_NEAR(meter.Hear(level, sampleRate * 2), 0.0, 1e-3) << sampleRate;
        EXPECT_NEAR(meter.Hear(0.0, sampleRate * 3 / 20), -10.0, 0.02) << sampleRate;
    }
}

TEST(VuMeterTest, ASineReadsItsAmplitudeAgainstTheCalibrationWithinTheScale) {
    constexpr double references[] = {-18.0, -14.0, -8.0};
    for (u32 index = 0; index < 3; ++index) {
        for (const double decibels : {-12.5, 0.0, 2.5}) {
            Meter meter;
            meter.meter.SetParameterValue(VuMeter::calibration, static_cast<float>(index));
            EXPECT_NEAR(meter.Hear(Sine(Gain(references[index] + decibels))), decibels, 0.05) << index;
        }
    }
    Meter meter;
    EXPECT_EQ(meter.Hear(Sine(1.0)), 3.0);
    EXPECT_EQ(meter.Hear(Signal(48000, 0.0F)), -20.0);
}

TEST(VuMeterTest, TheReadingIsThatOfTheRecursionForAnyBlocks) {
    // A burst in the last frames weighs each frame of a quad differently.
    for (std::size_t place = 0; place < 12; ++place) {
        Signal signal = Noise(2400, 0.2F, 9);
        signal[signal.size() - 1 - place] = 5.0F;
        const double k = 48000.0 * 0.13028835;
        double y = 0.0;
        double lastSquare = 0.0;
        for (const float x : signal) {
            const double square = static_cast<double>(x) * static_cast<double>(x);
            y = ((k - 1.0) * y + square + lastSquare) / (k + 1.0);
            lastSquare = square;
        }
        for (const BlockSplit& split :
             {BlockSplit::Of(4), BlockSplit::Of(44), BlockSplit::Random(256, 30, 1)}) {
            Meter meter;
            EXPECT_NEAR(meter.Hear(signal, split), 10.0 * std::log10(y) + 18.0 + 3.0103, 1e-4) << place;
        }
    }
}

TEST(VuMeterTest, RecoversFromFaultsAndForgetsOnReset) {
    for (const float fault : {std::numeric_limits<float>::quiet_NaN(), 3e38F}) {
        Meter meter;
        meter.Hear(Signal(44, fault));
        meter.meter.SetParameterValue(VuMeter::calibration, fault);
        EXPECT_GE(meter.Reading(), -20.0);
        EXPECT_EQ(meter.Hear(Signal(44, 0.0F)), -20.0) << fault;
        meter.meter.SetParameterValue(VuMeter::calibration, 0.0F);
        EXPECT_NEAR(meter.Hear(Sine(Gain(-18.0))), 0.0, 0.05) << fault;
        meter.meter.Reset(false);
        EXPECT_EQ(meter.Hear(Signal(44, 0.0F)), -20.0) << fault;
    }
}
