// SPDX-License-Identifier: GPL-3.0-or-later
#include "ModuleRig.h"
#include "reference/RectifierModel.h"
#include "vocoder/AnalyzerRectifiers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace orphia::test;
using orphia_reference::CoefficientMath;
using orphia_reference::RectifierCircuit;
using orphia_reference::RectifierFollowerModel;
using Velmora::Processor::AnalyzerRectifiers;
using Velmora::Processor::RectifierFollower;

constexpr u32 bands = 16;
/// A band at the 15 V supply gives this control value.
constexpr double fullScale = 15.0 * 0.0001327;

RectifierCircuit CircuitOf(u32 band) {
    return band == 0 ? RectifierCircuit::LowestBand() : RectifierCircuit::OtherBands();
}

/// Tone bursts of several levels with silence between them, in volts.
Signal Bursts(std::size_t frames, double rate, double hz) {
    Signal signal(frames);
    for (std::size_t n = 0; n < frames; ++n) {
        const double t = static_cast<double>(n) / rate;
        const double level = std::fmod(t, 0.1) < 0.05 ? 10.0 * std::fmod(t * 3.7, 1.0) : 0.0;
        signal[n] = static_cast<float>(level * std::sin(6.283185307 * hz * t));
    }
    return signal;
}

struct RectifierInputs {
    std::vector<Signal> signals;
    std::vector<const Signal*> pointers;
};

RectifierInputs BandBursts(std::size_t frames, double rate) {
    RectifierInputs inputs;
    for (u32 band = 0; band < bands; ++band) {
        inputs.signals.push_back(Bursts(frames, rate, 150.0 * std::pow(1.26, band)));
    }
    for (const Signal& signal : inputs.signals) {
        inputs.pointers.push_back(&signal);
    }
    inputs.pointers.resize(bands + 2, nullptr);
    return inputs;
}

void SetTimes(AnalyzerRectifiers& rectifiers, float attack, float release) {
    rectifiers.SetParameterValue(AnalyzerRectifiers::attackId, attack);
    rectifiers.SetParameterValue(AnalyzerRectifiers::releaseId, release);
}

TEST(RectifierFollower, SettlesAtTheStaticCurveOfItsRectifier) {
    for (const auto type : {RectifierFollower::LowestBand, RectifierFollower::OtherBand}) {
        const RectifierCircuit circuit = CircuitOf(type == RectifierFollower::LowestBand ? 0 : 1);
        for (const double x : {-10.0, -1.0, -0.01, 0.0, 0.005, 0.1, 1.0, 13.0}) {
            RectifierFollower follower("", type);
            follower.SetParameterValue(RectifierFollower::Attack, 0.001F);
            follower.SetParameterValue(RectifierFollower::Release, 0.01F);
            follower.Initialize(48000.0F, 48);
            const Signal constant(48000, static_cast<float>(x));
            const auto outputs = Render(follower, {&constant}, 2, BlockSplit::Of(48));
            const double expected = std::max(0.0, circuit.SteadyVolts(x)) * 0.0001327;
            EXPECT_NEAR(outputs[1].back(), expected, 1e-6 * fullScale) << "input " << x;
            EXPECT_NEAR(outputs[0].back(), expected, 1e-6 * fullScale) << "input " << x;
        }
    }
}

TEST(RectifierFollower, AttackAndReleaseAreTheTimesToOneOverE) {
    RectifierFollower follower("", RectifierFollower::OtherBand);
    constexpr float rate = 192000.0F;
    for (const auto& [attack, release] : {std::pair{0.1F, 0.5F}, std::pair{1.0F, 0.3F}}) {
        follower.SetParameterValue(RectifierFollower::Attack, attack);
        follower.SetParameterValue(RectifierFollower::Release, release);
        follower.Initialize(rate, 192);
        // The filters before it settle within some 30 ms, short against the times measured.
        Signal step(static_cast<std::size_t>(rate * (8.0F * attack)), 10.0F);
        const auto rise = Render(follower, {&step}, 2, BlockSplit::Of(192))[0];
        const float top = rise.back();
        const auto risen =
            std::find_if(rise.begin(), rise.end(), [top](float v) { return v > 0.632120559F * top; });
        EXPECT_NEAR(static_cast<double>(risen - rise.begin()) / rate, attack, 0.012) << "attack";
        Signal silence(static_cast<std::size_t>(rate * 2.0F * release), 0.0F);
        const auto fall = Render(follower, {&silence}, 2, BlockSplit::Of(192))[0];
        const auto fallen =
            std::find_if(fall.begin(), fall.end(), [top](float v) { return v < 0.367879441F * top; });
        EXPECT_NEAR(static_cast<double>(fallen - fall.begin()) / rate, release, 0.012) << "release";
    }
}

TEST(AnalyzerRectifiers, EveryBandEqualsTheOneBandModelAndTheCircuit) {
    for (const double rate : {44100.0, 192000.0}) {
        const RectifierInputs inputs = BandBursts(static_cast<std::size_t>(rate), rate);
        for (const auto& [attack, release] : {std::pair{0.001F, 0.05F}, std::pair{0.02F, 30.0F}}) {
            AnalyzerRectifiers rectifiers;
            SetTimes(rectifiers, attack, release);
            rectifiers.Initialize(static_cast<float>(rate), 64);
            const auto outputs = Render(rectifiers, inputs.pointers, 2 * bands, BlockSplit::Of(64));
            for (const u32 band : {0U, 1U, 8U, 15U}) {
                RectifierFollower single("", band == 0 ? RectifierFollower::LowestBand
                                                       : RectifierFollower::OtherBand);
                single.SetParameterValue(RectifierFollower::Attack, attack);
                single.SetParameterValue(RectifierFollower::Release, release);
                single.Initialize(static_cast<float>(rate), 64);
                const auto alone = Render(single, {&inputs.signals[band]}, 2, BlockSplit::Of(64));
                RectifierFollowerModel model(CircuitOf(band), rate, CoefficientMath::Double);
                model.SetTimes(attack, release);
                for (std::size_t n = 0; n < alone[0].size(); ++n) {
                    const auto expected = model.Step(inputs.signals[band][n]);
                    ASSERT_NEAR(outputs[band][n], alone[0][n], 1e-6 * fullScale)
                        << "band " << band + 1 << " " << n;
                    ASSERT_NEAR(outputs[bands + band][n], alone[1][n], 1e-6 * fullScale)
                        << "band " << band + 1;
                    ASSERT_NEAR(outputs[band][n], expected.envelope, 1e-6 * fullScale) << "band " << band + 1;
                    ASSERT_NEAR(outputs[bands + band][n], expected.direct, 1e-6 * fullScale)
                        << "band " << band + 1;
                }
            }
        }
    }
}

TEST(AnalyzerRectifiers, BlockSplitsAndInstructionSetsDoNotShow) {
    const RectifierInputs inputs = BandBursts(8800, 44100.0);
    std::vector<Signal> first;
    for (const auto* kernels : Velmora::Processor::AvailableVocoderKernels()) {
        for (const BlockSplit& split :
             {BlockSplit::Of(44), BlockSplit::Of(4), BlockSplit::Random(44, 60, 9)}) {
            AnalyzerRectifiers rectifiers;
            rectifiers.UseKernels(*kernels);
            SetTimes(rectifiers, 0.003F, 0.03F);
            rectifiers.Initialize(44100.0F, 44);
            auto outputs = Render(rectifiers, inputs.pointers, 2 * bands, split);
            if (first.empty()) {
                first = outputs;
            }
            EXPECT_EQ(outputs, first) << kernels->name;
        }
    }
}

TEST(AnalyzerRectifiers, TheMeterHoldsTheFirstSampleOfTheBlock) {
    AnalyzerRectifiers rectifiers;
    SetTimes(rectifiers, 0.001F, 0.01F);
    rectifiers.Initialize(44100.0F, 44);
    const RectifierInputs inputs = BandBursts(440, 44100.0);
    const auto outputs = Render(rectifiers, inputs.pointers, 2 * bands, BlockSplit::Of(44));
    for (u32 band = 0; band < bands; ++band) {
        EXPECT_EQ(rectifiers.meterValues[band], outputs[band][396]) << "band " << band + 1;
    }
    EXPECT_GT(rectifiers.meterValues[8], 0.0F);
}

TEST(AnalyzerRectifiers, SilenceEndsInExactSilenceAndResetEqualsANewObject) {
    AnalyzerRectifiers used;
    SetTimes(used, 0.001F, 0.01F);
    used.Initialize(44100.0F, 44);
    const RectifierInputs inputs = BandBursts(4400, 44100.0);
    Render(used, inputs.pointers, 2 * bands, BlockSplit::Of(44));
    const Signal silence(44100, 0.0F);
    std::vector<const Signal*> silent(bands, &silence);
    silent.resize(bands + 2, nullptr);
    const auto tail = Render(used, silent, 2 * bands, BlockSplit::Of(44));
    for (const Signal& output : tail) {
        EXPECT_EQ(output.back(), 0.0F);
    }
    Render(used, inputs.pointers, 2 * bands, BlockSplit::Of(44));
    used.Reset(true);
    AnalyzerRectifiers fresh;
    SetTimes(fresh, 0.001F, 0.01F);
    fresh.Initialize(44100.0F, 44);
    EXPECT_EQ(Render(used, inputs.pointers, 2 * bands, BlockSplit::Of(44)),
              Render(fresh, inputs.pointers, 2 * bands, BlockSplit::Of(44)));
}

TEST(AnalyzerRectifiers, ABrokenSampleSilencesItsBandForABlockAtMost) {
    AnalyzerRectifiers rectifiers;
    SetTimes(rectifiers, 0.001F, 0.01F);
    rectifiers.Initialize(44100.0F, 44);
    RectifierInputs inputs = BandBursts(8800, 44100.0);
    inputs.signals[2][10] = std::numeric_limits<float>::quiet_NaN();
    inputs.signals[3][12] = std::numeric_limits<float>::infinity();
    const auto outputs = Render(rectifiers, inputs.pointers, 2 * bands, BlockSplit::Of(44));
    for (const u32 band : {2U, 3U}) {
        const Signal after(outputs[band].begin() + 44, outputs[band].end());
        EXPECT_TRUE(AllFinite(after));
        EXPECT_GT(Peak(after), 1e-4F) << "band " << band + 1 << " must sound again";
    }
    EXPECT_TRUE(AllFinite(outputs[4])) << "the neighbours are not touched";
}

} // namespace
