// SPDX-License-Identifier: GPL-3.0-or-later
#include "ModuleRig.h"
#include "reference/VcaModel.h"
#include "vocoder/SynthesizerVCABank.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace {

using namespace orphia::test;
using orphia_reference::VcaModel;
using Velmora::Processor::SynthesizerVCA;
using Velmora::Processor::SynthesizerVCABank;

constexpr u32 bands = 16;

/// Every amplifier of a bank on its own controls.
struct BankInputs {
    std::vector<Signal> signals;
    std::vector<const Signal*> pointers;

    explicit BankInputs(float busLevel) {
        for (u32 i = 0; i < 2 * bands; ++i) {
            Signal control = Noise(440, 1e-3F, i + 1);
            for (float& x : control) {
                x = std::abs(x);
            }
            signals.push_back(control);
        }
        signals.push_back(Noise(440, busLevel, 101));
        signals.push_back(Noise(440, busLevel, 102));
        for (const Signal& signal : signals) {
            pointers.push_back(&signal);
        }
    }
};

TEST(SynthesizerVCABank, EveryAmplifierFollowsTheCircuitWithItsPolarity) {
    for (const float level : {0.01F, 1.0F, 13.5F, 400.0F}) {
        const BankInputs inputs(level);
        SynthesizerVCABank bank;
        bank.Initialize(44100.0F, 44);
        const auto outputs = Render(bank, inputs.pointers, bands, BlockSplit::Of(44));
        for (u32 band = 0; band < bands; ++band) {
            VcaModel model;
            model.polarity = VcaModel::PolarityOfBand(static_cast<int>(band));
            for (std::size_t n = 0; n < 440; ++n) {
                const double expected = model.Step(inputs.signals[32][n], inputs.signals[33][n],
                                                   inputs.signals[band][n], inputs.signals[bands + band][n]);
                ASSERT_NEAR(outputs[band][n], expected, 1e-4)
                    << "band " << band + 1 << ", bus level " << level;
            }
        }
    }
}

TEST(SynthesizerVCABank, EqualsSixteenSingleAmplifiers) {
    const BankInputs inputs(5.0F);
    SynthesizerVCABank bank;
    bank.Initialize(44100.0F, 44);
    const auto outputs = Render(bank, inputs.pointers, bands, BlockSplit::Of(44));
    for (const u32 band : {0U, 1U, 15U}) {
        SynthesizerVCA single(band % 2 == 0 ? -1.0F : 1.0F, "VCA");
        single.Initialize(44100.0F, 440);
        const std::vector<const Signal*> pins = {&inputs.signals[32], &inputs.signals[33],
                                                 &inputs.signals[band], &inputs.signals[bands + band]};
        EXPECT_EQ(Render(single, pins, 1, BlockSplit::Of(440))[0], outputs[band]) << "band " << band + 1;
    }
}

TEST(SynthesizerVCA, TheDistortionDependsOnTheBusAndNotOnTheControl) {
    SynthesizerVCA vca(1.0F, "VCA");
    vca.Initialize(44100.0F, 44);
    const Signal bus = Noise(44, 20.0F, 3);
    const Signal silence(44, 0.0F);
    const Signal full(44, 1e-3F);
    const Signal half(44, 0.5e-3F);
    const auto loud = Render(vca, {&bus, &silence, &full, &silence}, 1, BlockSplit::Of(44))[0];
    const auto soft = Render(vca, {&bus, &silence, &half, &silence}, 1, BlockSplit::Of(44))[0];
    const auto none = Render(vca, {&bus, &bus, &silence, &silence}, 1, BlockSplit::Of(44))[0];
    for (std::size_t n = 0; n < bus.size(); ++n) {
        EXPECT_FLOAT_EQ(soft[n], 0.5F * loud[n]);
        EXPECT_EQ(none[n], 0.0F);
        EXPECT_LE(std::abs(loud[n]), 100.0F * 1.0001F) << "the saturation is bounded";
    }
}

} // namespace
