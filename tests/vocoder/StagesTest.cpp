// SPDX-License-Identifier: GPL-3.0-or-later
// The linear stages of a channel against their circuits.
#include "StageRig.h"
#include "reference/NoiseModel.h"
#include "vocoder/CarrierPreamp.h"
#include "vocoder/HFChannel.h"
#include "vocoder/NoiseCarrierBalance.h"
#include "vocoder/NoiseShaper.h"
#include "vocoder/Preamp.h"
#include "vocoder/PreampAnalyzer.h"
#include "vocoder/RectifierFollowerHissBuzz.h"

using namespace Velmora;
using namespace Velmora::Processor;
using namespace Velmora::Test;

namespace {

/// An initialised module whose first parameter is set.
template <class M>
std::unique_ptr<M> MakeWith(float first, double sampleRate = 48000.0) {
    auto module = MakeStage<M>(sampleRate);
    module->SetParameterValue(0, first);
    return module;
}

Signal ImpulseFor(double seconds, double rate, float height = 1.0F) {
    return Impulse(static_cast<std::size_t>(seconds * rate / 4.0) * 4, height);
}

} // namespace

TEST(StagesTest, PreampsAreTheHighPassesOfTheirCircuits) {
    const double corner = 1.0 / (2.0 * pi * 2.2e-8 * std::sqrt(20000.0 * 39000.0));
    for (const double rate : responseRates) {
        ExpectResponse(Render(*MakeWith<Preamp>(-20.0F, rate), {ImpulseFor(1.0, rate)}, 1)[0], 1.0, rate,
                       [rate](double hz) {
                           return 0.1 * 2.8 * 17.529 * HighPass2(AnalogueFrequency(hz, 4.8, rate), 0.32);
                       });
        ExpectResponse(Render(*MakeWith<CarrierPreamp>(-20.0F, rate), {ImpulseFor(0.5, rate)}, 1)[0], 1.0,
                       rate, [rate](double hz) {
                           return -0.1 * 2.8 * 10.0 * HighPass1(AnalogueFrequency(hz, 49.998447 / pi, rate)) *
                                  HighPass1(AnalogueFrequency(hz, 54.946457 / pi, rate));
                       });
        ExpectResponse(Render(*MakeStage<PreampAnalyzer>(rate), {ImpulseFor(0.1, rate)}, 1)[0], 1.0, rate,
                       [&](double hz) {
                           return HighPass2(AnalogueFrequency(hz, corner, rate),
                                            0.5 * std::sqrt(39000.0 / 20000.0));
                       });
    }
}

TEST(StagesTest, TheHissBuzzFollowerFiltersBothHalvesInThirdOrder) {
    for (const double rate : responseRates) {
        for (const auto& [polarity, gain] : {std::pair(1.0F, 0.9976), std::pair(-1.0F, 0.9988)}) {
            auto follower = MakeStage<RectifierFollowerHissBuzz>(rate);
            ExpectResponse(Render(*follower, {ImpulseFor(0.1, rate, polarity)}, 1)[0], 1.0, rate,
                           [&, g = gain](double hz) {
                               return g * LowPass1(AnalogueFrequency(hz, 249.99998 / pi, rate)) *
                                      LowPass2(AnalogueFrequency(hz, 636.4909 / (2.0 * pi), rate),
                                               0.5 / 0.7141428);
                           });
        }
    }
}

TEST(StagesTest, EachPathOfTheBalanceIsAHighPass) {
    for (const double rate : responseRates) {
        for (const std::size_t path : {0U, 1U}) {
            Signals inputs(2, Signal(static_cast<std::size_t>(rate / 4.0), 0.0F));
            inputs[path][0] = 1.0F;
            auto balance = MakeStage<NoiseCarrierBalance>(rate);
            balance->SetParameterValue(NoiseCarrierBalance::Balance, 0.5F);
            const Signals out = Render(*balance, inputs, 2);
            ExpectResponse(out[path], 1.0, rate, [rate](double hz) {
                return HighPass1(AnalogueFrequency(hz, 49.998447 / pi, rate));
            });
            EXPECT_EQ(Rms(out[1 - path]), 0.0) << "the other bus stays silent";
        }
    }
}

TEST(StagesTest, TheHFChannelIsASixthOrderHighPassAndASecondOrderLowPass) {
    // The impulse is small enough for the gate's amplifier to be linear.
    constexpr double quiet = 1e-3;
    // The amplifier's drive, then the open gate's factor and the level of the stage.
    constexpr double gateGain = -470.0 / (8740.2 + 30470.0) * 10.438414 * 3.20171e-4 * 39000.0;
    for (const double rate : responseRates) {
        auto channel = MakeStage<HFChannel>(rate);
        channel->SetParameterValue(HFChannel::HFMode, 1.0F);
        channel->SetParameterValue(HFChannel::HFLevel, 0.5F);
        channel->SetParameterValue(HFChannel::AttackHF, 1591.5494F);
        channel->Reset(true); // snaps the level
        Render(*channel, {Signal(4400, 0.0F), Signal(4400, 15.0F)}, 1);
        const Signal impulse = Impulse(4400, static_cast<float>(quiet));
        ExpectResponse(Render(*channel, {impulse, Signal(4400, 15.0F)}, 1)[0], quiet, rate,
                       [rate](double hz) {
                           const Complex high = HighPass2(AnalogueFrequency(hz, 5028.5923, rate), 0.7102);
                           const Complex low = LowPass2(AnalogueFrequency(hz, 15005.0, rate), 0.70711);
                           return 0.5 * 0.8912 * gateGain * 1.592 * high * high * high * low;
                       });
    }
}

TEST(StagesTest, TheNoiseShaperIsItsAnalogueCircuit) {
    for (const double rate : responseRates) {
        NoiseShaper shaper;
        shaper.Prepare(rate);
        Signal impulse = ImpulseFor(0.5, rate);
        shaper.Process(impulse.data(), static_cast<u32>(impulse.size()));
        ExpectResponse(impulse, 1.0, rate,
                       [rate](double hz) { return orphia_reference::NoiseShapingModel::Response(hz, rate); });
    }
}
