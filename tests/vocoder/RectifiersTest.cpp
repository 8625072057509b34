// SPDX-License-Identifier: GPL-3.0-or-later
#include "ModuleRig.h"
#include "reference/RectifierModel.h"
#include "vocoder/AnalyzerRectifiers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

namespace {

using namespace orphia::test;
using orphia_reference::RectifierCircuit;
using Velmora::Processor::AnalyzerRectifiers;
using Velmora::Processor::RectifierFollower;

constexpr u32 bands = 16;
/// A band at the 15 V supply gives this control value.
constexpr double fullScale = 15.0 * 0.0001327;

RectifierCircuit CircuitOf(u32 band) {
    return band == 0 ? RectifierCircuit::LowestBand() : RectifierCircuit::OtherBands();
}

/// A signal for each band, none for the two modulations.
struct RectifierInputs {
    std::vector<Signal> signals;
    std::vector<const Signal*> pointers;

    explicit RectifierInputs(std::size_t frames) {
        for (u32 band = 0; band < bands; ++band) {
            signals.push_back(Noise(frames, 10.0F, band + 1));
        }
        for (const Signal& signal : signals) {
            pointers.push_back(&signal);
        }
        pointers.resize(bands + 2, nullptr);
    }
};

std::unique_ptr<AnalyzerRectifiers> Make(float attack, float release) {
    auto rectifiers = std::make_unique<AnalyzerRectifiers>();
    rectifiers->SetParameterValue(AnalyzerRectifiers::attackId, attack);
    rectifiers->SetParameterValue(AnalyzerRectifiers::releaseId, release);
    rectifiers->Initialize(48000.0F, 48);
    return rectifiers;
}

TEST(AnalyzerRectifiers, EveryBandSettlesAtTheStaticCurveOfItsRectifier) {
    for (const double x : {-10.0, -1.0, -0.01, 0.0, 0.005, 0.1, 1.0, 13.0}) {
        const auto rectifiers = Make(0.001F, 0.01F);
        RectifierInputs inputs(48000);
        std::fill(inputs.signals.begin(), inputs.signals.end(), Signal(48000, static_cast<float>(x)));
        const auto outputs = Render(*rectifiers, inputs.pointers, 2 * bands, BlockSplit::Of(48));
        for (u32 output = 0; output < 2 * bands; ++output) {
            const double volts = CircuitOf(output % bands).SteadyVolts(x);
            EXPECT_NEAR(outputs[output].back(), std::max(0.0, volts) * 0.0001327, 1e-6 * fullScale)
                << "input " << x << ", output " << output;
        }
    }
}

TEST(AnalyzerRectifiers, AttackAndReleaseAreTheTimesToOneOverE) {
    constexpr float rate = 48000.0F;
    for (const auto& [attack, release] : {std::pair{0.1F, 0.5F}, std::pair{1.0F, 0.3F}}) {
        const auto rectifiers = Make(attack, release);
        const auto play = [&](float level, float seconds) {
            const Signal steady(static_cast<std::size_t>(rate * seconds), level);
            std::vector<const Signal*> inputs(bands, &steady);
            inputs.resize(bands + 2, nullptr);
            return Render(*rectifiers, inputs, 2 * bands, BlockSplit::Of(48))[1];
        };
        const auto secondsUntil = [&](const Signal& signal, auto&& condition) {
            const auto found = std::find_if(signal.begin(), signal.end(), condition);
            return static_cast<double>(found - signal.begin()) / rate;
        };
        // The filters before it settle within some 30 ms, short against the times measured.
        const Signal rise = play(10.0F, 8.0F * attack);
        const float top = rise.back();
        EXPECT_NEAR(secondsUntil(rise, [top](float v) { return v > 0.632120559F * top; }), attack, 0.012);
        const Signal fall = play(0.0F, 2.0F * release);
        EXPECT_NEAR(secondsUntil(fall, [top](float v) { return v < 0.367879441F * top; }), release, 0.012);
    }
}

TEST(RectifierFollower, DoesAloneWhatItDoesInTheBank) {
    const RectifierInputs inputs(8800);
    const auto rectifiers = Make(0.001F, 0.05F);
    const auto outputs = Render(*rectifiers, inputs.pointers, 2 * bands, BlockSplit::Of(48));
    for (const u32 band : {0U, 1U, 15U}) {
        RectifierFollower single("",
                                 band == 0 ? RectifierFollower::LowestBand : RectifierFollower::OtherBand);
        single.SetParameterValue(RectifierFollower::Attack, 0.001F);
        single.SetParameterValue(RectifierFollower::Release, 0.05F);
        single.Initialize(48000.0F, 48);
        const auto alone = Render(single, {&inputs.signals[band]}, 2, BlockSplit::Of(48));
        for (std::size_t n = 0; n < alone[0].size(); ++n) {
            ASSERT_NEAR(outputs[band][n], alone[0][n], 1e-6 * fullScale) << "band " << band + 1;
            ASSERT_NEAR(outputs[bands + band][n], alone[1][n], 1e-6 * fullScale) << "band " << band + 1;
        }
    }
}

TEST(AnalyzerRectifiers, SilenceEndsInExactSilence) {
    const auto rectifiers = Make(0.001F, 0.01F);
    RectifierInputs inputs(4400);
    for (Signal& signal : inputs.signals) {
        signal.resize(48400, 0.0F);
    }
    for (const Signal& output : Render(*rectifiers, inputs.pointers, 2 * bands, BlockSplit::Of(48))) {
        EXPECT_EQ(output.back(), 0.0F);
    }
}

TEST(AnalyzerRectifiers, ABrokenSampleSilencesItsBandForABlockAtMost) {
    const auto rectifiers = Make(0.001F, 0.01F);
    RectifierInputs inputs(8800);
    inputs.signals[2][10] = std::numeric_limits<float>::quiet_NaN();
    inputs.signals[3][12] = std::numeric_limits<float>::infinity();
    const auto outputs = Render(*rectifiers, inputs.pointers, 2 * bands, BlockSplit::Of(48));
    for (const u32 band : {2U, 3U}) {
        const Signal after(outputs[band].begin() + 48, outputs[band].end());
        EXPECT_TRUE(AllFinite(after));
        EXPECT_GT(Peak(after), 1e-4F) << "band " << band + 1 << " must sound again";
    }
    EXPECT_TRUE(AllFinite(outputs[4])) << "the neighbours are not touched";
}

} // namespace
