// SPDX-License-Identifier: GPL-3.0-or-later
// The stages of a channel against their circuits.
#include "reference/FilterBankModel.h"
#include "reference/NoiseModel.h"
#include "reference/RectifierModel.h"
#include "rigs/StageRig.h"
#include "vocoder/core/banks/AnalyzerFilterBank.h"
#include "vocoder/core/banks/AnalyzerRectifiers.h"
#include "vocoder/core/banks/SynthesizerFilterBank.h"
#include "vocoder/core/preamps/CarrierPreamp.h"
#include "vocoder/core/preamps/Preamp.h"
#include "vocoder/core/preamps/PreampAnalyzer.h"
#include "vocoder/core/unvoiced/HFChannel.h"
#include "vocoder/core/unvoiced/NoiseShaper.h"
#include "vocoder/core/unvoiced/RectifierFollowerHissBuzz.h"

using namespace Velmora;
using namespace Velmora::Processor;
using namespace Velmora::Test;
using orphia_reference::RectifierCircuit;

namespace {

constexpr u32 bands = 16;
/// A band at the 15 V supply gives this control value.
constexpr double controlOfSupply = 15.0 * 0.0001327;
constexpr double rates[] = {44100.0, 48000.0, 96000.0, 192000.0};

/// Compares the spectrum of an impulse response with expected(hz), down to 90 dB below the loudest frequency,
/// and its phase down to 60 dB.
template <class Expected>
void ExpectResponse(const Signal& response, double impulse, double sampleRate, Expected expected,
                    const std::string& what = "") {
    std::vector<double> frequencies;
    double loudest = 0.0;
    for (double hz = 20.0; hz < 0.45 * sampleRate; hz *= 1.1) {
        frequencies.push_back(hz);
        loudest = std::max(loudest, std::abs(expected(hz)));
    }
    for (const double hz : frequencies) {
        const Complex wanted = expected(hz);
        const Complex ratio = orphia::test::Transform(response, hz, sampleRate) / impulse / wanted;
        if (std::abs(wanted) > 3.2e-5 * loudest) {
            EXPECT_NEAR(20.0 * std::log10(std::abs(ratio)), 0.0, 0.1)
                << what << hz << " Hz at rate " << sampleRate << ", expected gain " << std::abs(wanted);
        }
        if (std::abs(wanted) > 1e-3 * loudest) {
            EXPECT_NEAR(std::arg(ratio), 0.0, 0.02) << what << hz << " Hz at rate " << sampleRate;
        }
    }
}

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

/// Runs a module over a signal for each band, with its two modulations absent.
template <class M>
Signals RenderBands(M& module, const Signals& signals, u32 outputs, u32 block) {
    std::vector<const Signal*> inputs(bands + 2, nullptr);
    std::transform(signals.begin(), signals.end(), inputs.begin(), [](const Signal& s) { return &s; });
    return orphia::test::Render(module, inputs, outputs, orphia::test::BlockSplit::Of(block));
}

template <class M>
void SetTimes(M& module, u32 attackId, u32 releaseId) {
    module.SetParameterValue(attackId, 0.001F);
    module.SetParameterValue(releaseId, 0.01F);
    module.Initialize(48000.0F, 48);
}

std::unique_ptr<AnalyzerRectifiers> MakeRectifiers() {
    auto rectifiers = std::make_unique<AnalyzerRectifiers>();
    SetTimes(*rectifiers, AnalyzerRectifiers::attackId, AnalyzerRectifiers::releaseId);
    return rectifiers;
}

} // namespace

TEST(Stages, PreampsAreTheHighPassesOfTheirCircuits) {
    const double corner = 1.0 / (2.0 * pi * 2.2e-8 * std::sqrt(20000.0 * 39000.0));
    for (const double rate : rates) {
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

TEST(Stages, TheHissBuzzFollowerFiltersBothHalvesInThirdOrder) {
    for (const double rate : rates) {
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

TEST(Stages, TheHFChannelIsASixthOrderHighPassAndASecondOrderLowPass) {
    // The impulse is small enough for the gate's amplifier to be linear.
    constexpr double quiet = 1e-3;
    // The amplifier's drive, then the open gate's factor and the level of the stage.
    constexpr double gateGain = -470.0 / (8740.2 + 30470.0) * 10.438414 * 3.20171e-4 * 39000.0;
    for (const double rate : rates) {
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

TEST(Stages, TheNoiseShaperIsItsAnalogueCircuit) {
    for (const double rate : rates) {
        NoiseShaper shaper;
        shaper.Prepare(rate);
        Signal impulse = ImpulseFor(0.5, rate);
        shaper.Process(impulse.data(), static_cast<u32>(impulse.size()));
        ExpectResponse(impulse, 1.0, rate,
                       [rate](double hz) { return orphia_reference::NoiseShapingModel::Response(hz, rate); });
    }
}

TEST(AnalyzerFilterBank, EveryBandHasTheResponseOfItsCircuit) {
    for (const double rate : rates) {
        AnalyzerFilterBank bank;
        bank.Initialize(static_cast<float>(rate), 64);
        const Signal impulse = Impulse(static_cast<std::size_t>(rate * 0.25));
        const auto outputs = Render(bank, {impulse}, bands, {64});
        const auto plan = orphia_reference::AnalyzerPlan();
        for (u32 band = 0; band < bands; ++band) {
            ExpectResponse(
                outputs[band], 1.0, rate, [&](double hz) { return plan[band].Response(hz, rate); },
                "band " + std::to_string(band + 1) + ", ");
        }
    }
}

TEST(SynthesizerFilterBank, ShiftAndWidthMoveTheBandsAsPlanned) {
    const double settings[][2] = {{0.0, 0.0}, {-1.0, 1.0}, {1.0, -1.0}, {0.37, 0.6}};
    for (const double rate : {44100.0, 192000.0}) {
        for (const auto& [shift, width] : settings) {
            SynthesizerFilterBank bank;
            bank.SetParameterValue(SynthesizerFilterBank::shiftId, static_cast<float>(shift));
            bank.SetParameterValue(SynthesizerFilterBank::widthId, static_cast<float>(width));
            bank.Initialize(static_cast<float>(rate), 64);
            const auto plan = orphia_reference::SynthesizerPlan(shift, width);
            for (const u32 band : {0U, 1U, 7U, 15U}) {
                // The narrowest bands ring for most of a second.
                Signals impulse(bands, Signal(static_cast<std::size_t>(rate), 0.0F));
                impulse[band][0] = 1.0F;
                bank.Reset(true);
                ExpectResponse(
                    RenderBands(bank, impulse, 1, 64)[0], 1.0, rate,
                    [&, w = width](double hz) { return plan[band].Response(hz, rate); },
                    "band " + std::to_string(band + 1) + ", shift " + std::to_string(shift) + ", ");
            }
        }
    }
}

TEST(AnalyzerRectifiers, EveryBandSettlesAtTheStaticCurveOfItsRectifier) {
    for (const double x : {-10.0, -1.0, -0.01, 0.0, 0.005, 0.1, 1.0, 13.0}) {
        const Signals inputs(bands, Signal(48000, static_cast<float>(x)));
        const Signals outputs = RenderBands(*MakeRectifiers(), inputs, 2 * bands, 48);
        for (u32 output = 0; output < 2 * bands; ++output) {
            const RectifierCircuit circuit =
                output % bands == 0 ? RectifierCircuit::LowestBand() : RectifierCircuit::OtherBands();
            EXPECT_NEAR(outputs[output].back(), std::max(0.0, circuit.SteadyVolts(x)) * 0.0001327,
                        1e-6 * controlOfSupply)
                << "input " << x << ", output " << output;
        }
    }
}

TEST(RectifierFollower, DoesAloneWhatItDoesInTheBank) {
    Signals inputs;
    for (u32 band = 0; band < bands; ++band) {
        inputs.push_back(Noise(8800, 10.0F, band + 1));
    }
    const Signals outputs = RenderBands(*MakeRectifiers(), inputs, 2 * bands, 48);
    for (const u32 band : {0U, 1U, 15U}) {
        RectifierFollower single("",
                                 band == 0 ? RectifierFollower::LowestBand : RectifierFollower::OtherBand);
        SetTimes(single, RectifierFollower::Attack, RectifierFollower::Release);
        const Signals alone = Render(single, {inputs[band]}, 2, {48});
        for (std::size_t n = 0; n < alone[0].size(); ++n) {
            ASSERT_NEAR(outputs[band][n], alone[0][n], 1e-6 * controlOfSupply) << "band " << band + 1;
            ASSERT_NEAR(outputs[bands + band][n], alone[1][n], 1e-6 * controlOfSupply) << "band " << band + 1;
        }
    }
}
