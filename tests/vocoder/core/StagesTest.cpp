// SPDX-License-Identifier: GPL-3.0-or-later
// Stages by themselves, at voltages that no setting of the core brings about.
#include "reference/BandModels.h"
#include "reference/UnvoicedModels.h"
#include "rigs/StageRig.h"
#include "vocoder/core/banks/AnalyzerRectifiers.h"
#include "vocoder/core/gain/VCAGate.h"
#include "vocoder/core/unvoiced/HFChannel.h"
#include "vocoder/core/unvoiced/NoiseShaper.h"

using namespace Velmora::Processor;
using namespace orphia::test;
using namespace orphia_reference;
using Velmora::u32;
using Velmora::Test::Signals;

namespace {

constexpr u32 block = 44;
constexpr u32 bands = 16;
constexpr double rates[] = {44100.0, 96000.0, 192000.0};

/// Holds a module to a model that steps through the same inputs.
void ExpectFollows(auto& module, double rate, const Signals& inputs, const auto& step) {
    module.Initialize(static_cast<float>(rate), block);
    const std::vector<float> got = Velmora::Test::Render(module, inputs, 1)[0];
    std::vector<double> expected;
    for (std::size_t n = 0; n < got.size(); ++n) {
        expected.push_back(step(n));
    }
    EXPECT_LT(DifferenceDb(got, expected), -110.0) << "rate " << rate;
}

} // namespace

TEST(NoiseShaper, IsItsCircuit) {
    for (const double rate : rates) {
        NoiseShaper shaper;
        shaper.Prepare(rate);
        NoiseShapingModel model(rate);
        auto sound = Noise(44000, 1.0F, 9);
        std::vector<double> expected(sound.size());
        std::transform(sound.begin(), sound.end(), expected.begin(), [&](float x) { return model.Step(x); });
        NoiseShaper::Run(static_cast<u32>(sound.size()), {shaper, sound.data()});
        EXPECT_LT(DifferenceDb(sound, expected), -120.0) << "rate " << rate;
    }
}

TEST(AnalyzerRectifiers, FollowTheirCircuitsInSoundAndAtRest) {
    for (const double rate : rates) {
        Signals inputs;
        for (u32 band = 0; band < bands; ++band) {
            // Noise at ever lower levels, down into the dead zone, on top of a voltage at rest.
            inputs.push_back(Noise(8800, 10.0F / static_cast<float>(1U << band), band + 1));
            for (float& x : inputs.back()) {
                x += band % 2 == 0 ? 0.02F : -0.03F;
            }
        }
        AnalyzerRectifiers rectifiers;
        rectifiers.SetParameterValue(rectifiers.ParameterId(AnalyzerRectifiers::Attack), 0.003F);
        rectifiers.SetParameterValue(rectifiers.ParameterId(AnalyzerRectifiers::Release), 0.02F);
        rectifiers.Initialize(static_cast<float>(rate), block);
        const Signals outputs = Velmora::Test::Render(rectifiers, inputs, 2 * bands);
        for (u32 band = 0; band < bands; ++band) {
            RectifierFollowerModel model(band == 0, rate);
            model.follower.SetTimes(0.003F, 0.02F, rate);
            for (std::size_t n = 0; n < inputs[band].size(); ++n) {
                const auto expected = model.Step(inputs[band][n]);
                // A band at the 15 V supply gives 0.002.
                ASSERT_NEAR(outputs[band][n], expected.envelope, 2e-9) << "band " << band + 1;
                ASSERT_NEAR(outputs[bands + band][n], expected.direct, 2e-9) << "band " << band + 1;
            }
        }
    }
}

TEST(VCAGate, FollowsItsCircuitAtAnyVoltage) {
    // The control passes every piece of its curve and rests at some voltages; the signal every piece of the
    // limiter.
    Signals inputs = {Noise(44000, 20.0F, 3), Signals::value_type(44000)};
    for (std::size_t n = 0; n < inputs[0].size(); ++n) {
        inputs[1][n] = n / 4400 % 2 == 0 ? 1.6F * std::sin(0.003F * static_cast<float>(n)) - 0.6F
                                         : static_cast<float>(n / 440 % 10) - 7.3F;
    }
    for (const double rate : rates) {
        GateModel model = GateModel::ForBus(rate);
        model.SetCorners(300.0, 20.0);
        VCAGate gate;
        gate.SetParameterValue(VCAGate::Pot, 0.05178F);
        gate.SetParameterValue(VCAGate::FcGateAttack, 300.0F);
        gate.SetParameterValue(VCAGate::FcGateRelease, 20.0F);
        gate.preGain = 12.019231F;
        gate.postGain = 20000.0F;
        ExpectFollows(gate, rate, inputs,
                      [&](std::size_t n) { return model.Step(inputs[0][n], inputs[1][n]); });
        EXPECT_NEAR(gate.lastGate, model.gate, 1e-9);
    }
}

TEST(HFChannel, FollowsItsCircuitGatedAndOpen) {
    Signals inputs = {Noise(44000, 8.0F, 5), Signals::value_type(44000, 15.0F)};
    std::fill_n(inputs[1].begin() + 10000, 15000, -15.0F);
    for (const double rate : rates) {
        for (const int mode : {0, 1}) {
            HFChannel channel;
            channel.SetParameterValue(HFChannel::HFMode, static_cast<float>(mode));
            channel.SetParameterValue(HFChannel::HFLevel, 0.5F);
            channel.SetParameterValue(HFChannel::AttackHF, 500.0F);
            channel.SetParameterValue(HFChannel::ReleaseHF, 30.0F);
            HfChannelModel model(rate);
            model.BeginBlock({1.592, static_cast<double>(mode), 0.5}, 500.0, 30.0);
            ExpectFollows(channel, rate, inputs,
                          [&](std::size_t n) { return model.Step(inputs[0][n], inputs[1][n]); });
        }
    }
}
