// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/NoiseCarrierBalance.h"

#include "StageRig.h"

using namespace Velmora;
using namespace Velmora::Processor;
using namespace Velmora::Test;

namespace {

constexpr std::size_t length = 4800;

std::unique_ptr<NoiseCarrierBalance> MakeBalance(float balance, float mix = 0.0F,
                                                 double sampleRate = 48000.0) {
    auto module = MakeStage<NoiseCarrierBalance>(sampleRate);
    module->SetParameterValue(NoiseCarrierBalance::Balance, balance);
    module->SetParameterValue(NoiseCarrierBalance::NoiseMix, mix);
    return module;
}

const Signal carrier = Tone(length, 1000.0, 48000.0, 2.0);
const Signal noise = Tone(length, 3000.0, 48000.0, 3.0);

} // namespace

TEST(NoiseCarrierBalanceTest, EachPathIsAHighPassAt159Hz) {
    for (const double rate : responseRates) {
        for (const std::size_t path : {0U, 1U}) {
            Signals inputs(2, Signal(static_cast<std::size_t>(rate / 4.0), 0.0F));
            inputs[path][0] = 1.0F;
            auto module = MakeBalance(0.5F, 0.0F, rate);
            const Signals out = Render(*module, inputs, 2);
            ExpectResponse(out[path], 1.0, rate, [rate](double hz) {
                return HighPass1(AnalogueFrequency(hz, 49.998447 / pi, rate));
            });
            EXPECT_EQ(Rms(out[1 - path], 0), 0.0) << "the other bus stays silent";
        }
    }
}

TEST(NoiseCarrierBalanceTest, EachSignalFallsOnItsOwnSideOnly) {
    struct Point {
        float balance;
        double carrierGain;
        double noiseGain;
    };
    for (const Point& point : {Point{0.0F, 0.0, 1.0}, Point{0.25F, 0.5, 1.0}, Point{0.5F, 1.0, 1.0},
                               Point{0.9F, 1.0, 0.2}, Point{1.0F, 1.0, 0.0}}) {
        const Signals out = Render(*MakeBalance(point.balance), {carrier, noise}, 2);
        EXPECT_NEAR(Rms(out[0], 2400), point.carrierGain * std::sqrt(2.0), 2e-3) << "at " << point.balance;
        EXPECT_NEAR(Rms(out[1], 2400), point.noiseGain * std::sqrt(4.5), 2e-3) << "at " << point.balance;
    }
}

TEST(NoiseCarrierBalanceTest, NoiseMixMovesTheNoiseOntoTheCarrierBus) {
    const Signals apart = Render(*MakeBalance(0.4F, 0.5F), {carrier, noise}, 2);
    const Signals mixed = Render(*MakeBalance(0.4F, 0.51F), {carrier, noise}, 2);
    EXPECT_GT(Rms(apart[1], 0), 1.0);
    for (std::size_t n = 0; n < length; ++n) {
        ASSERT_NEAR(mixed[0][n], apart[0][n] + apart[1][n], 1e-6F) << "frame " << n;
        ASSERT_EQ(mixed[1][n], 0.0F);
    }
}

TEST(NoiseCarrierBalanceTest, AMovedBalanceGlidesAndAModulationCounts) {
    auto module = MakeBalance(0.0F);
    Render(*module, {carrier, noise}, 2);
    module->SetParameterValue(NoiseCarrierBalance::Balance, 0.5F);
    const Signals glide = Render(*module, {carrier, noise}, 2);
    const double early = Rms(Signal(glide[0].begin() + 936, glide[0].begin() + 984), 0);
    EXPECT_NEAR(early / std::sqrt(2.0), 1.0 - std::exp(-1.0), 0.02) << "after one of five time constants";
    auto modulated = MakeBalance(0.2F);
    const Signals out = Render(*modulated, {carrier, noise, Signal(length, 0.8F)}, 2);
    ExpectSame(out, Render(*MakeBalance(1.0F), {carrier, noise}, 2), "modulated to the end");
}

TEST(NoiseCarrierBalanceTest, KeepsItsStageInvariants) {
    const Signals inputs = {Noise(2200, 5.0F, 13), Noise(2200, 5.0F, 14)};
    ExpectStageInvariants([] { return MakeBalance(0.3F); }, inputs, 2);
    ExpectStageInvariants([] { return MakeBalance(0.7F, 1.0F); }, inputs, 2);
}

TEST(NoiseCarrierBalanceTest, SoundComesBackAfterAnImpossibleBalance) {
    auto module = MakeBalance(NAN);
    ExpectFinite(Render(*module, {carrier, noise}, 2));
    module->SetParameterValue(NoiseCarrierBalance::Balance, 0.5F);
    const Signals out = Render(*module, {carrier, noise}, 2);
    ExpectFinite(out);
    EXPECT_NEAR(Rms(out[0], 2400), std::sqrt(2.0), 2e-3);
}
