// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/RectifierFollowerHissBuzz.h"

#include "StageRig.h"

using namespace Velmora;
using namespace Velmora::Processor;
using namespace Velmora::Test;

TEST(RectifierFollowerHissBuzzTest, FiltersTheRectifiedSignalInThirdOrder) {
    for (const double rate : responseRates) {
        for (const float polarity : {1.0F, -1.0F}) {
            auto follower = MakeStage<RectifierFollowerHissBuzz>(rate);
            const Signal impulse = Impulse(static_cast<std::size_t>(rate / 10.0), polarity);
            ExpectResponse(Render(*follower, {impulse}, 1)[0], 1.0, rate, [&](double hz) {
                return (polarity > 0.0F ? 0.9976 : 0.9988) *
                       LowPass1(AnalogueFrequency(hz, 249.99998 / pi, rate)) *
                       LowPass2(AnalogueFrequency(hz, 636.4909 / (2.0 * pi), rate), 0.5 / 0.7141428);
            });
        }
    }
}

TEST(RectifierFollowerHissBuzzTest, MeasuresTheMeanMagnitudeWithoutADeadZone) {
    for (const double amplitude : {1e-4, 1.0, 30.0}) {
        auto follower = MakeStage<RectifierFollowerHissBuzz>();
        const Signal out = Render(*follower, {Tone(9600, 4000.0, 48000.0, amplitude)}, 1)[0];
        // Twelve samples per period: the mean magnitude of the sampled sine is (2 + sqrt 3) / 6.
        EXPECT_NEAR(out.back() / (amplitude * 0.622008 * 0.9982), 1.0, 0.001) << "amplitude " << amplitude;
    }
}

TEST(RectifierFollowerHissBuzzTest, WeighsItsTwoHalvesDifferently) {
    for (const auto& [input, expected] : {std::pair(1.0F, 0.9976), std::pair(-1.0F, 0.9988)}) {
        const Signal out = Render(*MakeStage<RectifierFollowerHissBuzz>(), {Signal(4800, input)}, 1)[0];
        EXPECT_NEAR(out.back(), expected, 1e-5);
    }
}

TEST(RectifierFollowerHissBuzzTest, WorksAgainAfterABrokenInput) {
    auto follower = MakeStage<RectifierFollowerHissBuzz>();
    Signal input(4800, 1.0F);
    input[100] = INFINITY;
    const Signals out = Render(*follower, {input}, 1);
    ExpectFinite(out);
    EXPECT_NEAR(out[0].back(), 0.9976F, 1e-5F);
}

TEST(RectifierFollowerHissBuzzTest, RunsAsAPairLikeTwoOfThemOnTheirOwn) {
    const Signal first = Noise(440, 2.0F, 9);
    const Signal second = Noise(440, 0.5F, 10);
    Signal firstOut(440);
    Signal secondOut(440);
    auto high = MakeStage<RectifierFollowerHissBuzz>();
    auto low = MakeStage<RectifierFollowerHissBuzz>();
    for (std::size_t n = 0; n < 440; n += 44) {
        RectifierFollowerHissBuzz::RunPair(*high, &first[n], &firstOut[n], *low, &second[n], &secondOut[n],
                                           44);
    }
    EXPECT_FALSE(high->needsUpdate || low->needsUpdate);
    ExpectSame({firstOut}, Render(*MakeStage<RectifierFollowerHissBuzz>(), {first}, 1), "first of the pair");
    ExpectSame({secondOut}, Render(*MakeStage<RectifierFollowerHissBuzz>(), {second}, 1),
               "second of the pair");
}

TEST(RectifierFollowerHissBuzzTest, KeepsItsStageInvariants) {
    ExpectStageInvariants([] { return MakeStage<RectifierFollowerHissBuzz>(); }, {Noise(2200, 5.0F, 11)}, 1);
}
